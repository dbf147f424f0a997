#include "support/FileProviderErrorUtils.h"

#include <system_error>

#include <fmt/format.h>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

namespace {

constexpr std::int64_t kUserCancelled = 3072;
constexpr std::int64_t kFeatureUnsupported = 3328;

}  // namespace

NSError FileProviderErrorUtils::errorForFileProviderError(std::int64_t code, std::string_view reason) {
  return {NSFileProviderErrorDomain, code, {{NSLocalizedDescriptionKey, reason}}};
}

NSError FileProviderErrorUtils::errorNoSuchItemWithReason(std::string_view reason) {
  return errorForFileProviderError(NSFileProviderErrorNoSuchItem, reason);
}

NSError FileProviderErrorUtils::errorForGenericReason(std::string_view reason) {
  return {NSCocoaErrorDomain, 0, {{NSLocalizedDescriptionKey, reason}}};
}

NSError FileProviderErrorUtils::errorWithReason(std::string_view reason, int posixErrorCode) {
  return errorForGenericReason(
      fmt::format("{} - {}", reason, std::generic_category().message(posixErrorCode)));
}

NSError FileProviderErrorUtils::errorCancelled() { return {NSCocoaErrorDomain, kUserCancelled}; }

NSError FileProviderErrorUtils::errorNotSupported() { return {NSCocoaErrorDomain, kFeatureUnsupported}; }

}  // namespace zelto
