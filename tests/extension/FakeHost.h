#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/ZeltoFileProviderServerInterface.h"

namespace zelto::test {

// A scripted host: records every call as one line of text and answers from what a test has put into it.
// Replies can be held by key (a path, or "shares", "bookmarks", "offline", "changes") and released later.
class FakeHost final : public ZeltoFileProviderServerInterface {
 public:
  struct LogLine {
    std::string message;
    std::string level;
    std::string date;
    bool verbose;
    std::int32_t pid;
  };

  // Scripts, set before the call under test; before connecting, where another thread answers.
  std::map<std::string, DictionaryList> lists;
  std::map<std::string, NSDictionary> files;
  std::map<std::string, NSError> errors;
  std::optional<NSURL> downloadUrl;
  std::optional<NSData> rangeData;
  NSRange deliveredRange;
  DictionaryList changed;
  std::vector<std::string> deleted;
  std::function<void(const NSURL&)> onUpload;
  // What every call with a progress returns.
  const std::shared_ptr<NSProgress> progress = NSProgress::create(1);

  void hold(const std::string& key);
  // Runs the held replies in the order of their calls; later calls are answered at once.
  void release(const std::string& key);
  // Runs only the held reply of that number.
  void releaseOne(const std::string& key, std::size_t index);

  std::vector<std::string> calls() const;
  std::vector<LogLine> log() const;
  std::vector<std::string> messages() const;
  // "LEVEL message" of the lines whose message contains the text.
  std::vector<std::string> linesWith(const std::string& text) const;

  void enumeratorInvalidatedPath(const std::string& path) override;
  void retrieveChangesWithCompletion(ChangesReply completion) override;
  void metadataForSharesWithCompletion(ListReply completion) override;
  void metadataForBookmarksWithCompletion(ListReply completion) override;
  void metadataForDirectory(const std::string& path, bool forceUseCache, ListReply completion) override;
  void metadataForDirectoryWithBookmarkPath(const std::string& path, ListReply completion) override;
  void metadataForRootOfflineFilesWithCompletion(ListReply completion) override;
  void showCustomFieldsForPath(const std::string& path) override;
  void openWithOfficeOnlineForPath(const std::string& path) override;
  void openWithOffice365ForPath(const std::string& path) override;
  void makeAvailableOfflineForPath(const std::string& path) override;
  void removeFromOfflineFilesForPath(const std::string& path) override;
  void addBookmarkForPath(const std::string& path) override;
  void removeBookmarkForPath(const std::string& path) override;
  void refreshMyFiles() override;
  void refreshDirectoryForPath(const std::string& path, bool expireRemoteCache) override;
  void showCheckoutStatusForPath(const std::string& path) override;
  void checkInFileAtPath(const std::string& path) override;
  void checkOutFileAtPath(const std::string& path) override;
  void thumbnailForPath(const std::string& path, ThumbnailReply completion) override;
  std::shared_ptr<NSProgress> uploadFileWithPath(const std::string& path,
                                                 const std::optional<NSURL>& contentUrl, bool creating,
                                                 const std::optional<NSDate>& modifiedDate,
                                                 FileReply completion) override;
  std::shared_ptr<NSProgress> createDirectoryWithPath(const std::string& path, bool mayExist,
                                                      FileReply completion) override;
  std::shared_ptr<NSProgress> deleteItemWithPath(const std::string& path,
                                                 ErrorReply completionHandler) override;
  std::shared_ptr<NSProgress> moveItemWithPath(const std::string& path, const std::string& destination,
                                               FileReply completion) override;
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path,
                                                   DownloadReply completion) override;
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path, NSRange requestedRange,
                                                   std::int64_t alignment, RangeReply completion) override;
  void logMessage(const std::string& message, const std::string& level, const std::string& date, bool verbose,
                  std::int32_t pid) override;

 private:
  using Reply = std::move_only_function<void()>;

  void record(std::string call);
  void answer(const std::string& key, Reply reply);
  void answerList(const std::string& key, ListReply completion);
  void answerFile(const std::string& key, FileReply completion);
  DictionaryList listFor(const std::string& key) const;
  std::optional<NSError> errorFor(const std::string& key) const;
  std::optional<NSDictionary> fileFor(const std::string& key) const;

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::vector<LogLine> log_;
  std::set<std::string> holding_;
  std::map<std::string, std::vector<Reply>> held_;
};

}  // namespace zelto::test
