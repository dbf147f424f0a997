#include "platform/imaging/NSImage.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "platform/foundation/FileContents.h"
#include "platform/imaging/IconFile.h"
#include "platform/imaging/PngFile.h"

namespace zelto {
namespace {

constexpr int kFileReadCorruptFileError = 259;
constexpr std::size_t kLargestFile = std::size_t{64} << 20;

double usableLength(double length) { return std::isfinite(length) ? std::max(length, 0.0) : 0; }

bool hasFewerPixels(const NSImageRep& a, const NSImageRep& b) {
  return std::int64_t{a.pixelsWide()} * a.pixelsHigh() < std::int64_t{b.pixelsWide()} * b.pixelsHigh();
}

NSError fileError(const std::string& path, std::string_view reason) {
  return {NSCocoaErrorDomain,
          kFileReadCorruptFileError,
          {{NSLocalizedDescriptionKey, fmt::format("“{}” couldn’t be opened: {}.", path, reason)}}};
}

std::vector<NSImageRep> representationsIn(std::string_view file) {
  if (isIconFile(file)) return picturesInIconFile(file);
  auto picture = pictureInPng(file);
  return picture ? std::vector{*std::move(picture)} : std::vector<NSImageRep>();
}

}  // namespace

NSImage::NSImage(NSSize size, std::vector<NSImageRep> representations)
    : size_{usableLength(size.width), usableLength(size.height)},
      representations_(std::move(representations)) {}

NSImagePtr NSImage::drawn(NSSize size, double pixelsPerPoint, const NSImageRep::Drawing& draw) {
  const NSSize usable{usableLength(size.width), usableLength(size.height)};
  auto rep = NSImageRep::bitmap(usable, pixelsPerPoint, draw);
  return std::make_shared<const NSImage>(usable,
                                         rep ? std::vector{*std::move(rep)} : std::vector<NSImageRep>());
}

std::expected<NSImagePtr, NSError> NSImage::imageWithContentsOfFile(const std::string& path) {
  const auto file = contentsOfFile(path, kLargestFile);
  if (!file) return std::unexpected(fileError(path, file.error()));
  auto representations = representationsIn(*file);
  if (representations.empty()) return std::unexpected(fileError(path, "it holds no picture"));
  const auto largest = std::ranges::max_element(representations, hasFewerPixels)->size();
  return std::make_shared<const NSImage>(largest, std::move(representations));
}

const NSImageRep* NSImage::bestRepresentation() const {
  const auto best = std::ranges::max_element(representations_, hasFewerPixels);
  return best == representations_.end() ? nullptr : &*best;
}

}  // namespace zelto
