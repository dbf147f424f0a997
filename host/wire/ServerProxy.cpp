#include "host/wire/ServerProxy.h"

#include <utility>

#include "host/wire/FileProvider.capnp.h"
#include "host/wire/MessageCodec.h"
#include "host/wire/ReplyHandlers.h"

namespace zelto::wire {

namespace {

using Operation = ServerOperation;

std::optional<XPCMessage> nothing(Operation operation) {
  return encodeMessage<Nothing>(operation, [](Nothing::Builder, auto&) {});
}

std::optional<XPCMessage> path(Operation operation, const std::string& path) {
  return encodeMessage<Path>(operation, [&](Path::Builder out, auto&) { out.setPath(checkedText(path)); });
}

std::optional<XPCMessage> pathAndFlag(Operation operation, const std::string& path, bool flag) {
  return encodeMessage<PathAndFlag>(operation, [&](PathAndFlag::Builder out, auto&) {
    out.setPath(checkedText(path));
    out.setFlag(flag);
  });
}

auto deliverTo(ListReply completion) {
  return [completion = std::move(completion)](ListingCollector& list) mutable {
    completion(list.takeDictionaries());
  };
}

auto deliverTo(FileReply completion) {
  return [completion = std::move(completion)](ItemResult result) mutable {
    completion(std::move(result.item), std::move(result.error));
  };
}

class ServerProxy final : public ZeltoFileProviderServerInterface {
 public:
  explicit ServerProxy(std::shared_ptr<XPCChannel> channel) : channel_(std::move(channel)) {}

  void enumeratorInvalidatedPath(const std::string& item) override {
    send(path(Operation::ENUMERATOR_INVALIDATED_PATH, item));
  }
  void retrieveChangesWithCompletion(ChangesReply completion) override {
    call(nothing(Operation::RETRIEVE_CHANGES_WITH_COMPLETION),
         onListing([completion = std::move(completion)](ListingCollector& list) mutable {
           completion(list.takeDictionaries(), list.takeIdentifiers());
         }));
  }
  void metadataForSharesWithCompletion(ListReply completion) override {
    call(nothing(Operation::METADATA_FOR_SHARES_WITH_COMPLETION),
         onListing(deliverTo(std::move(completion))));
  }
  void metadataForBookmarksWithCompletion(ListReply completion) override {
    call(nothing(Operation::METADATA_FOR_BOOKMARKS_WITH_COMPLETION),
         onListing(deliverTo(std::move(completion))));
  }
  void metadataForDirectory(const std::string& item, bool forceUseCache, ListReply completion) override {
    call(pathAndFlag(Operation::METADATA_FOR_DIRECTORY, item, forceUseCache),
         onListing(deliverTo(std::move(completion))));
  }
  void metadataForDirectoryWithBookmarkPath(const std::string& item, ListReply completion) override {
    call(path(Operation::METADATA_FOR_DIRECTORY_WITH_BOOKMARK_PATH, item),
         onListing(deliverTo(std::move(completion))));
  }
  void metadataForRootOfflineFilesWithCompletion(ListReply completion) override {
    call(nothing(Operation::METADATA_FOR_ROOT_OFFLINE_FILES_WITH_COMPLETION),
         onListing(deliverTo(std::move(completion))));
  }
  void showCustomFieldsForPath(const std::string& item) override {
    send(path(Operation::SHOW_CUSTOM_FIELDS_FOR_PATH, item));
  }
  void openWithOfficeOnlineForPath(const std::string& item) override {
    send(path(Operation::OPEN_WITH_OFFICE_ONLINE_FOR_PATH, item));
  }
  void openWithOffice365ForPath(const std::string& item) override {
    send(path(Operation::OPEN_WITH_OFFICE365_FOR_PATH, item));
  }
  void makeAvailableOfflineForPath(const std::string& item) override {
    send(path(Operation::MAKE_AVAILABLE_OFFLINE_FOR_PATH, item));
  }
  void removeFromOfflineFilesForPath(const std::string& item) override {
    send(path(Operation::REMOVE_FROM_OFFLINE_FILES_FOR_PATH, item));
  }
  void addBookmarkForPath(const std::string& item) override {
    send(path(Operation::ADD_BOOKMARK_FOR_PATH, item));
  }
  void removeBookmarkForPath(const std::string& item) override {
    send(path(Operation::REMOVE_BOOKMARK_FOR_PATH, item));
  }
  void refreshMyFiles() override { send(nothing(Operation::REFRESH_MY_FILES)); }
  void refreshDirectoryForPath(const std::string& item, bool expireRemoteCache) override {
    send(pathAndFlag(Operation::REFRESH_DIRECTORY_FOR_PATH, item, expireRemoteCache));
  }
  void showCheckoutStatusForPath(const std::string& item) override {
    send(path(Operation::SHOW_CHECKOUT_STATUS_FOR_PATH, item));
  }
  void checkInFileAtPath(const std::string& item) override {
    send(path(Operation::CHECK_IN_FILE_AT_PATH, item));
  }
  void checkOutFileAtPath(const std::string& item) override {
    send(path(Operation::CHECK_OUT_FILE_AT_PATH, item));
  }

