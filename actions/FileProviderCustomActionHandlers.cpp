#include <utility>

#include <fmt/format.h>

#include "actions/FileProviderCustomAction.h"
#include "host/ZeltoFileProviderClient.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

using Client = ZeltoFileProviderClient;
using HostCall = void (Client::*)(const std::string&);

// A line in the log and one call to the host for each item, in order.
void forEach(const std::vector<std::string>& identifiers, NSProgress& progress,
             FileProviderCustomAction::ActionCompletion& completion, const char* what, HostCall call) {
  std::int64_t handled = 0;
  for (const auto& identifier : identifiers) {
    FileProviderLogger::instance().logInfo(fmt::format("FP[Action] {}: {}", what, identifier));
    (Client::instance().*call)(identifier);
    progress.setCompletedUnitCount(++handled);
  }
  completion(std::nullopt);
}

}  // namespace

// The host refreshes all of them at once, so the progress stands at its end while it is called.
void FileProviderCustomAction::refreshMyFilesForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                     NSProgress& progress,
                                                                     ActionCompletion completion) {
  std::int64_t handled = 0;
  for (const auto& identifier : identifiers) {
    FileProviderLogger::instance().logInfo(fmt::format("FP[Action] Refresh MyFiles ({})", identifier));
    progress.setCompletedUnitCount(progress.totalUnitCount());
    Client::instance().refreshMyFiles();
    progress.setCompletedUnitCount(++handled);
  }
  completion(std::nullopt);
}

void FileProviderCustomAction::refreshDirectoryForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                       NSProgress& progress,
                                                                       ActionCompletion completion) {
  std::int64_t handled = 0;
  for (const auto& identifier : identifiers) {
    FileProviderLogger::instance().logInfo("FP[Action] Refresh: " + identifier);
    Client::instance().refreshDirectoryForPath(identifier, true);
    progress.setCompletedUnitCount(++handled);
  }
  completion(std::nullopt);
}

void FileProviderCustomAction::showCustomFieldsForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                       NSProgress& progress,
                                                                       ActionCompletion completion) {
  forEach(identifiers, progress, completion, "ShowCustomFields", &Client::showCustomFieldsForIdentifier);
}

void FileProviderCustomAction::openWithOfficeOnlineForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                           NSProgress& progress,
                                                                           ActionCompletion completion) {
  forEach(identifiers, progress, completion, "OpenWithOfficeOnline", &Client::openWithOfficeOnlineForPath);
}

void FileProviderCustomAction::openWithOffice365ForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                        NSProgress& progress,
                                                                        ActionCompletion completion) {
  // In the log both online suites are the same.
  forEach(identifiers, progress, completion, "OpenWithOfficeOnline", &Client::openWithOffice365ForPath);
}

void FileProviderCustomAction::addBookmarkForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                  NSProgress& progress,
                                                                  ActionCompletion completion) {
  forEach(identifiers, progress, completion, "Add Bookmark", &Client::addBookmarkForPath);
}

void FileProviderCustomAction::removeBookmarkForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                     NSProgress& progress,
                                                                     ActionCompletion completion) {
  forEach(identifiers, progress, completion, "Remove Bookmark", &Client::removeBookmarkForPath);
}

void FileProviderCustomAction::showCheckoutStatusForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                         NSProgress& progress,
                                                                         ActionCompletion completion) {
  forEach(identifiers, progress, completion, "Show Checkout Status", &Client::showCheckoutStatusForPath);
}

void FileProviderCustomAction::checkInFileForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                  NSProgress& progress,
                                                                  ActionCompletion completion) {
  forEach(identifiers, progress, completion, "Check In", &Client::checkInFileAtPath);
}

void FileProviderCustomAction::checkOutFileForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                   NSProgress& progress,
                                                                   ActionCompletion completion) {
  forEach(identifiers, progress, completion, "Check Out", &Client::checkOutFileAtPath);
}

void FileProviderCustomAction::makeAvailableOfflineForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                           NSProgress& progress,
                                                                           ActionCompletion completion) {
  forEach(identifiers, progress, completion, "MakeAvailableOffline", &Client::makeAvailableOfflineForPath);
}

void FileProviderCustomAction::removeFromOfflineFilesForItemsWithIdentifiers(const Identifiers& identifiers,
                                                                             NSProgress& progress,
                                                                             ActionCompletion completion) {
  forEach(identifiers, progress, completion, "RemoveFromOffline", &Client::removeFromOfflineFilesForPath);
}

}  // namespace zelto
