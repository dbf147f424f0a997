#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/ZeltoFileProviderClientInterface.h"
#include "host/ZeltoFileProviderServerInterface.h"
#include "tests/messaging/Mailbox.h"

namespace zelto::test {

// A host's object that writes down each call as text and keeps the replies for the test to give.
class FakeServer : public ZeltoFileProviderServerInterface {
 public:
  Mailbox<std::string> calls;
  Mailbox<ListReply> lists;
  Mailbox<ChangesReply> changes;
  Mailbox<ThumbnailReply> thumbnails;
  Mailbox<FileReply> files;
  Mailbox<ErrorReply> errors;
  Mailbox<DownloadReply> downloads;
  Mailbox<RangeReply> ranges;

  // Returned by the operations that have one.
  std::shared_ptr<NSProgress> progress() const {
    std::scoped_lock lock(mutex_);
    return progress_;
  }
  void setProgress(std::shared_ptr<NSProgress> progress) {
    std::scoped_lock lock(mutex_);
    progress_.swap(progress);
  }

  void enumeratorInvalidatedPath(const std::string& path) override { note("invalidated {}", path); }
  void retrieveChangesWithCompletion(ChangesReply completion) override {
    changes.put(std::move(completion));
    note("changes");
  }
  void metadataForSharesWithCompletion(ListReply completion) override {
    lists.put(std::move(completion));
    note("shares");
  }
  void metadataForBookmarksWithCompletion(ListReply completion) override {
    lists.put(std::move(completion));
    note("bookmarks");
  }
  void metadataForDirectory(const std::string& path, bool forceUseCache, ListReply completion) override {
    lists.put(std::move(completion));
    note("directory {} {}", path, forceUseCache);
  }
  void metadataForDirectoryWithBookmarkPath(const std::string& path, ListReply completion) override {
    lists.put(std::move(completion));
    note("bookmark {}", path);
  }
  void metadataForRootOfflineFilesWithCompletion(ListReply completion) override {
    lists.put(std::move(completion));
    note("offline");
  }
  void showCustomFieldsForPath(const std::string& path) override { note("fields {}", path); }
  void openWithOfficeOnlineForPath(const std::string& path) override { note("online {}", path); }
  void openWithOffice365ForPath(const std::string& path) override { note("365 {}", path); }
  void makeAvailableOfflineForPath(const std::string& path) override { note("keep {}", path); }
  void removeFromOfflineFilesForPath(const std::string& path) override { note("unkeep {}", path); }
  void addBookmarkForPath(const std::string& path) override { note("mark {}", path); }
  void removeBookmarkForPath(const std::string& path) override { note("unmark {}", path); }
  void refreshMyFiles() override { note("refresh mine"); }
  void refreshDirectoryForPath(const std::string& path, bool expireRemoteCache) override {
    note("refresh {} {}", path, expireRemoteCache);
  }
  void showCheckoutStatusForPath(const std::string& path) override { note("status {}", path); }
  void checkInFileAtPath(const std::string& path) override { note("in {}", path); }
  void checkOutFileAtPath(const std::string& path) override { note("out {}", path); }
  void thumbnailForPath(const std::string& path, ThumbnailReply completion) override {
    thumbnails.put(std::move(completion));
    note("thumbnail {}", path);
  }
  std::shared_ptr<NSProgress> uploadFileWithPath(const std::string& path,
                                                 const std::optional<NSURL>& contentUrl, bool creating,
                                                 const std::optional<NSDate>& modifiedDate,
                                                 FileReply completion) override {
    files.put(std::move(completion));
    note("upload {} {} {} {}", path, contentUrl ? contentUrl->path() : "-", creating,
         modifiedDate ? fmt::format("{}", modifiedDate->timeIntervalSinceReferenceDate()) : "-");
    return progress();
  }
  std::shared_ptr<NSProgress> createDirectoryWithPath(const std::string& path, bool mayExist,
                                                      FileReply completion) override {
    files.put(std::move(completion));
    note("create {} {}", path, mayExist);
    return progress();
  }
  std::shared_ptr<NSProgress> deleteItemWithPath(const std::string& path,
                                                 ErrorReply completionHandler) override {
    errors.put(std::move(completionHandler));
    note("delete {}", path);
    std::function<void()> work;
    {
      std::scoped_lock lock(mutex_);
      work = duringDelete_;
    }
    if (work) work();
    return progress();
  }
  void setDuringDelete(std::function<void()> work) {
    std::scoped_lock lock(mutex_);
    duringDelete_ = std::move(work);
  }
  std::shared_ptr<NSProgress> moveItemWithPath(const std::string& path, const std::string& destination,
                                               FileReply completion) override {
    files.put(std::move(completion));
    note("move {} {}", path, destination);
    return progress();
  }
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path,
                                                   DownloadReply completion) override {
    downloads.put(std::move(completion));
    note("download {}", path);
    return progress();
  }
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path, NSRange range,
                                                   std::int64_t alignment, RangeReply completion) override {
    ranges.put(std::move(completion));
    note("range {} {}+{} {}", path, range.location, range.length, alignment);
    return progress();
  }
  void logMessage(const std::string& message, const std::string& level, const std::string& date, bool verbose,
                  std::int32_t pid) override {
    note("log {}|{}|{}|{}|{}", message, level, date, verbose, pid);
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<NSProgress> progress_ = NSProgress::create();
  std::function<void()> duringDelete_;

  template <typename... Values>
  void note(fmt::format_string<Values...> text, Values&&... values) {
    calls.put(fmt::format(text, std::forward<Values>(values)...));
  }
};

class FakeClient : public ZeltoFileProviderClientInterface {
 public:
  Mailbox<std::string> calls;

  void disconnect() override { calls.put("disconnect"); }
  void updateUseMyFiles(bool useMyFiles, bool useOfflineFiles) override {
    calls.put(fmt::format("update {} {}", useMyFiles, useOfflineFiles));
  }
};

}  // namespace zelto::test
