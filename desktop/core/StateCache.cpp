#include "desktop/core/StateCache.h"

#include <algorithm>

namespace zelto::desktop {
namespace {

const ItemState kUnknown;

}  // namespace

const ItemState* StateCache::find(const std::string& path) {
  const ItemState* const listed = find({parentOf(path), true}, path);
  if (listed != nullptr && listed->known) return listed;
  const ItemState* const own = find({path, false}, path);
  return own != nullptr ? own : listed;
}

const ItemState* StateCache::find(const Scope& scope, const std::string& path) {
  const auto entry = entries_.find(scope);
  if (entry == entries_.end()) return nullptr;
  entry->second.used = ++uses_;
  const auto state = entry->second.states.find(nameOf(path));
  return state != entry->second.states.end() ? &state->second : &kUnknown;
}

std::vector<std::string> StateCache::replace(const Scope& scope, std::vector<PathState> states) {
  const bool known = has(scope);
  Entry& entry = entries_[scope];
  const std::string folder = scope.children ? scope.path : parentOf(scope.path);
  std::vector<std::string> changed;
  std::unordered_map<std::string, ItemState> fresh;
  fresh.reserve(states.size());
  for (PathState& item : states) {
    if (parentOf(item.path) != folder) continue;
    std::string name = nameOf(item.path);
    const auto old = entry.states.find(name);
    if (known && (old == entry.states.end() || old->second != item.state)) changed.push_back(item.path);
    if (old != entry.states.end()) entry.states.erase(old);
    fresh.insert_or_assign(std::move(name), std::move(item.state));
  }
  for (const auto& [name, state] : entry.states) changed.push_back(folder + "/" + name);
  entry.states = std::move(fresh);
  entry.used = ++uses_;
  shrink(scope);
  return changed;
}

void StateCache::observe(const Scope& scope) { ++observers_[scope]; }

void StateCache::unobserve(const Scope& scope) {
  const auto found = observers_.find(scope);
  if (found != observers_.end() && --found->second == 0) observers_.erase(found);
}

bool StateCache::observed(const Scope& scope) const {
  return observers_.contains(scope) || (!scope.children && observers_.contains({scope.path, true}));
}

std::vector<Scope> StateCache::concerned(const std::vector<std::string>& folders) const {
  std::vector<Scope> all;
  for (const auto& [scope, entry] : entries_) {
    const bool changed = std::ranges::any_of(folders, [&](const std::string& folder) {
      return scope.path == folder || (!scope.children && parentOf(scope.path) == folder);
    });
    if (changed) all.push_back(scope);
  }
  return all;
}

void StateCache::shrink(const Scope& newest) {
  while (entries_.size() > limit_) {
    auto oldest = entries_.end();
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
      if (entry->first == newest || observed(entry->first)) continue;
      if (oldest == entries_.end() || entry->second.used < oldest->second.used) oldest = entry;
    }
    if (oldest == entries_.end()) return;
    entries_.erase(oldest);
  }
}

}  // namespace zelto::desktop
