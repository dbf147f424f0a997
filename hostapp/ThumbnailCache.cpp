#include "hostapp/ThumbnailCache.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

#include <fmt/format.h>
#include <gdk-pixbuf/gdk-pixbuf.h>

#include "platform/foundation/FileContents.h"
#include "platform/foundation/UuidName.h"

namespace zelto {

namespace {

namespace fs = std::filesystem;
constexpr std::size_t kMostFileBytes = 1 << 20;
constexpr std::string_view kPngStart = "\x89PNG";

// The first line of a file: which state of the picture it shows.
std::string headerOf(const EntryStat& stat) {
  return fmt::format("zelto-thumbnail {}.{} {}\n", stat.modified.tv_sec, stat.modified.tv_nsec, stat.size);
}

struct Kept {
  fs::path path;
  fs::file_time_type written;
  std::uint64_t size;
};

std::vector<Kept> keptIn(const std::string& folder) {
  std::vector<Kept> found;
  std::error_code error;
  for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    std::error_code ignored;
    const auto size = at->file_size(ignored);
    if (!ignored) found.push_back({at->path(), at->last_write_time(ignored), size});
  }
  return found;
}

}  // namespace

std::string ThumbnailCache::fileFor(const std::string& path) const {
  gchar* digest = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(path.data()),
                                              path.size());
  std::string name = folder_ + "/" + digest;
  g_free(digest);
  return name;
}

std::optional<std::string> ThumbnailCache::find(const std::string& path, const EntryStat& stat) const {
  if (folder_.empty()) return std::nullopt;
  auto content = contentsOfFile(fileFor(path), kMostFileBytes);
  const auto header = headerOf(stat);
  if (!content || !content->starts_with(header)) return std::nullopt;
  content->erase(0, header.size());
  if (!content->starts_with(kPngStart)) return std::nullopt;
  return *std::move(content);
}

void ThumbnailCache::keep(const std::string& path, const EntryStat& stat, const std::string& png) {
  const auto header = headerOf(stat);
  if (folder_.empty() || header.size() + png.size() > kMostFileBytes) return;
  std::error_code error;
  fs::create_directories(folder_, error);
  const auto name = fileFor(path);
  const auto temporary = folder_ + "/" + newUuidName();
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << header << png;
    if (!file.flush()) return static_cast<void>(fs::remove(temporary, error));
  }
  fs::rename(temporary, name, error);
  if (error) fs::remove(temporary, error);
  const std::lock_guard lock(mutex_);
  if (bytes_) *bytes_ += header.size() + png.size();
  if (!bytes_ || *bytes_ > mostBytes_) makeRoomLocked();
}

// Also counts anew: what was replaced had been counted twice.
void ThumbnailCache::makeRoomLocked() {
  auto kept = keptIn(folder_);
  std::sort(kept.begin(), kept.end(), [](const Kept& a, const Kept& b) { return a.written < b.written; });
  std::uint64_t bytes = 0;
  for (const auto& each : kept) bytes += each.size;
  const auto goal = bytes > mostBytes_ ? mostBytes_ / 4 * 3 : mostBytes_;
  for (auto oldest = kept.begin(); bytes > goal && oldest != kept.end(); ++oldest) {
    std::error_code error;
    if (fs::remove(oldest->path, error)) bytes -= oldest->size;
  }
  bytes_ = bytes;
}

}  // namespace zelto
