#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto {

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";

// An error value: domain, code and a user info that may carry the localised description.
class NSError {
 public:
  NSError(std::string_view domain, std::int64_t code, NSDictionary userInfo = {})
      : domain_(domain), code_(code), userInfo_(std::move(userInfo)) {}

  const std::string& domain() const { return domain_; }
  std::int64_t code() const { return code_; }
  const NSDictionary& userInfo() const { return userInfo_; }
  // The description in the user info, else the platform's sentence for a domain and code without one
  // ("The operation couldn’t be completed. (DOMAIN error CODE.)").
  std::string localizedDescription() const;

  friend bool operator==(const NSError& a, const NSError& b) = default;

 private:
  std::string domain_;
  std::int64_t code_;
  NSDictionary userInfo_;
};

// An error in the POSIX domain whose code is the errno value and whose description is the message.
NSError errorWithPOSIXCode(int code, std::string_view message);

// The platform's style: Error Domain=… Code=… "description" UserInfo={…}.
std::string description(const NSError& error);

}  // namespace zelto
