#include "support/ErrorUtils.h"

#include <fmt/format.h>

#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {

namespace {

constexpr std::int64_t kBadServerResponse = -1011;
constexpr std::string_view kResponseDataKey = "com.alamofire.serialization.response.error.data";
constexpr std::string_view kResponseObjectKey = "kErrorResponseObjectKey";

}  // namespace

std::optional<PropertyListValue> u_dictionaryForServerResponse(const NSError& error) {
  if (error.code() != kBadServerResponse) return std::nullopt;
  const auto* value = error.userInfo().find(kResponseDataKey);
  const NSData* data = value != nullptr ? value->asData() : nullptr;
  if (data == nullptr) return std::nullopt;
  auto object = NSJSONSerialization::valueWithString(data->text());
  if (!object) return std::nullopt;
  return *std::move(object);
}

NSError u_errorWithServerResponse(const NSError& error) {
  auto response = u_dictionaryForServerResponse(error);
  if (!response) return error;
  NSDictionary userInfo = error.userInfo();
  userInfo.set(kResponseObjectKey, *std::move(response));
  return {error.domain(), error.code(), std::move(userInfo)};
}

std::string u_reason(const NSError& error) {
  const NSError full = u_errorWithServerResponse(error);
  const auto* response = full.userInfo().find(kResponseObjectKey);
  if (response == nullptr) return full.localizedDescription();
  return fmt::format("{}\n{}", full.localizedDescription(), description(*response));
}

}  // namespace zelto
