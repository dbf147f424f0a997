#include "hostapp/HostService.h"

#include "hostapp/BackendErrors.h"

namespace zelto {

namespace {

// The most entries of one reply to a request for changes.
constexpr std::size_t kMostChanges = 10'000;

// A change as the extension is told of it: what the server holds now decides.
void describeChange(const ItemResolver& resolver, LogFile& log, const StoredChange& change,
                    DictionaryList& updates, std::vector<std::string>& deletions) {
  auto dictionary = resolver.dictionary(change.identifier);
  const bool gone = !dictionary && isNoSuchItem(dictionary.error());
  if (gone || change.kind != ChangeKind::update) deletions.push_back(change.identifier);
  if (dictionary) {
    updates.push_back(std::move(*dictionary));
  } else if (!gone) {
    log.warn("A change is not reported: " + dictionary.error().localizedDescription());
  }
}

}  // namespace

HostService::HostService(std::shared_ptr<const HostParts> parts, std::uint64_t connection)
    : parts_(std::move(parts)), connection_(connection) {
  auto end = std::make_shared<std::promise<void>>();
  ended_ = end->get_future().share();
  abandoned_ = {new std::atomic<bool>(false), [end, delivered = delivered_](const std::atomic<bool>* flag) {
                  delete flag;
                  delivered->removeAll();
                  end->set_value();
                }};
}

void HostService::enumeratorInvalidatedPath(const std::string&) {
  parts_->counters->count("enumeratorInvalidatedPath");
}

void HostService::retrieveChangesWithCompletion(ChangesReply completion) {
  parts_->counters->count("retrieveChanges");
  parts_->pool->run([parts = parts_, connection = connection_, reply = std::move(completion)]() mutable {
    const auto batch = parts->journal->handOut(connection, kMostChanges);
    DictionaryList updates;
    std::vector<std::string> deletions;
    for (const auto& change : batch.changes) {
      describeChange(*parts->resolver, *parts->log, change, updates, deletions);
    }
    reply(std::move(updates), std::move(deletions));
    if (batch.more) parts->signalChanges();
  });
}

void HostService::listing(const char* operation, std::function<DictionaryList(Listings&)> list,
                          ListReply completion) {
  parts_->counters->count(operation);
  parts_->pool->run([parts = parts_, work = std::move(list), reply = std::move(completion)]() mutable {
    reply(work(*parts->listings));
  });
}

void HostService::metadataForSharesWithCompletion(ListReply completion) {
  listing(
      "metadataForShares", [](Listings& listings) { return listings.shares(); }, std::move(completion));
}

void HostService::metadataForBookmarksWithCompletion(ListReply completion) {
  listing(
      "metadataForBookmarks", [](Listings& listings) { return listings.bookmarks(); }, std::move(completion));
}

// The server is this machine: there is no cache that could be forced.
void HostService::metadataForDirectory(const std::string& path, bool, ListReply completion) {
  listing(
      "metadataForDirectory", [path](Listings& listings) { return listings.directory(path); },
      std::move(completion));
}

void HostService::metadataForDirectoryWithBookmarkPath(const std::string& path, ListReply completion) {
  listing(
      "metadataForDirectoryWithBookmarkPath", [path](Listings& listings) { return listings.directory(path); },
      std::move(completion));
}

void HostService::metadataForRootOfflineFilesWithCompletion(ListReply completion) {
  listing(
      "metadataForRootOfflineFiles", [](Listings& listings) { return listings.offlineFiles(); },
      std::move(completion));
}

void HostService::mark(const char* operation, MarkKind kind, bool add, const std::string& path) {
  parts_->counters->count(operation);
  parts_->pool->run([parts = parts_, kind, add, path] {
    const auto error = add ? parts->marks->add(kind, path) : parts->marks->remove(kind, path);
    if (error) parts->actions->showFailure(path, *error);
  });
}

void HostService::makeAvailableOfflineForPath(const std::string& path) {
  mark("makeAvailableOffline", MarkKind::offline, true, path);
}

void HostService::removeFromOfflineFilesForPath(const std::string& path) {
  mark("removeFromOfflineFiles", MarkKind::offline, false, path);
}

void HostService::addBookmarkForPath(const std::string& path) {
  mark("addBookmark", MarkKind::bookmark, true, path);
}

void HostService::removeBookmarkForPath(const std::string& path) {
  mark("removeBookmark", MarkKind::bookmark, false, path);
}

void HostService::refreshMyFiles() {
  parts_->counters->count("refreshMyFiles");
  parts_->watcher->rescanAll();
}

void HostService::refreshDirectoryForPath(const std::string& path, bool) {
  parts_->counters->count("refreshDirectory");
  const auto item = parts_->resolver->resolve(path);
  if (item) {
    parts_->watcher->rescan(item->path);
  } else {
    parts_->watcher->rescanAll();
  }
}

void HostService::logMessage(const std::string& message, const std::string& level, const std::string& date,
                             bool, std::int32_t pid) {
  parts_->counters->count("logMessage");
  parts_->log->record(date, level, pid, message);
}

void HostService::act(const char* operation, const std::string& path,
                      std::function<std::optional<NSError>(ItemActions&, const std::string& path)> action) {
  parts_->counters->count(operation);
  parts_->pool->run([parts = parts_, path, work = std::move(action)] {
    if (const auto error = work(*parts->actions, path)) parts->actions->showFailure(path, *error);
  });
}

void HostService::showCustomFieldsForPath(const std::string& path) {
  act("showCustomFields", path, [](ItemActions& actions, const std::string& item) {
    actions.showCustomFields(item);
    return std::nullopt;
  });
}

void HostService::openWithOfficeOnlineForPath(const std::string& path) {
  act("openWithOfficeOnline", path, [](ItemActions& actions, const std::string& item) {
    actions.openWith(OfficeSuite::online, item);
    return std::nullopt;
  });
}

void HostService::openWithOffice365ForPath(const std::string& path) {
  act("openWithOffice365", path, [](ItemActions& actions, const std::string& item) {
    actions.openWith(OfficeSuite::office365, item);
    return std::nullopt;
  });
}

void HostService::showCheckoutStatusForPath(const std::string& path) {
  act("showCheckoutStatus", path, [](ItemActions& actions, const std::string& item) {
    actions.showCheckoutStatus(item);
    return std::nullopt;
  });
}

void HostService::checkInFileAtPath(const std::string& path) {
  act("checkInFile", path,
      [](ItemActions& actions, const std::string& item) { return actions.checkIn(item); });
}

void HostService::checkOutFileAtPath(const std::string& path) {
  act("checkOutFile", path,
      [](ItemActions& actions, const std::string& item) { return actions.checkOut(item); });
}

}  // namespace zelto
