#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "hostapp/ServerBackend.h"

namespace zelto {

// What is not worth its time and memory is no picture.
struct ThumbnailLimits {
  std::uint64_t bytes = 64 << 20;
  std::uint64_t pixels = 50'000'000;
};

// A PNG image of a picture, upright, at most 256 pixels wide and high, never larger than the picture.
// Formats: PNG, JPEG, GIF (its first image), BMP, TIFF, WebP where the system has its loader. The content
// decides, not the name. THREAD: any. BLOCKS: on the server. ERRORS: `noPictureError`; the server's.
std::expected<std::string, NSError> renderThumbnail(const std::string& path, BackendFile& file,
                                                    const ThumbnailLimits& limits);

// No picture, a broken one, or one beyond the limits. The platform's number for "no data", which the other
// side knows it by, whatever this system's is.
NSError noPictureError(const std::string& path, const std::string& reason);
inline constexpr std::int64_t kNoDataCode = 96;

}  // namespace zelto
