#include "hostapp/FolderSnapshot.h"

#include <algorithm>
#include <tuple>

namespace zelto {

namespace {

// Longer than one step of the clock that file systems take their times from.
constexpr std::int64_t kSettleNanoseconds = 20'000'000;

std::int64_t nanosecondsBetween(std::timespec from, std::timespec to) {
  const std::int64_t seconds = std::clamp<std::int64_t>(to.tv_sec - from.tv_sec, -100, 100);
  return seconds * 1'000'000'000 + (to.tv_nsec - from.tv_nsec);
}

auto comparable(const EntryStat& stat) {
  return std::tuple(stat.kind, stat.writable, stat.size, stat.modified.tv_sec, stat.modified.tv_nsec,
                    stat.changed.tv_sec, stat.changed.tv_nsec, stat.inode, stat.checkout);
}

}  // namespace

FolderSnapshot::Entry FolderSnapshot::entryOf(const BackendEntry& entry, std::timespec now) {
  const bool settled = nanosecondsBetween(entry.stat.changed, now) > kSettleNanoseconds;
  return {entry.name, entry.stat, settled};
}

FolderSnapshot FolderSnapshot::ofEntries(const std::vector<BackendEntry>& entries, std::timespec now) {
  FolderSnapshot snapshot;
  snapshot.entries_.reserve(entries.size());
  for (const auto& entry : entries) snapshot.entries_.push_back(entryOf(entry, now));
  std::sort(snapshot.entries_.begin(), snapshot.entries_.end(),
            [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return snapshot;
}

std::optional<ChangeKind> FolderSnapshot::changeBetween(const Entry& before, const Entry& after) {
  const bool folder = before.stat.kind == EntryKind::folder;
  if (before.stat.kind != after.stat.kind || (folder && before.stat.inode != after.stat.inode)) {
    return ChangeKind::replacement;
  }
  if (before.settled && comparable(before.stat) == comparable(after.stat)) return std::nullopt;
  return ChangeKind::update;
}

std::vector<NamedChange> FolderSnapshot::changesTo(const FolderSnapshot& later) const {
  std::vector<NamedChange> changes;
  auto before = entries_.begin();
  auto after = later.entries_.begin();
  while (before != entries_.end() || after != later.entries_.end()) {
    if (after == later.entries_.end() || (before != entries_.end() && before->name < after->name)) {
      changes.push_back({(before++)->name, ChangeKind::deletion});
    } else if (before == entries_.end() || after->name < before->name) {
      changes.push_back({(after++)->name, ChangeKind::update});
    } else {
      if (const auto kind = changeBetween(*before, *after)) changes.push_back({after->name, *kind});
      ++before;
      ++after;
    }
  }
  return changes;
}

std::vector<NamedChange> FolderSnapshot::apply(const std::vector<std::string>& names,
                                               const std::vector<std::optional<BackendEntry>>& found,
                                               std::timespec now) {
  std::vector<NamedChange> changes;
  std::vector<Entry> added;
  bool removed = false;
  auto at = entries_.begin();
  for (std::size_t i = 0; i < names.size(); ++i) {
    at = std::lower_bound(at, entries_.end(), names[i],
                          [](const Entry& entry, const std::string& name) { return entry.name < name; });
    const bool known = at != entries_.end() && at->name == names[i];
    if (!known && !found[i]) continue;
    if (!known) {
      added.push_back(entryOf(*found[i], now));
      changes.push_back({names[i], ChangeKind::update});
    } else if (!found[i]) {
      changes.push_back({names[i], ChangeKind::deletion});
      // An entry has no name without one: it is swept below.
      at->name.clear();
      removed = true;
      ++at;
    } else {
      Entry after = entryOf(*found[i], now);
      if (const auto kind = changeBetween(*at, after)) changes.push_back({names[i], *kind});
      *at = std::move(after);
    }
  }
  if (removed) std::erase_if(entries_, [](const Entry& entry) { return entry.name.empty(); });
  const auto middle = static_cast<std::ptrdiff_t>(entries_.size());
  std::move(added.begin(), added.end(), std::back_inserter(entries_));
  std::inplace_merge(entries_.begin(), entries_.begin() + middle, entries_.end(),
                     [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return changes;
}

bool FolderSnapshot::forget(const std::string& name, const EntryStat& seen, std::timespec now) {
  const auto at = std::lower_bound(entries_.begin(), entries_.end(), name,
                                   [](const Entry& entry, const std::string& n) { return entry.name < n; });
  if (at == entries_.end() || at->name != name || comparable(at->stat) != comparable(seen)) return false;
  if (nanosecondsBetween(seen.changed, now) <= kSettleNanoseconds) return false;
  entries_.erase(at);
  return true;
}

}  // namespace zelto
