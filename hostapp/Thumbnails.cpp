#include "hostapp/Thumbnails.h"

#include "hostapp/BackendErrors.h"
#include "hostapp/ToldEntries.h"

namespace zelto {

namespace {

// The platform's number for "cancelled".
constexpr int kCancelledCode = 89;

NSData dataOf(std::string bytes) {
  const auto owner = std::make_shared<const std::string>(std::move(bytes));
  return NSData::view(owner, std::as_bytes(std::span(*owner)));
}

}  // namespace

void Thumbnails::start(const std::string& path, std::shared_ptr<const std::atomic<bool>> abandoned,
                       ThumbnailReply completion) {
  parts_->pool->runLong(
      [parts = parts_, path, gone = std::move(abandoned), reply = std::move(completion)]() mutable {
        if (*gone)
          return reply(std::nullopt, errorWithPOSIXCode(kCancelledCode, "\"" + path + "\": cancelled"));
        auto png = made(*parts, path);
        if (!png) return reply(std::nullopt, png.error());
        reply(dataOf(*std::move(png)), std::nullopt);
      });
}

std::expected<std::string, NSError> Thumbnails::made(const Parts& parts, const std::string& path) {
  const auto entry = parts.backend->stat(path);
  if (!entry) return std::unexpected(entry.error());
  if (entry->stat.kind != EntryKind::file) return std::unexpected(noPictureError(path, "it is no file"));
  if (auto kept = parts.cache->find(path, entry->stat)) return *std::move(kept);
  const auto file = parts.backend->open(path);
  if (!file) return std::unexpected(file.error());
  auto png = renderThumbnail(path, **file, parts.limits);
  if (!png) return png;
  // Only what is surely of this state is kept.
  const auto after = (*file)->stat();
  if (after && isSameState(entry->stat, after->stat)) parts.cache->keep(path, entry->stat, *png);
  return png;
}

}  // namespace zelto
