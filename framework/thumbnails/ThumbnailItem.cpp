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

}  // namespace

std::optional<ThumbnailItem> thumbnailItem(const NodeInfo& node, std::string identifier, std::string path) {
  if (node.kind != NodeKind::file || node.size == 0 || node.local || !isImage(path)) return std::nullopt;
  using namespace std::chrono;
  // As `stat` has it: also before 1970 the whole second that has begun.
  const auto modified = floor<microseconds>(nanoseconds(node.modifiedNs));
  const auto second = floor<seconds>(modified);
  return ThumbnailItem{node.inode, std::move(identifier), std::move(path), second.count(),
                       static_cast<std::int32_t>((modified - second).count())};
}

}  // namespace zelto
