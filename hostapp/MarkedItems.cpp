#include "hostapp/MarkedItems.h"

#include <algorithm>

#include "hostapp/BeneathFolder.h"
#include "hostapp/ServerPaths.h"
#include "platform/foundation/Path.h"

namespace zelto {

namespace {

constexpr std::size_t kMostItems = 10'000;
constexpr std::size_t kLongestName = 255;

// At most `length` bytes, not cut inside a character.
std::string shortened(const std::string& text, std::size_t length) {
  if (text.size() <= length) return text;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  return text.substr(0, length);
}

bool inOrder(const MarkedItem& a, const MarkedItem& b) {
  return a.kind != b.kind ? a.kind < b.kind : a.name < b.name;
}

}  // namespace

std::string numberedName(const std::string& name, bool isFolder, int number) {
  const std::string suffix = " (" + std::to_string(number) + ")";
  const auto plain = isFolder ? "" : pathExtension(name);
  const std::string extension = plain.empty() || plain.size() > 40 ? "" : "." + plain;
  const auto stem = name.substr(0, name.size() - extension.size());
  return shortened(stem, kLongestName - suffix.size() - extension.size()) + suffix + extension;
}

MarkedItems::MarkedItems(std::shared_ptr<HostStore> store)
    : store_(std::move(store)), items_(store_->marks()) {
  // Only what could have been added.
  std::erase_if(items_, [](const MarkedItem& item) {
    return !isRelativePath(item.path) || !isRelativePath(item.name) || item.name.contains('/');
  });
  std::sort(items_.begin(), items_.end(), inOrder);
}

std::vector<MarkedItem> MarkedItems::all(MarkKind kind) const {
  const std::lock_guard lock(mutex_);
  std::vector<MarkedItem> found;
  for (const auto& item : items_) {
    if (item.kind == kind) found.push_back(item);
  }
  return found;
}

std::optional<MarkedItem> MarkedItems::named(MarkKind kind, std::string_view name) const {
  const std::lock_guard lock(mutex_);
  for (const auto& item : items_) {
    if (item.kind == kind && item.name == name) return item;
  }
  return std::nullopt;
}

std::optional<MarkedItem> MarkedItems::at(MarkKind kind, std::string_view path) const {
  const std::lock_guard lock(mutex_);
  for (const auto& item : items_) {
    if (item.kind == kind && item.path == path) return item;
  }
  return std::nullopt;
}

MarkFlags MarkedItems::flags(std::string_view path) const {
  const std::lock_guard lock(mutex_);
  MarkFlags flags;
  for (const auto& item : items_) {
    if (item.path != path) continue;
    (item.kind == MarkKind::bookmark ? flags.bookmarked : flags.offline) = true;
  }
  return flags;
}

std::unordered_map<std::string, MarkFlags> MarkedItems::flagsIn(std::string_view folder) const {
  const std::lock_guard lock(mutex_);
  std::unordered_map<std::string, MarkFlags> found;
  for (const auto& item : items_) {
    const auto split = splitPath(item.path);
    if (split.folder != folder) continue;
    auto& flags = found[split.name];
    (item.kind == MarkKind::bookmark ? flags.bookmarked : flags.offline) = true;
  }
  return found;
}

std::optional<MarkedItem> MarkedItems::add(MarkKind kind, const std::string& path, bool isFolder) {
  MarkedItem item{kind, "", path, isFolder, NSDate::now()};
  {
    const std::lock_guard lock(mutex_);
    const auto same = [kind](const MarkedItem& other) { return other.kind == kind; };
    const auto present = [kind, &path](const MarkedItem& other) {
      return other.kind == kind && other.path == path;
    };
    if (std::any_of(items_.begin(), items_.end(), present)) return std::nullopt;
    if (std::count_if(items_.begin(), items_.end(), same) >= static_cast<std::ptrdiff_t>(kMostItems)) {
      return std::nullopt;
    }
    item.name = freeNameLocked(kind, path, isFolder);
    items_.insert(std::upper_bound(items_.begin(), items_.end(), item, inOrder), item);
  }
  store_->addMark(item);
  return item;
}

std::string MarkedItems::freeNameLocked(MarkKind kind, const std::string& path, bool isFolder) const {
  const auto taken = [this, kind](const std::string& name) {
    return std::any_of(items_.begin(), items_.end(), [kind, &name](const MarkedItem& item) {
      return item.kind == kind && item.name == name;
    });
  };
  const auto plain = splitPath(path).name;
  std::string name = plain;
  for (int number = 2; taken(name); ++number) name = numberedName(plain, isFolder, number);
  return name;
}

std::optional<MarkedItem> MarkedItems::remove(MarkKind kind, std::string_view path) {
  std::optional<MarkedItem> removed;
  {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(items_.begin(), items_.end(), [kind, path](const MarkedItem& item) {
      return item.kind == kind && item.path == path;
    });
    if (found == items_.end()) return std::nullopt;
    removed = *found;
    items_.erase(found);
  }
  store_->removeMark(kind, removed->name);
  return removed;
}

std::vector<MarkedItem> MarkedItems::atOrBelow(std::string_view path) const {
  const std::lock_guard lock(mutex_);
  std::vector<MarkedItem> found;
  std::copy_if(items_.begin(), items_.end(), std::back_inserter(found),
               [path](const MarkedItem& item) { return liesIn(item.path, path); });
  return found;
}

std::vector<MarkedItem> MarkedItems::removeAtOrBelow(std::string_view path) {
  std::vector<MarkedItem> removed;
  {
    const std::lock_guard lock(mutex_);
    const auto gone = std::stable_partition(
        items_.begin(), items_.end(), [path](const MarkedItem& item) { return !liesIn(item.path, path); });
    removed.assign(gone, items_.end());
    items_.erase(gone, items_.end());
  }
  for (const auto& item : removed) store_->removeMark(item.kind, item.name);
  return removed;
}

std::vector<MovedMark> MarkedItems::moved(std::string_view from, const std::string& to) {
  std::vector<MovedMark> moves;
  const auto oldName = splitPath(from).name;
  const auto newName = splitPath(to).name;
  {
    const std::lock_guard lock(mutex_);
    for (auto& item : items_) {
      if (!liesIn(item.path, from)) continue;
      const auto before = item;
      item.path = to + before.path.substr(from.size());
      if (before.path == from && oldName != newName) {
        item.name.clear();
        item.name = freeNameLocked(item.kind, item.path, item.isFolder);
      }
      moves.push_back({before, item});
    }
    std::sort(items_.begin(), items_.end(), inOrder);
  }
  for (const auto& [before, after] : moves) store_->replaceMark(before, after);
  return moves;
}

}  // namespace zelto
