#pragma once

#include <cstdint>
#include <string_view>

#include "platform/foundation/NSError.h"

namespace zelto {

// The one place where the extension makes errors for the framework. The user info holds at most the
// localised description.
class FileProviderErrorUtils {
 public:
  static NSError errorForFileProviderError(std::int64_t code, std::string_view reason);
  static NSError errorNoSuchItemWithReason(std::string_view reason);
  static NSError errorForGenericReason(std::string_view reason);
  // The errno value only shows in the description; the code stays 0.
  static NSError errorWithReason(std::string_view reason, int posixErrorCode);
  static NSError errorCancelled();
  static NSError errorNotSupported();
};

}  // namespace zelto
