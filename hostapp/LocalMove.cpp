#include "hostapp/LocalMove.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/FolderNames.h"
#include "hostapp/RenameAtomically.h"

namespace zelto {

namespace {

bool isSame(int a, int b) {
  struct stat first {};
  struct stat second {};
  return ::fstat(a, &first) == 0 && ::fstat(b, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

bool holdsName(const LocalPlace& place) {
  const auto names =
      namesIn(UniqueDescriptor(::openat(place.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  const auto holds = [&place](const std::vector<std::string>& all) {
    return std::find(all.begin(), all.end(), place.name) != all.end();
  };
  return !names || holds(names->folders) || holds(names->others);
}

// The server takes both names for the same one (it does not tell capital from small letters): what stands in
// the way is the item itself, since no entry is really called so.
bool isItselfInTheWay(int item, const LocalPlace& from, const LocalPlace& to) {
  if (!isSame(from.folder.get(), to.folder.get())) return false;
  const auto there = to.look();
  return there && isSame(item, there->get()) && !holdsName(to);
}

}  // namespace

std::expected<BackendEntry, NSError> moveLocally(const LocalPlace& from, const LocalPlace& to) {
  const auto item = from.look();
  if (!item) return std::unexpected(writeError(item.error(), from.path));
  if (from.path == to.path) return from.entry(item->get());
  int code = renameWithoutReplacing(from.folder.get(), from.name, to.folder.get(), to.name);
  if (code == EEXIST && isItselfInTheWay(item->get(), from, to)) {
    code = renameReplacing(from.folder.get(), from.name, to.folder.get(), to.name);
  }
  // What is missing now is the item; the folders are open.
  if (code != 0) return std::unexpected(writeError(code, code == ENOENT ? from.path : to.path));
  return to.entry(item->get());
}

}  // namespace zelto
