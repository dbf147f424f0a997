#include <cerrno>
#include <charconv>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "framework/replica/ContentStore.h"
#include "platform/foundation/KillPoint.h"

namespace zelto {

std::expected<std::shared_ptr<ContentFile>, int> ContentStore::makeLocal(Inode inode) {
  std::shared_ptr<ContentFile> made;
  {
    std::unique_lock lock(mutex_);
    Record& record = records_[inode];
    record = Record{++nextGeneration_, 0, 0, 0, {}, {}, false};
    made = liveOrMade(inode, record);
    record.local = true;
  }
  if (const int code = made->beginLocal()) {
    const std::lock_guard lock(mutex_);
    records_.erase(inode);
    return std::unexpected(code);
  }
  wroteAny_ = true;
  return made;
}

// The row goes only after the bytes lie in the other place: a process that dies in between finds them by
// neither, or by the row.
int ContentStore::becomeLocal(const std::shared_ptr<ContentFile>& file, bool keep) {
  if (const int code = file->becomeLocal(keep)) return code;
  killPoint("content.local");
  {
    const std::lock_guard lock(mutex_);
    const auto at = records_.find(file->inode_);
    if (at == records_.end() || at->second.generation != file->generation_) return ESTALE;
    Record& record = at->second;
    if (!record.local) {
      JournalChunk chunk;
      if (record.bytes > 0) chunk.putContentGone(at->first, record.generation);
      journal_->push(std::move(chunk));
      totalBytes_ -= record.bytes;
      record.bytes = 0;
      record.ranges.clear();
      record.local = true;
      // Of this session, which no sweep takes for a stray when it comes back.
      file->generation_ = record.generation = ++nextGeneration_;
    }
  }
  wroteAny_ = true;
  return keep ? 0 : file->resize(0);
}

bool ContentStore::findLocal(Inode inode, std::uint64_t versionTag) {
  struct stat status {};
  if (::lstat(localPath(inode).c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const std::lock_guard lock(mutex_);
  Record& record = records_[inode];
  totalBytes_ -= record.bytes;
  record = Record{++nextGeneration_, versionTag, static_cast<std::uint64_t>(status.st_size), 0, {}, {}, true};
  return true;
}

void ContentStore::localAttributes(Inode inode, NodeFields& fields, bool withDate) const {
  struct stat status {};
  if (::lstat(localPath(inode).c_str(), &status) != 0) return;
  fields.size = static_cast<std::uint64_t>(status.st_size);
  if (!withDate) return;
  fields.modifiedNs = std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
}

void ContentStore::taken(Inode inode, std::uint64_t versionTag, std::uint64_t size) {
  std::shared_ptr<ContentFile> live;  // may be the last holder: destroyed outside the lock
  const std::lock_guard lock(mutex_);
  const auto at = records_.find(inode);
  if (at == records_.end()) return;
  Record& record = at->second;
  const bool isNews = !record.local && record.bytes > 0 && record.versionTag != versionTag;
  record.versionTag = versionTag;
  record.size = size;
  live = record.live.lock();
  if (live) live->taken(versionTag);
  if (!isNews) return;  // of a local one the database hears when it comes back
  JournalChunk chunk;
  chunk.putContent({inode, record.generation, record.versionTag, record.size, record.ranges});
  journal_->push(std::move(chunk));
}

void ContentStore::comeBack(Inode inode) {
  std::shared_ptr<ContentFile> file;
  {
    const std::lock_guard lock(mutex_);
    const auto at = records_.find(inode);
    if (at == records_.end() || !at->second.local) return;
    file = liveOrMade(inode, at->second);
  }
  const std::uint64_t size = file->size();
  killPoint("content.returning");
  if (file->comeBack(madePath(inode, file->generation_)) != 0) return;
  killPoint("content.returned");
  const std::lock_guard lock(mutex_);
  const auto at = records_.find(inode);
  if (at == records_.end() || at->second.generation != file->generation_) return;
  Record& record = at->second;
  RangeSet whole;
  if (size > 0) whole.add({0, size});
  record.local = false;
  record.size = size;
  record.ranges = whole.encoded();
  record.bytes = size;
  totalBytes_ += size;
  if (size == 0) return;
  JournalChunk chunk;
  chunk.putContent({inode, record.generation, record.versionTag, record.size, record.ranges});
  journal_->push(std::move(chunk));
}

int ContentStore::exportTo(Inode inode, const std::string& path) {
  std::shared_ptr<ContentFile> file;
  {
    std::unique_lock lock(mutex_);
    waitUntilRead(lock);
    const auto at = records_.find(inode);
    if (at == records_.end()) return ENOENT;
    file = liveOrMade(inode, at->second);
  }
  if (const auto failure = file->openKept()) return static_cast<int>(failure->code());
  if (!file->complete() || file->descriptor() < 0) return ENOENT;
  return file->exportTo(path);
}

void ContentStore::sweepLocal(const std::function<bool(Inode)>& isKnown) {
  std::error_code failure;
  for (std::filesystem::directory_iterator at(localDirectory_, failure), end; !failure && at != end;
       at.increment(failure)) {
    const std::string name = at->path().filename().string();
    Inode inode = 0;
    const auto parsed = std::from_chars(name.data(), name.data() + name.size(), inode);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == name.data() + name.size();
    if (!whole || !isKnown(inode)) ::unlink(at->path().c_str());
  }
}

}  // namespace zelto
