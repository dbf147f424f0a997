#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "hostapp/HostStore.h"

namespace zelto {

// Whether an item is bookmarked and whether it is available offline.
struct MarkFlags {
  bool bookmarked = false;
  bool offline = false;
};

struct MovedMark {
  MarkedItem before;
  MarkedItem after;
};

// Bookmarks and offline items: in memory, and written through to the store.
// THREAD: any.
class MarkedItems {
 public:
  explicit MarkedItems(std::shared_ptr<HostStore> store);

  std::vector<MarkedItem> all(MarkKind kind) const;  // by name
  std::optional<MarkedItem> named(MarkKind kind, std::string_view name) const;
  std::optional<MarkedItem> at(MarkKind kind, std::string_view path) const;
  MarkFlags flags(std::string_view path) const;
  // The marked entries of one folder, by name. Empty for nearly every folder.
  std::unordered_map<std::string, MarkFlags> flagsIn(std::string_view folder) const;

  // The new item, under a name that no other of its kind has. Nothing when the path has that mark
  // already, or when there are 10,000 of the kind.
  std::optional<MarkedItem> add(MarkKind kind, const std::string& path, bool isFolder);
  // The item that was removed.
  std::optional<MarkedItem> remove(MarkKind kind, std::string_view path);

  // The marks of a path and of everything below it.
  std::vector<MarkedItem> atOrBelow(std::string_view path) const;
  std::vector<MarkedItem> removeAtOrBelow(std::string_view path);
  // An item has another path now: its marks, and those below it, follow. One that was named after the item is
  // given the new name. REQUIRES: nothing is marked at or below the new path.
  std::vector<MovedMark> moved(std::string_view from, const std::string& to);

 private:
  std::string freeNameLocked(MarkKind kind, const std::string& path, bool isFolder) const;

  const std::shared_ptr<HostStore> store_;
  mutable std::mutex mutex_;
  std::vector<MarkedItem> items_;  // by kind, then name
};

// "report.txt" gives "report (2).txt", cut to 255 bytes; a folder's name is numbered at its end.
std::string numberedName(const std::string& name, bool isFolder, int number);

}  // namespace zelto
