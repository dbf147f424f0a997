#include "hostapp/KnownFolders.h"

#include <algorithm>

#include "hostapp/ServerPaths.h"

namespace zelto {

void KnownFolder::addView(const std::string& view) {
  auto& views = stored.views;
  if (std::find(views.begin(), views.end(), view) == views.end()) views.push_back(view);
}

KnownFolder* KnownFolders::find(const std::string& path) {
  const auto found = folders_.find(path);
  return found == folders_.end() ? nullptr : &found->second;
}

KnownFolder& KnownFolders::add(const std::string& path) {
  auto& folder = folders_[path];
  folder.stored.path = path;
  return folder;
}

std::vector<std::string> KnownFolders::remove(const std::string& path) {
  std::vector<std::string> removed;
  if (folders_.erase(path) > 0) removed.push_back(path);
  // '0' follows '/': everything that begins with "path/".
  const auto first = path.empty() ? folders_.begin() : folders_.lower_bound(path + "/");
  const auto last = path.empty() ? folders_.end() : folders_.lower_bound(path + "0");
  for (auto at = first; at != last; ++at) removed.push_back(at->first);
  folders_.erase(first, last);
  return removed;
}

std::vector<std::pair<std::string, std::string>> KnownFolders::rename(const std::string& from,
                                                                      const std::string& to) {
  std::vector<std::pair<std::string, std::string>> renamed;
  for (const auto& [path, folder] : folders_) {
    if (liesIn(path, from)) renamed.emplace_back(path, to + path.substr(from.size()));
  }
  for (const auto& [old, now] : renamed) {
    auto node = folders_.extract(old);
    node.key() = now;
    node.mapped().stored.path = now;
    folders_.insert(std::move(node));
  }
  return renamed;
}

std::vector<std::string> KnownFolders::paths() const {
  std::vector<std::string> all;
  all.reserve(folders_.size());
  for (const auto& [path, folder] : folders_) all.push_back(path);
  return all;
}

std::size_t KnownFolders::unwatched() const {
  const auto count = std::count_if(folders_.begin(), folders_.end(),
                                   [](const auto& folder) { return !folder.second.watched; });
  return static_cast<std::size_t>(count);
}

std::vector<std::string> KnownFolders::dropView(const std::string& view) {
  std::vector<std::string> unused;
  for (auto& [path, folder] : folders_) {
    if (std::erase(folder.stored.views, view) > 0 && folder.stored.views.empty()) unused.push_back(path);
  }
  return unused;
}

}  // namespace zelto
