#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "framework/notices/Notice.h"
#include "framework/replica/Replica.h"

namespace zelto {

// The places that may look different by now to who watches their folder. What happens at one place before it
// is told comes together, and what is told is what the replica says when its turn comes. Bounded: beyond
// that, changes are not told. THREAD: one at a time; the owner sees to it.
class PendingNotices {
 public:
  static constexpr std::size_t kMost = 10'000;  // about 2 MB, told in about a second

  struct Pending {
    Place place;
    // What stood there before, as far as anybody was told: 0 for nothing.
    Inode before = 0;
    NodeKind kindBefore = NodeKind::file;
    // What was heard to stand there last; the replica may be further by now.
    Inode heard = 0;
    bool content = false;
    bool attributes = false;
    std::optional<Place> from;  // a move; `before` is what was moved then
  };

  struct Told {
    std::vector<Notice> notices;
    // Here something came that is not told, since it has gone already; that it has will be heard.
    std::vector<Place> untold;
  };

  bool empty() const { return places_.empty(); }
  bool full() const { return places_.size() >= kMost; }

  void appeared(const ReplicaDelta::Name& what);
  void gone(const ReplicaDelta::Name& what);
  // REQUIRES: at both places it is touched at most; nothing stood at the second.
  void moved(const ReplicaDelta::Name& from, const ReplicaDelta::Name& to);
  void changed(const NodeInfo& node, std::string name, bool content);
  // Whether nothing is pending at the place but that its content or attributes are others.
  bool isAtMostTouched(const ReplicaDelta::Name& what) const;

  // The next places, at most so many, all of one folder or a single move.
  std::vector<Pending> take(std::size_t most);
  // What is to be told of them; nothing where all is as it was. THREAD: any.
  static Told noticesFor(const std::vector<Pending>& places, Replica& replica);
  // Of what has come to these places nobody was told, and nobody is told that it goes.
  void leaveUntold(const std::vector<Place>& places);

 private:
  struct PlaceHash {
    std::size_t operator()(const Place& place) const {
      return std::hash<std::string>()(place.name) ^ (place.folder * 0x9e3779b97f4a7c15U);
    }
  };
  using List = std::list<Pending>;

  Pending* at(const Place& place, Inode before, NodeKind kind);
  bool isSourceOfMove(const Place& place) const;
  void splitMove(List::iterator move);
  void remove(List::iterator pending);
  static void tell(const Pending& pending, Replica& replica, Told& told);
  static void tellTouches(const Pending& pending, const NodeInfo& node, std::vector<Notice>& notices);
  static void tellMove(const Pending& pending, Replica& replica, std::vector<Notice>& notices);

  List places_;
  // A move is under both of its places, but not under its first one when something else has come there since.
  std::unordered_map<Place, List::iterator, PlaceHash> index_;
  std::unordered_set<Place, PlaceHash> untold_;  // none of them is pending
};

}  // namespace zelto
