#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderCustomAction.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Hands the actions that the user chooses on to the host, one call for each selected item. The host reports
// nothing back, so an action that is known always succeeds, also with no host connected.
// THREAD: any; the calls are made on a queue of its own, one action after the other.
class FileProviderCustomAction {
 public:
  using Identifiers = std::vector<std::string>;
  using ActionCompletion = Completion<std::optional<NSError>>;

  static FileProviderCustomAction& instance();

  DispatchQueue& backgroundQueue() { return backgroundQueue_; }

  // The progress counts items.
  // COMPLETES: on the background queue. ERRORS: an unknown action, with the progress completed.
  std::shared_ptr<NSProgress> performActionWithIdentifier(const std::string& actionIdentifier,
                                                          const Identifiers& onItemsWithIdentifiers,
                                                          ActionCompletion completionHandler);

  // What each action does. COMPLETES: before it returns, without an error. THREAD: the background queue's.
  void refreshMyFilesForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                             ActionCompletion completion);
  void refreshDirectoryForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                               ActionCompletion completion);
  void showCustomFieldsForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                               ActionCompletion completion);
  void openWithOfficeOnlineForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                                   ActionCompletion completion);
  void openWithOffice365ForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                                ActionCompletion completion);
  void addBookmarkForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                          ActionCompletion completion);
  void removeBookmarkForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                             ActionCompletion completion);
  void showCheckoutStatusForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                                 ActionCompletion completion);
  void checkInFileForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                          ActionCompletion completion);
  void checkOutFileForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                           ActionCompletion completion);
  void makeAvailableOfflineForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                                   ActionCompletion completion);
  void removeFromOfflineFilesForItemsWithIdentifiers(const Identifiers& identifiers, NSProgress& progress,
                                                     ActionCompletion completion);

 private:
  FileProviderCustomAction() = default;

  void dispatch(const std::string& actionIdentifier, const Identifiers& identifiers, NSProgress& progress,
                ActionCompletion completion);

  DispatchQueue backgroundQueue_{"it.pellam.Zelto.FP.CustomAction"};
};

}  // namespace zelto
