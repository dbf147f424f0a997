#include "framework/thumbnails/ThumbnailItem.h"

#include <chrono>
#include <utility>

#include "platform/foundation/Path.h"
#include "platform/foundation/UTType.h"

namespace zelto {

namespace {

bool isImage(const std::string& path) {
  const auto extension = pathExtension(path);
  if (extension.empty()) return false;
  const auto type = UTType::typeWithFilenameExtension(extension);
  return type && type->conformsTo(UTType::image());
}

// As `stat` has it: also before 1970 the whole second that has begun.
std::int64_t wholeSeconds(std::int64_t nanoseconds) {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::nanoseconds(nanoseconds)).count();
}

}  // namespace

std::optional<ThumbnailItem> thumbnailItem(const NodeInfo& node, std::string identifier, std::string path) {
  if (node.kind != NodeKind::file || node.size == 0 || node.local || !isImage(path)) return std::nullopt;
  return ThumbnailItem{node.inode, std::move(identifier), std::move(path), wholeSeconds(node.modifiedNs)};
}

}  // namespace zelto
