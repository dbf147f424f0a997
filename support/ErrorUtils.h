#pragma once

#include <optional>
#include <string>

#include "platform/foundation/NSError.h"

namespace zelto {

// The parsed body of a bad server response that the networking layer attached to the error, if any.
std::optional<PropertyListValue> u_dictionaryForServerResponse(const NSError& error);
// The error with that body, parsed, added to its user info.
NSError u_errorWithServerResponse(const NSError& error);
// The text that a log line gives as the reason: the localised description, followed on a line of its own
// by the server's response where the error carries one.
std::string u_reason(const NSError& error);

}  // namespace zelto
