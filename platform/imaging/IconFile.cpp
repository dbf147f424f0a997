#include "platform/imaging/IconFile.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

// The library's header is C's alone.
extern "C" {
#include <icns.h>
}

#include "platform/imaging/CairoHandles.h"
#include "platform/imaging/PngFile.h"

namespace zelto {
namespace {

constexpr std::string_view kMagic = "icns";
constexpr std::size_t kHead = 8;
constexpr std::size_t kChannels = 3;

struct Element {
  icns_type_t type;
  // Its head included.
  std::string_view whole;

  std::string_view data() const { return whole.substr(kHead); }
};

std::uint32_t numberAt(std::string_view bytes, std::size_t offset) {
  std::uint32_t number = 0;
  for (const char c : bytes.substr(offset, 4)) number = number << 8 | static_cast<unsigned char>(c);
  return number;
}

std::string textOf(std::uint32_t number) {
  return {static_cast<char>(number >> 24), static_cast<char>(number >> 16), static_cast<char>(number >> 8),
          static_cast<char>(number)};
}

// Up to the first whose length cannot be right.
std::vector<Element> elementsOf(std::string_view file) {
  std::vector<Element> elements;
  for (file.remove_prefix(kHead); file.size() >= kHead;) {
    const std::size_t length = numberAt(file, 4);
    if (length < kHead || length > file.size()) break;
    elements.push_back({numberAt(file, 0), file.substr(0, length)});
    file.remove_prefix(length);
  }
  return elements;
}

// How many bytes one channel's runs take; nothing where they do not make exactly so many pixels.
std::optional<std::size_t> lengthOfChannel(std::string_view data, std::size_t pixels) {
  std::size_t at = 0;
  while (pixels > 0) {
    if (at >= data.size()) return std::nullopt;
    const auto control = static_cast<unsigned char>(data[at]);
    const std::size_t run = control < 0x80 ? control + 1U : control - 125U;
    const std::size_t length = control < 0x80 ? run + 1 : 2;
    if (run > pixels || length > data.size() - at) return std::nullopt;
    pixels -= run;
    at += length;
  }
  return at;
}

bool isCompressedPicture(std::string_view data, const icns_icon_info_t& info) {
  if (info.iconType == ICNS_128X128_32BIT_DATA) data.remove_prefix(std::min<std::size_t>(4, data.size()));
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    const auto length = lengthOfChannel(data, std::size_t{info.iconWidth} * info.iconHeight);
    if (!length) return false;
    data.remove_prefix(*length);
  }
  return true;
}

// The library takes it for granted that an element holds what its type says.
bool isSound(const Element& element) {
  const auto info = ::icns_get_image_info_for_type(element.type);
  constexpr std::uint32_t kLargestOldSide = 128;
  if ((info.isImage == 0 && info.isMask == 0) || info.iconWidth > kLargestOldSide) return false;
  return element.data().size() >= info.iconRawDataSize ||
         (info.iconBitDepth == 32 && isCompressedPicture(element.data(), info));
}

struct IcnsDeleter {
  void operator()(icns_family_t* family) const { ::free(family); }
};
using FamilyPtr = std::unique_ptr<icns_family_t, IcnsDeleter>;

// The library's view of those elements that are what they say.
FamilyPtr familyOf(const std::vector<Element>& elements) {
  std::string file;
  for (const auto& element : elements) {
    if (!isPng(element.data()) && isSound(element)) file += element.whole;
  }
  file.insert(0, std::string(kMagic) + textOf(static_cast<std::uint32_t>(file.size() + kHead)));
  icns_family_t* family = nullptr;
  ::icns_set_print_errors(0);
  ::icns_import_family_data(static_cast<icns_size_t>(file.size()),
                            reinterpret_cast<icns_byte_t*>(file.data()), &family);
  return FamilyPtr(family);
}

void copyMultiplied(const icns_image_t& image, cairo_surface_t* surface) {
  constexpr unsigned kFull = 255;
  auto* row = ::cairo_image_surface_get_data(surface);
  const icns_byte_t* pixel = image.imageData;
  for (std::uint32_t y = 0; y < image.imageHeight; ++y) {
    auto* target = reinterpret_cast<std::uint32_t*>(row);
    for (std::uint32_t x = 0; x < image.imageWidth; ++x, pixel += 4) {
      const std::uint32_t alpha = pixel[3];
      const auto part = [&](unsigned index) { return (pixel[index] * alpha + kFull / 2) / kFull; };
      target[x] = alpha << 24 | part(0) << 16 | part(1) << 8 | part(2);
    }
    row += ::cairo_image_surface_get_stride(surface);
  }
  ::cairo_surface_mark_dirty(surface);
}

std::optional<NSImageRep> pictureOf(icns_family_t* family, icns_type_t type) {
  const auto info = ::icns_get_image_info_for_type(type);
  icns_image_t image{};
  if (family == nullptr || info.isImage == 0 ||
      ::icns_get_image32_with_mask_from_family(family, type, &image) != 0) {
    return std::nullopt;
  }
  auto surface = ownedSurface(::cairo_image_surface_create(
      CAIRO_FORMAT_ARGB32, static_cast<int>(image.imageWidth), static_cast<int>(image.imageHeight)));
  if (surface) copyMultiplied(image, surface.get());
  ::icns_free_image(&image);
  return surface ? std::optional(NSImageRep::withSurface(std::move(surface))) : std::nullopt;
}

}  // namespace

bool isIconFile(std::string_view bytes) { return bytes.starts_with(kMagic) && bytes.size() >= kHead; }

std::vector<NSImageRep> picturesInIconFile(std::string_view bytes) {
  std::vector<NSImageRep> pictures;
  if (!isIconFile(bytes)) return pictures;
  const auto elements = elementsOf(bytes);
  const auto family = familyOf(elements);
  std::set<icns_type_t> seen;
  for (const auto& element : elements) {
    // The library knows one element of each type.
    if (!seen.insert(element.type).second) continue;
    auto picture =
        isPng(element.data()) ? pictureInPng(element.data()) : pictureOf(family.get(), element.type);
    if (picture) pictures.push_back(*std::move(picture));
  }
  return pictures;
}

}  // namespace zelto