  void thumbnailForPath(const std::string& item, ThumbnailReply completion) override {
    call(path(Operation::THUMBNAIL_FOR_PATH, item),
         onResult([completion = std::move(completion)](ItemResult result) mutable {
           completion(std::move(result.data), std::move(result.error));
         }));
  }
  std::shared_ptr<NSProgress> uploadFileWithPath(const std::string& item,
                                                 const std::optional<NSURL>& contentUrl, bool creating,
                                                 const std::optional<NSDate>& modifiedDate,
                                                 FileReply completion) override {
    auto fill = [&](Upload::Builder out, auto&) {
      out.setPath(checkedText(item));
      if (contentUrl) out.setContentUrl(checkedText(contentUrl->absoluteString()));
      out.setCreating(creating);
      out.setHasModifiedDate(modifiedDate.has_value());
      if (modifiedDate) out.setModifiedDate(modifiedDate->timeIntervalSinceReferenceDate());
    };
    return callWithProgress(encodeMessage<Upload>(Operation::UPLOAD_FILE_WITH_PATH, fill),
                            onResult(deliverTo(std::move(completion))));
  }
  std::shared_ptr<NSProgress> createDirectoryWithPath(const std::string& item, bool mayExist,
                                                      FileReply completion) override {
    return callWithProgress(pathAndFlag(Operation::CREATE_DIRECTORY_WITH_PATH, item, mayExist),
                            onResult(deliverTo(std::move(completion))));
  }
  std::shared_ptr<NSProgress> deleteItemWithPath(const std::string& item,
                                                 ErrorReply completionHandler) override {
    return callWithProgress(path(Operation::DELETE_ITEM_WITH_PATH, item),
                            onResult([completion = std::move(completionHandler)](ItemResult result) mutable {
                              completion(std::move(result.error));
                            }));
  }
  std::shared_ptr<NSProgress> moveItemWithPath(const std::string& item, const std::string& destination,
                                               FileReply completion) override {
    auto fill = [&](Move::Builder out, auto&) {
      out.setPath(checkedText(item));
      out.setDestination(checkedText(destination));
    };
    return callWithProgress(encodeMessage<Move>(Operation::MOVE_ITEM_WITH_PATH, fill),
                            onResult(deliverTo(std::move(completion))));
  }
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& item,
                                                   DownloadReply completion) override {
    return callWithProgress(path(Operation::DOWNLOAD_ITEM_WITH_PATH, item),
                            onResult([completion = std::move(completion)](ItemResult result) mutable {
                              completion(std::move(result.url), std::move(result.item),
                                         std::move(result.error));
                            }));
  }
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& item, NSRange requestedRange,
                                                   std::int64_t alignment, RangeReply completion) override {
    auto fill = [&](RangeRequest::Builder out, auto&) {
      out.setPath(checkedText(item));
      writeRange(requestedRange, out.initRange());
      out.setAlignment(alignment);
    };
    return callWithProgress(encodeMessage<RangeRequest>(Operation::DOWNLOAD_ITEM_WITH_PATH_RANGE, fill),
                            onResult([completion = std::move(completion)](ItemResult result) mutable {
                              completion(std::move(result.data), std::move(result.item), result.range,
                                         std::move(result.error));
                            }));
  }
  void logMessage(const std::string& message, const std::string& level, const std::string& date, bool verbose,
                  std::int32_t pid) override {
    if (!channel_->isOpen()) return;
    auto record = encodeMessage<LogRecord>(Operation::LOG_MESSAGE, [&](LogRecord::Builder out, auto&) {
      out.setMessage(checkedText(message));
      out.setLevel(checkedText(level));
      out.setDate(checkedText(date));
      out.setVerbose(verbose);
      out.setPid(pid);
    });
    if (record) channel_->sendJoined(std::move(*record));
  }

 private:
  // A message that may not travel is not sent and its completion is dropped, as on a dead connection.
  void send(std::optional<XPCMessage> message) const {
    if (message) channel_->send(std::move(*message));
  }
  void call(std::optional<XPCMessage> message, std::unique_ptr<XPCReplyHandler> handler) const {
    if (message) channel_->call(std::move(*message), std::move(handler));
  }
  std::shared_ptr<NSProgress> callWithProgress(std::optional<XPCMessage> message,
                                               std::unique_ptr<XPCReplyHandler> handler) const {
    return message ? channel_->callWithProgress(std::move(*message), std::move(handler))
                   : NSProgress::create();
  }

  const std::shared_ptr<XPCChannel> channel_;
};

}  // namespace

std::shared_ptr<ZeltoFileProviderServerInterface> makeServerProxy(std::shared_ptr<XPCChannel> channel) {
  return std::make_shared<ServerProxy>(std::move(channel));
}

}  // namespace zelto::wire
