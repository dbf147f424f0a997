#pragma once

#include <memory>
#include <optional>
#include <string>

#include "model/FileProviderItem.h"
#include "platform/fileprovider/NSFileProviderEnumerating.h"

namespace zelto {

// Answers the listing and change requests for one container. It fetches nothing itself: the records come
// from the host client or are the static ones.
// THREAD: any; it has no state that changes.
class FileProviderEnumerator final : public NSFileProviderEnumerator {
 public:
  enum class Type : std::int32_t {
    root = 0,
    myFiles = 1,
    offlineFiles = 2,
    bookmarks = 3,
    bookmark = 4,
    directory = 5,
    workingSet = 6,
    trash = 7,
  };
  // "No list" differs from an empty one: the trash has none.
  using ChildrenReply = Completion<std::optional<FileProviderItemList>>;

  FileProviderEnumerator(std::optional<std::string> identifier, Type enumeratorType);

  // The enumerator of a container; an identifier that names nothing known is taken as a directory's, whose
  // enumerator then stays in the cache for good. Never null.
  static std::shared_ptr<FileProviderEnumerator> enumeratorForIdentifier(const std::string& identifier);
  static std::shared_ptr<FileProviderEnumerator> enumeratorForRoot();
  static std::shared_ptr<FileProviderEnumerator> enumeratorForTrash();
  static std::shared_ptr<FileProviderEnumerator> enumeratorForWorkingSet();
  static std::shared_ptr<FileProviderEnumerator> enumeratorForMyFiles();
  static std::shared_ptr<FileProviderEnumerator> enumeratorForOfflineFiles();
  static std::shared_ptr<FileProviderEnumerator> enumeratorForBookmarks();
  // A new one at each call.
  static std::shared_ptr<FileProviderEnumerator> enumeratorForBookmarkIdentifier(
      const std::string& identifier);

  const std::optional<std::string>& identifier() const { return identifier_; }
  Type enumeratorType() const { return enumeratorType_; }

  // BLOCKS: for half a second where the directory's listing is in flight already.
  // COMPLETES: at once with static or cached records, else on the reply's thread; never without a host.
  void retrieveChildItemsForceUseCache(bool forceUseCache, ChildrenReply completion);
  void retrieveChildItemsForRootWithCompletion(ChildrenReply completion);

  void invalidate() override;
  void enumerateItemsForObserver(std::shared_ptr<NSFileProviderEnumerationObserver> observer,
                                 const NSFileProviderPage& startingAtPage) override;
  void enumerateChangesForObserver(std::shared_ptr<NSFileProviderChangeObserver> observer,
                                   const NSFileProviderSyncAnchor& fromSyncAnchor) override;
  void currentSyncAnchorWithCompletionHandler(
      Completion<std::optional<NSFileProviderSyncAnchor>> completionHandler) override;

 private:
  const std::optional<std::string> identifier_;
  const Type enumeratorType_;
};

}  // namespace zelto
