#include "actions/FileProviderCustomAction.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

using Handler = void (FileProviderCustomAction::*)(const std::vector<std::string>&, NSProgress&,
                                                   FileProviderCustomAction::ActionCompletion);

struct Row {
  std::string_view identifier;
  Handler handler;
};

using Action = FileProviderCustomAction;
constexpr std::array kActions{
    Row{"it.pellam.Zelto.Provider.RefreshMyFiles", &Action::refreshMyFilesForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.RefreshDirectory", &Action::refreshDirectoryForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.ShowCustomFields", &Action::showCustomFieldsForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.OpenWithOfficeOnline",
        &Action::openWithOfficeOnlineForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.OpenWithOffice365", &Action::openWithOffice365ForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.Bookmark", &Action::addBookmarkForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.RemoveBookmark", &Action::removeBookmarkForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.CheckoutStatus", &Action::showCheckoutStatusForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.Checkin", &Action::checkInFileForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.Checkout", &Action::checkOutFileForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.AddOffline", &Action::makeAvailableOfflineForItemsWithIdentifiers},
    Row{"it.pellam.Zelto.Provider.RemoveOffline", &Action::removeFromOfflineFilesForItemsWithIdentifiers},
};

}  // namespace

FileProviderCustomAction& FileProviderCustomAction::instance() {
  static auto* const action = new FileProviderCustomAction();
  return *action;
}

std::shared_ptr<NSProgress> FileProviderCustomAction::performActionWithIdentifier(
    const std::string& actionIdentifier, const Identifiers& onItemsWithIdentifiers,
    ActionCompletion completionHandler) {
  auto progress = NSProgress::create(std::ssize(onItemsWithIdentifiers));
  backgroundQueue_.async([this, actionIdentifier, onItemsWithIdentifiers, progress,
                          completion = std::move(completionHandler)]() mutable {
    dispatch(actionIdentifier, onItemsWithIdentifiers, *progress, std::move(completion));
  });
  return progress;
}

void FileProviderCustomAction::dispatch(const std::string& actionIdentifier, const Identifiers& identifiers,
                                        NSProgress& progress, ActionCompletion completion) {
  const auto* const row = std::ranges::find(kActions, actionIdentifier, &Row::identifier);
  if (row != kActions.end()) return (this->*row->handler)(identifiers, progress, std::move(completion));
  FileProviderLogger::instance().logWarn("FP[Action] Unknown action: " + actionIdentifier);
  progress.setCompletedUnitCount(progress.totalUnitCount());
  completion(FileProviderErrorUtils::errorNotSupported());
}

}  // namespace zelto
