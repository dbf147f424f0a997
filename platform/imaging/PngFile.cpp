#include "platform/imaging/PngFile.h"

#include <cstdint>

#include "platform/imaging/CairoHandles.h"

namespace zelto {
namespace {

constexpr std::string_view kSignature = "\x89PNG\r\n\x1a\n";
// Behind the signature and the head of the first part, which every file begins with.
constexpr std::size_t kWidthOffset = 16;
constexpr std::size_t kHeightOffset = 20;
constexpr std::uint64_t kMostPixels = std::uint64_t{64} << 20;

std::uint64_t lengthAt(std::string_view bytes, std::size_t offset) {
  std::uint64_t number = 0;
  for (const char c : bytes.substr(offset, 4)) number = number << 8 | static_cast<unsigned char>(c);
  return number;
}

cairo_status_t readFrom(void* rest, unsigned char* bytes, unsigned int count) {
  auto& view = *static_cast<std::string_view*>(rest);
  if (view.size() < count) return CAIRO_STATUS_READ_ERROR;
  view.copy(reinterpret_cast<char*>(bytes), count);
  view.remove_prefix(count);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

bool isPng(std::string_view bytes) { return bytes.starts_with(kSignature); }

std::optional<NSImageRep> pictureInPng(std::string_view bytes) {
  if (!isPng(bytes) || bytes.size() < kHeightOffset + 4) return std::nullopt;
  // A short file can ask for any amount of memory.
  if (lengthAt(bytes, kWidthOffset) * lengthAt(bytes, kHeightOffset) > kMostPixels) return std::nullopt;
  auto surface = ownedSurface(::cairo_image_surface_create_from_png_stream(readFrom, &bytes));
  return surface ? std::optional(NSImageRep::withSurface(std::move(surface))) : std::nullopt;
}

}  // namespace zelto
