#include "platform/foundation/NSError.h"

#include <fmt/format.h>

namespace zelto {

std::string NSError::localizedDescription() const {
  const auto* value = userInfo_.find(NSLocalizedDescriptionKey);
  if (value != nullptr && value->asString() != nullptr) return *value->asString();
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain_, code_);
}

NSError errorWithPOSIXCode(int code, std::string_view message) {
  return {NSPOSIXErrorDomain, code, {{NSLocalizedDescriptionKey, message}}};
}

std::string description(const NSError& error) {
  std::string userInfo;
  for (const auto& [key, value] : error.userInfo()) {
    if (!userInfo.empty()) userInfo += ", ";
    userInfo += fmt::format("{}={}", key.name(), description(value));
  }
  return fmt::format("Error Domain={} Code={} \"{}\" UserInfo={{{}}}", error.domain(), error.code(),
                     error.localizedDescription(), userInfo);
}

}  // namespace zelto
