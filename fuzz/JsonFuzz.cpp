#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/foundation/NSJSONSerialization.h"

// Any text is either refused or gives a value that is written and read back as the same value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace zelto;
  const auto value =
      NSJSONSerialization::valueWithString(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (!value) return 0;
  const auto text = NSJSONSerialization::stringWithValue(*value, size % 2 == 0);
  if (!text || NSJSONSerialization::valueWithString(*text) != *value) std::abort();
  return 0;
}
