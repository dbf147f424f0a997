#include "hostapp/HostStore.h"

#include <cstdio>

#include "hostapp/BackendErrors.h"

namespace zelto {

namespace {

constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS settings(key TEXT PRIMARY KEY, value INTEGER) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS marks(kind INTEGER, name TEXT, path TEXT, folder INTEGER, created REAL,
                                 PRIMARY KEY(kind, name)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS folders(path TEXT PRIMARY KEY, inode INTEGER, views TEXT, snapshot BLOB);
CREATE TABLE IF NOT EXISTS fields(path TEXT, name TEXT, value TEXT, PRIMARY KEY(path, name)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS changes(identifier TEXT PRIMARY KEY, kind INTEGER) WITHOUT ROWID;
)";

std::expected<Database, std::string> openWithSchema(const std::string& path) {
  auto database = Database::open(path);
  if (database && !database->execute(kSchema)) return std::unexpected(database->lastError());
  return database;
}

void setAside(const std::string& path) {
  std::rename(path.c_str(), (path + ".broken").c_str());
  std::remove((path + "-wal").c_str());
  std::remove((path + "-shm").c_str());
}

}  // namespace

std::expected<std::shared_ptr<HostStore>, NSError> HostStore::open(const std::string& path) {
  auto database = openWithSchema(path);
  if (!database) {
    setAside(path);
    database = openWithSchema(path);
  }
  if (!database) return std::unexpected(cocoaError(kReadUnknownError, path + ": " + database.error()));
  return std::shared_ptr<HostStore>(new HostStore(std::move(*database), path));
}

std::optional<HostMode> HostStore::mode() {
  const std::lock_guard lock(mutex_);
  auto query = database_.prepare("SELECT value FROM settings WHERE key='mode'");
  if (!query.step()) return std::nullopt;
  return HostMode{(query.integer(0) & 1) != 0, (query.integer(0) & 2) != 0};
}

void HostStore::setMode(HostMode mode) {
  const std::lock_guard lock(mutex_);
  const std::int64_t value = (mode.useMyFiles ? 1 : 0) | (mode.useOfflineFiles ? 2 : 0);
  note(database_.prepare("INSERT OR REPLACE INTO settings VALUES('mode',?)").bind(1, value).run());
}

std::vector<MarkedItem> HostStore::marks() {
  const std::lock_guard lock(mutex_);
  std::vector<MarkedItem> items;
  auto query = database_.prepare("SELECT kind,name,path,folder,created FROM marks");
  while (query.step()) {
    items.push_back({query.integer(0) == 2 ? MarkKind::offline : MarkKind::bookmark, query.bytes(1),
                     query.bytes(2), query.integer(3) != 0, NSDate::sinceReferenceDate(query.real(4))});
  }
  return items;
}

void HostStore::addMark(const MarkedItem& item) {
  const std::lock_guard lock(mutex_);
  addMarkLocked(item);
}

void HostStore::addMarkLocked(const MarkedItem& item) {
  note(database_.prepare("INSERT OR REPLACE INTO marks VALUES(?,?,?,?,?)")
           .bind(1, static_cast<std::int64_t>(item.kind))
           .bind(2, item.name)
           .bind(3, item.path)
           .bind(4, static_cast<std::int64_t>(item.isFolder))
           .bind(5, item.created.timeIntervalSinceReferenceDate())
           .run());
}

void HostStore::removeMark(MarkKind kind, const std::string& name) {
  const std::lock_guard lock(mutex_);
  removeMarkLocked(kind, name);
}

void HostStore::replaceMark(const MarkedItem& before, const MarkedItem& after) {
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  removeMarkLocked(before.kind, before.name);
  addMarkLocked(after);
  note(transaction.commit());
}

void HostStore::removeMarkLocked(MarkKind kind, const std::string& name) {
  note(database_.prepare("DELETE FROM marks WHERE kind=? AND name=?")
           .bind(1, static_cast<std::int64_t>(kind))
           .bind(2, name)
           .run());
}

std::vector<StoredChange> HostStore::changes() {
  const std::lock_guard lock(mutex_);
  std::vector<StoredChange> found;
  auto query = database_.prepare("SELECT identifier,kind FROM changes WHERE kind BETWEEN 1 AND 3");
  while (query.step()) found.push_back({query.bytes(0), static_cast<ChangeKind>(query.integer(1))});
  return found;
}

void HostStore::saveChanges(const std::vector<StoredChange>& changes) {
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  auto insert = database_.prepare("INSERT OR REPLACE INTO changes VALUES(?,?)");
  for (const auto& change : changes) {
    note(insert.bind(1, change.identifier).bind(2, static_cast<std::int64_t>(change.kind)).run());
    insert.reset();
  }
  note(transaction.commit());
}

void HostStore::removeChanges(const std::vector<std::string>& identifiers) {
  if (identifiers.empty()) return;
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  auto remove = database_.prepare("DELETE FROM changes WHERE identifier=?");
  for (const auto& identifier : identifiers) {
    note(remove.bind(1, identifier).run());
    remove.reset();
  }
  note(transaction.commit());
}

void HostStore::clearChanges() {
  const std::lock_guard lock(mutex_);
  note(database_.execute("DELETE FROM changes"));
}

std::size_t HostStore::failedWrites() {
  const std::lock_guard lock(mutex_);
  return failedWrites_;
}

}  // namespace zelto
