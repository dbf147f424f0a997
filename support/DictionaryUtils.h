#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// The boolean value of a number or a string; `defaultValue` for anything else and for null. A string is
// true when, after blanks, an optional sign and leading zeros, it starts with Y, y, T, t or 1 to 9.
bool u_boolForValue(const PropertyListValue* value, bool defaultValue);
// The same of the value under a key.
bool u_boolForKey(const NSDictionary& dictionary, std::string_view key, bool defaultValue = false);

// The value if it is a number, else null: numeric strings are not converted.
const PropertyListValue* u_numberForValue(const PropertyListValue* value);
const PropertyListValue* u_numberForKey(const NSDictionary& dictionary, std::string_view key);

// The dictionary as JSON text. ERRORS: nothing, after a warning in the log, for an absent dictionary and
// for one that JSON cannot express.
std::optional<std::string> u_jsonForDictionary(const std::optional<NSDictionary>& dictionary,
                                               bool pretty = false);

}  // namespace zelto
