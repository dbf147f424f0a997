#pragma once

#include <expected>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hostapp/Database.h"
#include "hostapp/FolderLog.h"
#include "hostapp/FolderSnapshot.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSError.h"

namespace zelto {

struct HostMode {
  bool useMyFiles = false;
  bool useOfflineFiles = false;

  friend bool operator==(const HostMode&, const HostMode&) = default;
};

enum class MarkKind : std::uint8_t { bookmark = 1, offline = 2 };

// An item that the user has bookmarked or made available offline.
struct MarkedItem {
  MarkKind kind = MarkKind::bookmark;
  std::string name;  // in the bookmarks or offline-files container
  std::string path;  // on the server
  bool isFolder = false;
  NSDate created;
};

// What users have noted of one item, by name.
using CustomFields = std::map<std::string, std::string>;

struct StoredChange {
  std::string identifier;
  ChangeKind kind;
};

// What the host application remembers between its runs, in one SQLite file. A write that fails is counted
// and lost: what is stored is a memory, never the only copy of anything.
// THREAD: any. BLOCKS: on the disk.
class HostStore {
 public:
  // A file that is no sound database is set aside under the name "PATH.broken".
  // ERRORS: the file can neither be opened nor made.
  static std::expected<std::shared_ptr<HostStore>, NSError> open(const std::string& path);

  std::optional<HostMode> mode();
  void setMode(HostMode mode);

  std::vector<MarkedItem> marks();
  void addMark(const MarkedItem& item);
  void removeMark(MarkKind kind, const std::string& name);
  // In one step.
  void replaceMark(const MarkedItem& before, const MarkedItem& after);

  CustomFields fields(const std::string& path);
  // An empty value removes the field.
  void setField(const std::string& path, const std::string& name, const std::string& value);
  // Those of an item and of all below it.
  void moveFields(const std::string& from, const std::string& to);
  void removeFields(const std::string& path);

  std::vector<StoredFolder> folders();
  // Keeps a folder that is listed for the first time until it is saved: it is on disk on return.
  void addFolder(const StoredFolder& folder) { log_.append(folder); }
  void saveFolders(const std::vector<const StoredFolder*>& folders);
  void removeFolders(const std::vector<std::string>& paths);

  std::vector<StoredChange> changes();
  void saveChanges(const std::vector<StoredChange>& changes);
  void removeChanges(const std::vector<std::string>& identifiers);
  void clearChanges();

  std::size_t failedWrites();

 private:
  HostStore(Database database, const std::string& path)
      : log_(path + ".folders"), database_(std::move(database)) {}
  void addMarkLocked(const MarkedItem& item);
  void removeMarkLocked(MarkKind kind, const std::string& name);
  void note(bool succeeded) { failedWrites_ += succeeded ? 0 : 1; }

  FolderLog log_;
  std::mutex mutex_;
  Database database_;
  std::size_t failedWrites_ = 0;
};

}  // namespace zelto
