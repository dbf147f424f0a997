#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/PathSet.h"
#include "host/SharedValue.h"
#include "host/ZeltoFileProviderClientInterface.h"
#include "host/ZeltoFileProviderServerInterface.h"
#include "model/FileProviderItem.h"
#include "platform/fileprovider/NSFileProviderServiceSource.h"
#include "platform/messaging/NSXPCConnection.h"

namespace zelto {

// Through this object the extension talks to the host application: it offers the service that the host
// connects to, wraps every host operation, and keeps the share and bookmark lists.
//
// With no host connected a call is dropped: it returns an empty progress and its completion is destroyed
// uncalled. The same holds for a connection that died.
// THREAD: any. COMPLETES: on the connection's thread, once, except where said otherwise.
class ZeltoFileProviderClient final : public NSXPCListenerDelegate,
                                      public ZeltoFileProviderClientInterface,
                                      public NSFileProviderServiceSource {
 public:
  using ProgressPtr = std::shared_ptr<NSProgress>;
  using ServerPtr = std::shared_ptr<ZeltoFileProviderServerInterface>;
  using ItemReply = Completion<FileProviderItemPtr, std::optional<NSError>>;
  using ItemsReply = Completion<FileProviderItemList>;
  using ItemChangesReply = Completion<FileProviderItemList, std::vector<std::string>>;
  using DownloadItemReply = Completion<std::optional<NSURL>, FileProviderItemPtr, std::optional<NSError>>;
  using RangeItemReply =
      Completion<std::optional<NSURL>, FileProviderItemPtr, NSRange, std::optional<NSError>>;

  static ZeltoFileProviderClient& instance();

  // Tells the host application, by broadcast, that the extension is listening.
  void start();

  // The service that the framework hands to the host.
  std::string serviceName() const override;
  // A new listener at every call. Never sets the error.
  std::shared_ptr<NSXPCListenerEndpoint> makeListenerEndpointAndReturnError(
      std::optional<NSError>* error) override;
  // Accepts every connection; the newest one's host is the one that is called from then on.
  bool listenerShouldAcceptNewConnection(NSXPCListener& listener,
                                         const std::shared_ptr<NSXPCConnection>& newConnection) override;
  static std::shared_ptr<NSXPCInterface> fileProviderServerInterface();
  static std::shared_ptr<NSXPCInterface> fileProviderClientInterface();
  std::int32_t pid();

  // Called by the host.
  void disconnect() override;
  void updateUseMyFiles(bool useMyFiles, bool useOfflineFiles) override;

  bool useMyFiles() const { return useMyFiles_; }
  bool useOfflineFiles() const { return useOfflineFiles_; }

  // The connected host, or null.
  ServerPtr server() const { return server_.get(); }
  void setServer(ServerPtr server) { server_.set(std::move(server)); }

  // Forgets the share and bookmark lists.
  void invalidateCache();
  void logMessage(const std::string& message, const std::string& level, const std::string& date,
                  bool verbose);

  // Passed on to the host as they are.
  void showCustomFieldsForIdentifier(const std::string& identifier);
  void openWithOfficeOnlineForPath(const std::string& path);
  void openWithOffice365ForPath(const std::string& path);
  void makeAvailableOfflineForPath(const std::string& path);
  void removeFromOfflineFilesForPath(const std::string& path);
  void refreshMyFiles();
  void refreshDirectoryForPath(const std::string& path, bool expireRemoteCache);
  void addBookmarkForPath(const std::string& path);
  void removeBookmarkForPath(const std::string& path);
  void showCheckoutStatusForPath(const std::string& path);
  void checkInFileAtPath(const std::string& path);
  void checkOutFileAtPath(const std::string& path);
  void thumbnailForPath(const std::string& path, ThumbnailReply completion);
  ProgressPtr deleteItemWithPath(const std::string& path, ErrorReply completionHandler);

  // Told to the host for what lies below a share only.
  void enumeratorInvalidatedPath(const std::string& path);
  // Also forgets the share and bookmark lists when the changes arrive.
  void retrieveChanges(ItemChangesReply completion);

  ProgressPtr moveItemWithPath(const std::string& path, const std::string& destination, ItemReply completion);
  ProgressPtr createDirectoryWithPath(const std::string& path, bool mayExist, ItemReply completion);
  // OWNER: takes the content file over, moving it to the group directory, even when no host is connected.
  // COMPLETES: at once where that fails.
  ProgressPtr uploadFileWithPath(const std::string& path, const NSURL& contentUrl, bool creating,
                                 const std::optional<NSDate>& modifiedDate, ItemReply completion);
  ProgressPtr downloadItemWithPath(const std::string& path, DownloadItemReply completion);
  // The file of the reply holds the delivered range at its own offset; what is before it is a hole.
  ProgressPtr downloadItemWithPath(const std::string& path, NSRange requestedRange, std::int64_t alignment,
                                   RangeItemReply completion);
  // Gives a downloaded folder whose name has a known extension that extension's type: it is a package.
  static void updateFileTypeForItem(FileProviderItem& item);

  void providerItemsForRootOfflineFilesWithCompletion(ItemsReply completion);
  // COMPLETES: at once where the list is cached, and with an empty list while the first one is in flight.
  void providerItemsForSharesWithCompletion(ItemsReply completion);
  // COMPLETES: at once where the list is cached.
  void providerItemsForBookmarksWithCompletion(ItemsReply completion);
  void providerItemsForBookmarkIdentifier(const std::string& identifier, ItemsReply completion);
  // BLOCKS: for half a second, once, where a listing of the same directory is in flight.
  void providerItemsForDirectory(const std::string& path, bool forceUseCache, ItemsReply completion);

 private:
  using CachedList = SharedValue<const FileProviderItemList>;

  ZeltoFileProviderClient() = default;

  std::atomic<bool> useMyFiles_ = false;
  std::atomic<bool> useOfflineFiles_ = false;
  std::atomic<std::int32_t> pid_ = 0;  // 0 until first asked for
  SharedValue<ZeltoFileProviderServerInterface> server_;
  CachedList cachedBookmarks_;  // null: not cached
  CachedList cachedShares_;
  PathSet directoriesBeingRefreshed_;  // listings in flight; one that is never answered stays
};

}  // namespace zelto
