#include "hostapp/ThumbnailRenderer.h"

#include <array>
#include <span>
#include <vector>

#include "platform/imaging/ScaledPicture.h"

namespace zelto {

namespace {

constexpr int kSide = 256;
constexpr std::size_t kPiece = 64 << 10;

// The whole file, piece by piece. False when the reader wants no more of it, or there is too much.
std::expected<bool, NSError> feed(PictureReader& reader, BackendFile& file, std::uint64_t most) {
  std::vector<std::byte> piece(kPiece);
  for (std::uint64_t offset = 0; offset < most;) {
    const auto count = file.readAt(piece, offset);
    if (!count) return std::unexpected(count.error());
    if (*count == 0) return true;
    if (!reader.take(std::span(piece).first(*count))) return false;
    offset += *count;
  }
  return false;
}

const char* reasonFor(PictureFault fault) {
  switch (fault) {
    case PictureFault::unknownKind:
      return "it is no picture";
    case PictureFault::noReader:
      return "such pictures cannot be read";
    case PictureFault::tooManyPixels:
      return "it has too many pixels to be shown";
    case PictureFault::broken:
      break;
  }
  return "the picture is broken";
}

std::expected<std::string, PictureFault> finished(PictureReader& reader, bool whole) {
  const auto picture = reader.finish();
  if (!picture) return std::unexpected(picture.error());
  auto png = whole ? picture->png() : std::nullopt;
  if (!png) return std::unexpected(PictureFault::broken);
  return *std::move(png);
}

}  // namespace

NSError noPictureError(const std::string& path, const std::string& reason) {
  return errorWithPOSIXCode(static_cast<int>(kNoDataCode), "\"" + path + "\": " + reason);
}

std::expected<std::string, NSError> renderThumbnail(const std::string& path, BackendFile& file,
                                                    const ThumbnailLimits& limits) {
  const auto entry = file.stat();
  if (!entry) return std::unexpected(entry.error());
  if (entry->stat.size > limits.bytes)
    return std::unexpected(noPictureError(path, "it is too large to be shown"));
  std::array<std::byte, PictureReader::kStart> start{};
  const auto count = file.readAt(start, 0);
  if (!count) return std::unexpected(count.error());
  auto reader = PictureReader::forStart({reinterpret_cast<const char*>(start.data()), *count},
                                        {.side = kSide, .pixels = limits.pixels});
  if (!reader) return std::unexpected(noPictureError(path, reasonFor(reader.error())));
  const auto fed = feed(*reader, file, limits.bytes + 1);
  if (!fed) return std::unexpected(fed.error());
  auto png = finished(*reader, *fed);
  if (png) return *std::move(png);
  return std::unexpected(noPictureError(path, reasonFor(png.error())));
}

}  // namespace zelto
