#include "hostapp/HostStore.h"

namespace zelto {

namespace {

// Views are joined by a byte that no name holds.
std::string joined(const std::vector<std::string>& views) {
  std::string text;
  for (const auto& view : views) text += view + '/';
  return text;
}

std::vector<std::string> split(std::string_view text) {
  std::vector<std::string> views;
  for (auto slash = text.find('/'); slash != std::string_view::npos; slash = text.find('/')) {
    views.emplace_back(text.substr(0, slash));
    text.remove_prefix(slash + 1);
  }
  return views;
}

Statement& bindFolder(Statement& insert, const StoredFolder& folder) {
  return insert.bind(1, folder.path)
      .bind(2, static_cast<std::int64_t>(folder.inode))
      .bind(3, joined(folder.views))
      .bindBlob(4, folder.snapshot.encoded());
}

}  // namespace

// A snapshot that cannot be read counts as empty: everything in the folder is then reported anew.
std::vector<StoredFolder> HostStore::folders() {
  const std::lock_guard lock(mutex_);
  std::vector<StoredFolder> found;
  auto query = database_.prepare("SELECT path,inode,views,snapshot FROM folders");
  while (query.step()) {
    found.push_back({query.bytes(0), static_cast<std::uint64_t>(query.integer(1)), split(query.bytes(2)),
                     FolderSnapshot::decoded(query.bytes(3)).value_or(FolderSnapshot())});
  }
  for (auto& folder : log_.read()) found.push_back(std::move(folder));
  return found;
}

void HostStore::saveFolders(const std::vector<const StoredFolder*>& folders) {
  if (folders.empty()) return;
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  auto insert = database_.prepare("INSERT OR REPLACE INTO folders VALUES(?,?,?,?)");
  for (const auto* folder : folders) {
    note(bindFolder(insert, *folder).run());
    insert.reset();
  }
  const bool committed = transaction.commit();
  note(committed);
  if (committed) log_.stored(folders);
}

void HostStore::removeFolders(const std::vector<std::string>& paths) {
  if (paths.empty()) return;
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  auto remove = database_.prepare("DELETE FROM folders WHERE path=?");
  for (const auto& path : paths) {
    note(remove.bind(1, path).run());
    remove.reset();
  }
  const bool committed = transaction.commit();
  note(committed);
  if (committed) log_.dropped(paths);
}

}  // namespace zelto
