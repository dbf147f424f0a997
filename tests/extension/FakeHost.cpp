#include "tests/extension/FakeHost.h"

#include <fmt/format.h>

namespace zelto::test {

void FakeHost::record(std::string call) {
  const std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

std::vector<std::string> FakeHost::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::vector<FakeHost::LogLine> FakeHost::log() const {
  const std::lock_guard lock(mutex_);
  return log_;
}

std::vector<std::string> FakeHost::messages() const {
  std::vector<std::string> result;
  for (const auto& line : log()) result.push_back(line.message);
  return result;
}

std::vector<std::string> FakeHost::linesWith(const std::string& text) const {
  std::vector<std::string> result;
  for (const auto& line : log()) {
    if (line.message.contains(text)) result.push_back(line.level + " " + line.message);
  }
  return result;
}

void FakeHost::hold(const std::string& key) {
  const std::lock_guard lock(mutex_);
  holding_.insert(key);
}

void FakeHost::release(const std::string& key) {
  std::vector<Reply> replies;
  {
    const std::lock_guard lock(mutex_);
    holding_.erase(key);
    replies.swap(held_[key]);
  }
  for (auto& reply : replies) reply();
}

void FakeHost::releaseOne(const std::string& key, std::size_t index) {
  Reply reply;
  {
    const std::lock_guard lock(mutex_);
    reply = std::move(held_.at(key).at(index));
  }
  reply();
}

void FakeHost::answer(const std::string& key, Reply reply) {
  {
    const std::lock_guard lock(mutex_);
    if (holding_.contains(key)) {
      held_[key].push_back(std::move(reply));
      return;
    }
  }
  reply();
}

void FakeHost::answerList(const std::string& key, ListReply completion) {
  answer(key, [this, key, completion = std::move(completion)]() mutable { completion(listFor(key)); });
}

void FakeHost::answerFile(const std::string& key, FileReply completion) {
  answer(key, [this, key, completion = std::move(completion)]() mutable {
    completion(fileFor(key), errorFor(key));
  });
}

DictionaryList FakeHost::listFor(const std::string& key) const {
  const auto found = lists.find(key);
  return found != lists.end() ? found->second : DictionaryList();
}

std::optional<NSError> FakeHost::errorFor(const std::string& key) const {
  const auto found = errors.find(key);
  return found != errors.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<NSDictionary> FakeHost::fileFor(const std::string& key) const {
  const auto found = files.find(key);
  return found != files.end() ? std::optional(found->second) : std::nullopt;
}

void FakeHost::enumeratorInvalidatedPath(const std::string& path) { record("invalidated " + path); }
void FakeHost::metadataForSharesWithCompletion(ListReply completion) {
  record("shares");
  answerList("shares", std::move(completion));
}
void FakeHost::metadataForBookmarksWithCompletion(ListReply completion) {
  record("bookmarks");
  answerList("bookmarks", std::move(completion));
}
void FakeHost::metadataForDirectory(const std::string& path, bool forceUseCache, ListReply completion) {
  record(fmt::format("directory {} {:d}", path, forceUseCache));
  answerList(path, std::move(completion));
}
void FakeHost::metadataForDirectoryWithBookmarkPath(const std::string& path, ListReply completion) {
  record("bookmark " + path);
  answerList(path, std::move(completion));
}
void FakeHost::metadataForRootOfflineFilesWithCompletion(ListReply completion) {
  record("offline");
  answerList("offline", std::move(completion));
}
void FakeHost::retrieveChangesWithCompletion(ChangesReply completion) {
  record("changes");
  answer("changes", [this, completion = std::move(completion)]() mutable { completion(changed, deleted); });
}

void FakeHost::showCustomFieldsForPath(const std::string& path) { record("customFields " + path); }
void FakeHost::openWithOfficeOnlineForPath(const std::string& path) { record("officeOnline " + path); }
void FakeHost::openWithOffice365ForPath(const std::string& path) { record("office365 " + path); }
void FakeHost::makeAvailableOfflineForPath(const std::string& path) { record("makeOffline " + path); }
void FakeHost::removeFromOfflineFilesForPath(const std::string& path) { record("removeOffline " + path); }
void FakeHost::addBookmarkForPath(const std::string& path) { record("addBookmark " + path); }
void FakeHost::removeBookmarkForPath(const std::string& path) { record("removeBookmark " + path); }
void FakeHost::refreshMyFiles() { record("refreshMyFiles"); }
void FakeHost::refreshDirectoryForPath(const std::string& path, bool expireRemoteCache) {
  record(fmt::format("refresh {} {:d}", path, expireRemoteCache));
}
void FakeHost::showCheckoutStatusForPath(const std::string& path) { record("checkoutStatus " + path); }
void FakeHost::checkInFileAtPath(const std::string& path) { record("checkIn " + path); }
void FakeHost::checkOutFileAtPath(const std::string& path) { record("checkOut " + path); }
void FakeHost::thumbnailForPath(const std::string& path, ThumbnailReply completion) {
  record("thumbnail " + path);
  answer(path, [this, path, completion = std::move(completion)]() mutable {
    completion(rangeData, errorFor(path));
  });
}

std::shared_ptr<NSProgress> FakeHost::uploadFileWithPath(const std::string& path,
                                                         const std::optional<NSURL>& contentUrl,
                                                         bool creating,
                                                         const std::optional<NSDate>& modifiedDate,
                                                         FileReply completion) {
  record(fmt::format("upload {} creating={:d} date={}", path, creating, description(modifiedDate)));
  if (onUpload && contentUrl) onUpload(*contentUrl);
  answerFile(path, std::move(completion));
  return progress;
}
std::shared_ptr<NSProgress> FakeHost::createDirectoryWithPath(const std::string& path, bool mayExist,
                                                              FileReply completion) {
  record(fmt::format("createDirectory {} mayExist={:d}", path, mayExist));
  answerFile(path, std::move(completion));
  return progress;
}
std::shared_ptr<NSProgress> FakeHost::deleteItemWithPath(const std::string& path,
                                                         ErrorReply completionHandler) {
  record("delete " + path);
  answer(path,
         [this, path, completion = std::move(completionHandler)]() mutable { completion(errorFor(path)); });
  return progress;
}
std::shared_ptr<NSProgress> FakeHost::moveItemWithPath(const std::string& path,
                                                       const std::string& destination, FileReply completion) {
  record(fmt::format("move {} {}", path, destination));
  answerFile(path, std::move(completion));
  return progress;
}
std::shared_ptr<NSProgress> FakeHost::downloadItemWithPath(const std::string& path,
                                                           DownloadReply completion) {
  record("download " + path);
  answer(path, [this, path, completion = std::move(completion)]() mutable {
    completion(downloadUrl, fileFor(path), errorFor(path));
  });
  return progress;
}
std::shared_ptr<NSProgress> FakeHost::downloadItemWithPath(const std::string& path, NSRange requestedRange,
                                                           std::int64_t alignment, RangeReply completion) {
  record(fmt::format("range {} {}+{} align={}", path, requestedRange.location, requestedRange.length,
                     alignment));
  answer(path, [this, path, completion = std::move(completion)]() mutable {
    completion(rangeData, fileFor(path), deliveredRange, errorFor(path));
  });
  return progress;
}

void FakeHost::logMessage(const std::string& message, const std::string& level, const std::string& date,
                          bool verbose, std::int32_t pid) {
  const std::lock_guard lock(mutex_);
  log_.push_back({message, level, date, verbose, pid});
}

}  // namespace zelto::test
