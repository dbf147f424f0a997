#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderItem.h"
#include "platform/foundation/Completion.h"
#include "platform/foundation/NSError.h"

namespace zelto {

using NSFileProviderPage = NSData;

// Receives a listing. The calls may come on any thread, one after the other; exactly one finish call ends
// them, or none where the extension never answers.
class NSFileProviderEnumerationObserver {
 public:
  virtual ~NSFileProviderEnumerationObserver() = default;
  virtual void didEnumerateItems(const std::vector<NSFileProviderItemPtr>& items) = 0;
  virtual void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) = 0;
  virtual void finishEnumeratingWithError(const NSError& error) = 0;
};

// Receives a change list, by the same rules.
class NSFileProviderChangeObserver {
 public:
  virtual ~NSFileProviderChangeObserver() = default;
  virtual void didUpdateItems(const std::vector<NSFileProviderItemPtr>& items) = 0;
  virtual void didDeleteItemsWithIdentifiers(const std::vector<std::string>& identifiers) = 0;
  virtual void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& anchor,
                                                      bool moreComing) = 0;
  virtual void finishEnumeratingWithError(const NSError& error) = 0;
};

// Answers listing requests for one container.
// BLOCKS: a call may block for half a second; it returns before the observer is finished.
class NSFileProviderEnumerator {
 public:
  virtual ~NSFileProviderEnumerator() = default;
  virtual void invalidate() = 0;
  virtual void enumerateItemsForObserver(std::shared_ptr<NSFileProviderEnumerationObserver> observer,
                                         const NSFileProviderPage& startingAtPage) = 0;
  virtual void enumerateChangesForObserver(std::shared_ptr<NSFileProviderChangeObserver> observer,
                                           const NSFileProviderSyncAnchor& fromSyncAnchor) = 0;
  virtual void currentSyncAnchorWithCompletionHandler(
      Completion<std::optional<NSFileProviderSyncAnchor>> completionHandler) = 0;
};

}  // namespace zelto
