#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

class NSJSONSerialization {
 public:
  // Compact, or indented when pretty, UTF-8. ERRORS: a date or data inside, a real that is not finite,
  // a string that is not UTF-8.
  static std::expected<std::string, NSError> stringWithValue(const PropertyListValue& value, bool pretty);
  // The parsed object or array (JSON null members are left out). ERRORS: text that is not JSON, a root
  // that is neither object nor array, nesting deeper than 512, more than 64 MiB.
  static std::expected<PropertyListValue, NSError> valueWithString(std::string_view text);
};

}  // namespace zelto
