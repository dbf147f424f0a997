#include "framework/replica/ContentStore.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelto {
namespace {

using Name = std::pair<Inode, std::uint64_t>;

std::string fileName(const Name& name) { return fmt::format("{}-{}", name.first, name.second); }

std::optional<Name> parsed(const std::string& text) {
  Name name;
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, name.first);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != '-') return {};
  const auto second = std::from_chars(first.ptr + 1, end, name.second);
  if (second.ec != std::errc() || second.ptr != end || fileName(name) != text) return {};
  return name;
}

// Nothing when the folder cannot be read to its end: then nobody knows what is not in it.
std::optional<std::vector<std::string>> entries(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code failure;
  for (std::filesystem::directory_iterator at(folder, failure), end; !failure && at != end;) {
    names.push_back(at->path().filename().string());
    at.increment(failure);
  }
  if (failure && failure != std::errc::no_such_file_or_directory) return {};
  return names;
}

}  // namespace

ContentStore::ContentStore(std::string directory, std::string localDirectory, std::uint64_t session,
                           std::shared_ptr<Journal> journal)
    : directory_(std::move(directory)),
      localDirectory_(std::move(localDirectory)),
      session_(session & 0x7fffffff),
      journal_(std::move(journal)),
      nextGeneration_(session_ << 32) {}

std::string ContentStore::folderPath(unsigned folder) const {
  return fmt::format("{}/{:02x}", directory_, folder);
}

std::string ContentStore::path(Inode inode, std::uint64_t generation) const {
  return folderPath(inode & 0xff) + "/" + fileName({inode, generation});
}

std::string ContentStore::madePath(Inode inode, std::uint64_t generation) const {
  ::mkdir(folderPath(inode & 0xff).c_str(), 0700);
  return path(inode, generation);
}

void ContentStore::learn(const ContentRow& row) {
  const auto [at, isNew] = records_.try_emplace(row.inode);
  Record& record = at->second;
  if (!isNew) return;  // a local one, which is newer
  record = Record{row.generation, row.versionTag, row.size, 0, std::string(row.ranges), {}, false};
  record.bytes = RangeSet::decoded(row.ranges).totalLength();
  totalBytes_ += record.bytes;
}

void ContentStore::readIn(const std::function<void(const std::function<void(const ContentRow&)>&)>& rows) {
  const std::lock_guard lock(mutex_);
  rows([this](const ContentRow& row) { learn(row); });
  isRead_ = true;
  read_.notify_all();
}

void ContentStore::waitUntilRead(std::unique_lock<std::mutex>& lock) {
  read_.wait(lock, [this] { return isRead_; });
}

std::shared_ptr<ContentFile> ContentStore::file(Inode inode, std::uint64_t versionTag, std::uint64_t size) {
  std::optional<Removed> stale;
  std::unique_lock lock(mutex_);
  waitUntilRead(lock);
  const auto known = records_.find(inode);
  if (known != records_.end() && !known->second.local &&
      (known->second.versionTag != versionTag || known->second.size != size)) {
    stale = removeLocked(known);  // its file is left to the sweep
  }
  Record& record = records_[inode];
  if (record.generation == 0) record = Record{++nextGeneration_, versionTag, size, 0, {}, {}, false};
  return liveOrMade(inode, record);
}

std::shared_ptr<ContentFile> ContentStore::liveOrMade(Inode inode, Record& record) {
  if (auto live = record.live.lock()) return live;
  std::shared_ptr<ContentFile> made(new ContentFile(shared_from_this(), inode, record.generation,
                                                    record.versionTag, record.size,
                                                    RangeSet::decoded(record.ranges)));
  made->local_ = record.local;
  record.live = made;
  return made;
}

void ContentStore::released(const ContentFile& file) {
  const std::lock_guard lock(mutex_);
  const auto at = records_.find(file.inode_);
  if (at == records_.end() || at->second.generation != file.generation_) return;
  Record& record = at->second;
  if (!record.live.expired()) return;
  if (record.local) {
    record.size = file.size();
  } else if (record.bytes == 0) {
    records_.erase(at);
  }
}

std::expected<std::shared_ptr<ContentFile>, NSError> ContentStore::opened(std::shared_ptr<ContentFile> file) {
  auto failure = file->openKept();
  if (!failure) return file;
  if (failure->code() != ENOENT) return std::unexpected(std::move(*failure));
  forgetIfStill(file->inode(), file->generation_);
  return nullptr;
}

