#include "framework/thumbnails/PngText.h"

#include <cstddef>
#include <cstdint>

#include <zlib.h>

namespace zelto {

namespace {

using namespace std::string_view_literals;
constexpr auto kSignature = "\x89PNG\r\n\x1a\n"sv;
// A chunk: its length, its type, so many bytes, a checksum.
constexpr std::size_t kHead = 8;
constexpr std::size_t kChecksum = 4;

std::size_t lengthAt(std::string_view bytes) {
  std::uint32_t length = 0;
  for (const char c : bytes.substr(0, 4)) length = length << 8 | static_cast<unsigned char>(c);
  return length;
}

std::string bytesOf(std::uint32_t number) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> shift);
  return bytes;
}

std::string chunk(const std::string& typeAndContent) {
  const auto* const bytes = reinterpret_cast<const Bytef*>(typeAndContent.data());
  const auto size = static_cast<uInt>(typeAndContent.size());
  return bytesOf(size - 4) + typeAndContent + bytesOf(static_cast<std::uint32_t>(::crc32(0, bytes, size)));
}

}  // namespace

std::string withPngText(std::string_view png, std::string_view key, std::string_view text) {
  std::string all(png);
  if (!png.starts_with(kSignature) || png.size() < kSignature.size() + kHead) return all;
  const std::size_t header = kHead + lengthAt(png.substr(kSignature.size())) + kChecksum;
  if (png.size() < kSignature.size() + header) return all;
  // After the key: not compressed, no language, no translated key.
  const auto content = std::string("iTXt").append(key).append("\0\0\0\0\0"sv).append(text);
  return all.insert(kSignature.size() + header, chunk(content));
}

std::optional<std::string_view> pngText(std::string_view png, std::string_view key) {
  if (!png.starts_with(kSignature)) return std::nullopt;
  png.remove_prefix(kSignature.size());
  while (png.size() >= kHead) {
    const auto length = lengthAt(png);
    const auto type = png.substr(4, 4);
    png.remove_prefix(kHead);
    if (type == "IDAT" || png.size() < length) return std::nullopt;
    const auto content = png.substr(0, length);
    if (type == "tEXt" && content.size() > key.size() && content.starts_with(key) &&
        content[key.size()] == '\0') {
      return content.substr(key.size() + 1);
    }
    png.remove_prefix(length);
    if (png.size() < kChecksum) return std::nullopt;
    png.remove_prefix(kChecksum);
  }
  return std::nullopt;
}

}  // namespace zelto
