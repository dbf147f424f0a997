#include "framework/thumbnails/FileUri.h"

namespace zelto {

namespace {

// Beside letters and digits. The semicolon, which the standard allows here, is not among them.
constexpr std::string_view kPlain = "/-_.~!$&'()*+,:=@";
constexpr std::string_view kDigits = "0123456789ABCDEF";

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || kPlain.contains(c);
}

}  // namespace

std::string fileUri(std::string_view path) {
  std::string uri = "file://";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(c)) {
      uri += c;
    } else {
      uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return uri;
}

}  // namespace zelto