std::vector<NSRange> ContentStore::ranges(Inode inode, std::uint64_t versionTag, std::uint64_t size) {
  std::unique_lock lock(mutex_);
  waitUntilRead(lock);
  const auto at = records_.find(inode);
  if (at == records_.end()) return {};
  if (at->second.local) return size == 0 ? std::vector<NSRange>() : std::vector<NSRange>{{0, size}};
  if (at->second.versionTag != versionTag || at->second.size != size) return {};
  return RangeSet::decoded(at->second.ranges).ranges();
}

std::optional<ContentStore::Removed> ContentStore::removeLocked(Records::iterator at) {
  const Record& record = at->second;
  Removed removed{record.local ? localPath(at->first) : path(at->first, record.generation), record.bytes,
                  record.live.lock()};
  if (removed.live) removed.live->detach();
  totalBytes_ -= record.bytes;
  JournalChunk chunk;
  if (record.bytes > 0) chunk.putContentGone(at->first, record.generation);
  records_.erase(at);
  journal_->push(std::move(chunk));
  return removed;
}

std::optional<ContentStore::Removed> ContentStore::remove(Inode inode) {
  std::unique_lock lock(mutex_);
  waitUntilRead(lock);
  const auto at = records_.find(inode);
  if (at == records_.end()) return {};
  return removeLocked(at);
}

std::optional<ContentStore::Removed> ContentStore::removeFetched(Inode inode) {
  std::unique_lock lock(mutex_);
  waitUntilRead(lock);
  const auto at = records_.find(inode);
  if (at == records_.end() || at->second.local) return {};
  return removeLocked(at);
}

std::optional<ContentStore::Removed> ContentStore::evict(Inode inode) {
  std::unique_lock lock(mutex_);
  waitUntilRead(lock);
  const auto at = records_.find(inode);
  if (at == records_.end()) return {};
  if (at->second.local) return {};  // the server does not have it
  const bool beingFetched = at->second.bytes < at->second.size && !at->second.live.expired();
  if (beingFetched) return {};
  return removeLocked(at);
}

void ContentStore::forgetIfStill(Inode inode, std::uint64_t generation) {
  std::optional<Removed> removed;
  const std::lock_guard lock(mutex_);
  const auto at = records_.find(inode);
  if (at != records_.end() && at->second.generation == generation) removed = removeLocked(at);
}

void ContentStore::record(const ContentFile& file, const RangeSet& ranges) {
  const std::lock_guard lock(mutex_);
  const auto at = records_.find(file.inode_);
  if (at == records_.end() || at->second.generation != file.generation_ || at->second.local) return;
  Record& record = at->second;
  record.ranges = ranges.encoded();
  totalBytes_ -= record.bytes;
  record.bytes = ranges.totalLength();
  totalBytes_ += record.bytes;
  wroteAny_ = true;
  if (ranges.empty()) return;
  JournalChunk chunk;
  chunk.putContent({file.inode_, record.generation, record.versionTag, record.size, record.ranges});
  journal_->push(std::move(chunk));
}

ContentStore::Totals ContentStore::totals() {
  std::unique_lock lock(mutex_);
  waitUntilRead(lock);
  return {static_cast<std::uint64_t>(
              std::ranges::count_if(records_, [](const auto& entry) { return entry.second.bytes > 0; })),
          totalBytes_};
}

std::vector<Name> ContentStore::keptBefore(unsigned folder) const {
  std::vector<Name> names;
  const std::lock_guard lock(mutex_);
  for (const auto& [inode, record] : records_) {
    if ((inode & 0xff) == folder && !fromThisSession(record.generation) && !record.local) {
      names.emplace_back(inode, record.generation);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

void ContentStore::sweep(unsigned folder) {
  std::vector<Name> there;
  const std::vector<Name> known = keptBefore(folder);
  const auto found = entries(folderPath(folder));
  if (!found) return;
  for (const std::string& text : *found) {
    const auto name = parsed(text);
    if (name && fromThisSession(name->second)) continue;
    if (name && std::binary_search(known.begin(), known.end(), *name)) {
      there.push_back(*name);
    } else {
      std::error_code ignored;
      std::filesystem::remove_all(folderPath(folder) + "/" + text, ignored);
    }
  }
  std::sort(there.begin(), there.end());
  std::vector<Name> gone;
  std::ranges::set_difference(known, there, std::back_inserter(gone));
  for (const Name& name : gone) forgetIfStill(name.first, name.second);
}

void ContentStore::sync() const {
  const UniqueDescriptor folder(::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) ::syncfs(folder.get());
}

}  // namespace zelto
