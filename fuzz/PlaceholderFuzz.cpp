#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/ZeltoLocalise.h"

namespace {

using namespace zelto;

// Up to the next line break, which is taken away with it.
std::string takeLine(std::string_view& rest) {
  const auto end = std::min(rest.find('\n'), rest.size());
  std::string line(rest.substr(0, end));
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return c < 0x80 && std::isalnum(c) != 0; });
}

// Of a plain key and value exactly the pairs of braces around the key go.
void checkPlain(const std::string& key, const std::string& value) {
  const auto text = "a{{" + key + "}}b{ {\t" + key + " } }c{" + key + "}";
  const auto expected = "a" + value + "b" + value + "c{" + key + "}";
  if (ZeltoLocalise::stringByReplacingKey(key, value, text) != expected) std::abort();
}

}  // namespace

// A line with the key, one with the value, and the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  const auto key = takeLine(rest);
  const auto value = takeLine(rest);
  const std::string text(rest);
  const auto result = ZeltoLocalise::stringByReplacingKey(key, value, text);
  if (isPlain(key) && isPlain(value)) {
    checkPlain(key, value);
    // Every placeholder has two opening braces.
    if (std::ranges::count(text, '{') < 2 && result != text) std::abort();
  }
  return 0;
}
