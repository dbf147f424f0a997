#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>

#include "desktop/core/ItemState.h"
#include "desktop/core/Scope.h"

namespace zelto::desktop {

// What is known of items, by the scopes that were asked for. Holds the scopes that somebody looks at, and of
// the others those used last.
// THREAD: one.
class StateCache {
 public:
  explicit StateCache(std::size_t limit) : limit_(limit) {}

  bool has(const Scope& scope) const { return entries_.contains(scope); }
  // The item's state as a scope tells it; of an unknown item where it does not list it. Null when the scope
  // is not here. Valid until the cache changes.
  const ItemState* find(const Scope& scope, const std::string& path);
  // The same from its folder or else from itself, whatever is here.
  const ItemState* find(const std::string& path);
  // Puts in what a call has told, and gives the paths of which another thing was known before.
  std::vector<std::string> replace(const Scope& scope, std::vector<PathState> states);

  // An item that is on show; its scope is kept.
  void observe(const Scope& scope);
  void unobserve(const Scope& scope);
  // Also what belongs to a folder that is on show: its own state is wanted for the menu on its background.
  bool observed(const Scope& scope) const;
  // The scopes here that may be stale when children of these folders have changed.
  std::vector<Scope> concerned(const std::vector<std::string>& folders) const;
  void drop(const Scope& scope) { entries_.erase(scope); }

 private:
  struct Entry {
    std::unordered_map<std::string, ItemState> states;  // by name
    std::uint64_t used = 0;
  };
  void shrink(const Scope& newest);

  std::size_t limit_;
  std::map<Scope, Entry> entries_;
  std::map<Scope, std::size_t> observers_;
  std::uint64_t uses_ = 0;
};

}  // namespace zelto::desktop
