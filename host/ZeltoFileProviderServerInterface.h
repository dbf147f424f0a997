#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderTypes.h"
#include "platform/foundation/Completion.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSProgress.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

using DictionaryList = std::vector<NSDictionary>;
using ListReply = Completion<DictionaryList>;
using ChangesReply = Completion<DictionaryList, std::vector<std::string>>;
using ThumbnailReply = Completion<std::optional<NSData>, std::optional<NSError>>;
using FileReply = Completion<std::optional<NSDictionary>, std::optional<NSError>>;
using ErrorReply = Completion<std::optional<NSError>>;
using DownloadReply = Completion<std::optional<NSURL>, std::optional<NSDictionary>, std::optional<NSError>>;
using RangeReply =
    Completion<std::optional<NSData>, std::optional<NSDictionary>, NSRange, std::optional<NSError>>;

// What the host application carries out for the extension. Paths are item identifiers. Every call is
// asynchronous; the host calls each reply exactly once, on any thread. A progress is never null.
class ZeltoFileProviderServerInterface {
 public:
  virtual ~ZeltoFileProviderServerInterface() = default;

  virtual void enumeratorInvalidatedPath(const std::string& path) = 0;
  virtual void retrieveChangesWithCompletion(ChangesReply completion) = 0;
  virtual void metadataForSharesWithCompletion(ListReply completion) = 0;
  virtual void metadataForBookmarksWithCompletion(ListReply completion) = 0;
  virtual void metadataForDirectory(const std::string& path, bool forceUseCache, ListReply completion) = 0;
  virtual void metadataForDirectoryWithBookmarkPath(const std::string& path, ListReply completion) = 0;
  virtual void metadataForRootOfflineFilesWithCompletion(ListReply completion) = 0;
  virtual void showCustomFieldsForPath(const std::string& path) = 0;
  virtual void openWithOfficeOnlineForPath(const std::string& path) = 0;
  virtual void openWithOffice365ForPath(const std::string& path) = 0;
  virtual void makeAvailableOfflineForPath(const std::string& path) = 0;
  virtual void removeFromOfflineFilesForPath(const std::string& path) = 0;
  virtual void addBookmarkForPath(const std::string& path) = 0;
  virtual void removeBookmarkForPath(const std::string& path) = 0;
  virtual void refreshMyFiles() = 0;
  virtual void refreshDirectoryForPath(const std::string& path, bool expireRemoteCache) = 0;
  virtual void showCheckoutStatusForPath(const std::string& path) = 0;
  virtual void checkInFileAtPath(const std::string& path) = 0;
  virtual void checkOutFileAtPath(const std::string& path) = 0;
  virtual void thumbnailForPath(const std::string& path, ThumbnailReply completion) = 0;
  virtual std::shared_ptr<NSProgress> uploadFileWithPath(const std::string& path,
                                                         const std::optional<NSURL>& contentUrl,
                                                         bool creating,
                                                         const std::optional<NSDate>& modifiedDate,
                                                         FileReply completion) = 0;
  virtual std::shared_ptr<NSProgress> createDirectoryWithPath(const std::string& path, bool mayExist,
                                                              FileReply completion) = 0;
  virtual std::shared_ptr<NSProgress> deleteItemWithPath(const std::string& path,
                                                         ErrorReply completionHandler) = 0;
  virtual std::shared_ptr<NSProgress> moveItemWithPath(const std::string& path,
                                                       const std::string& destination,
                                                       FileReply completion) = 0;
  virtual std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path,
                                                           DownloadReply completion) = 0;
  // The data starts at the reply's range location.
  virtual std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path, NSRange requestedRange,
                                                           std::int64_t alignment, RangeReply completion) = 0;
  virtual void logMessage(const std::string& message, const std::string& level, const std::string& date,
                          bool verbose, std::int32_t pid) = 0;
};

}  // namespace zelto
