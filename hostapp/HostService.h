#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>

#include "host/ZeltoFileProviderServerInterface.h"
#include "hostapp/DeliveredFiles.h"
#include "hostapp/HostParts.h"

namespace zelto {

// The host's exported object: one for each connection. Calls are counted and carried out on the pool.
// An action without a reply that fails tells the user so. Content to upload is the host's from the call on,
// whatever becomes of it, and is removed before the reply. THREAD: any.
class HostService : public ZeltoFileProviderServerInterface {
 public:
  HostService(std::shared_ptr<const HostParts> parts, std::uint64_t connection);

  // The connection is gone: downloads for it end, and what they made is removed. Changes that have not begun,
  // or do not show yet, never will: the other side asks again, and that must not be undone by what it asked
  // before.
  void abandon() { *abandoned_ = true; }
  // Becomes ready once this service is destroyed and nothing that it was asked for goes on; downloads that
  // the other side has not taken are removed by then.
  std::shared_future<void> ended() const { return ended_; }

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
  void listing(const char* operation, std::function<DictionaryList(Listings&)> list, ListReply completion);
  void mark(const char* operation, MarkKind kind, bool add, const std::string& path);
  // An action without a reply; one that fails is shown to the user.
  void act(const char* operation, const std::string& path,
           std::function<std::optional<NSError>(ItemActions&, const std::string& path)> action);

  const std::shared_ptr<const HostParts> parts_;
  const std::uint64_t connection_;
  const std::shared_ptr<DeliveredFiles> delivered_ = std::make_shared<DeliveredFiles>();
  std::shared_future<void> ended_;
  std::shared_ptr<std::atomic<bool>> abandoned_;  // with this service and all work for it
};

}  // namespace zelto
