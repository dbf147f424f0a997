#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "framework/replica/Node.h"

namespace zelto {

// A file in the state whose picture is wanted.
struct ThumbnailItem {
  Inode inode = 0;
  std::string identifier;
  std::string path;               // absolute, in the mount; any bytes
  std::int64_t modified = 0;      // whole seconds since 1970, as `stat` tells it in the mount
  std::int32_t microseconds = 0;  // since then

  friend bool operator==(const ThumbnailItem&, const ThumbnailItem&) = default;
};

// The item to ask for. Nothing where there is no use in it: what is no file or empty, what is no image by its
// name, and what has a local change, since the host has another content then. THREAD: any.
std::optional<ThumbnailItem> thumbnailItem(const NodeInfo& node, std::string identifier, std::string path);

}  // namespace zelto
