#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "hostapp/ServerBackend.h"

namespace zelto {

// Rendered thumbnails, one file for each path, good for one size and date of the picture. The oldest go when
// there is too much. What cannot be read or written counts as absent. THREAD: any. BLOCKS: on the disk.
class ThumbnailCache {
 public:
  // The folder is made at the first need. "": nothing is kept.
  explicit ThumbnailCache(std::string folder, std::uint64_t mostBytes = 64 << 20)
      : folder_(std::move(folder)), mostBytes_(mostBytes) {}

  std::optional<std::string> find(const std::string& path, const EntryStat& stat) const;
  void keep(const std::string& path, const EntryStat& stat, const std::string& png);

 private:
  std::string fileFor(const std::string& path) const;
  void makeRoomLocked();

  const std::string folder_;
  const std::uint64_t mostBytes_;
  std::mutex mutex_;
  std::optional<std::uint64_t> bytes_;  // what lies there, once it has been counted
};

}  // namespace zelto
