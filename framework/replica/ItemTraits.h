#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// What an item carries for people: by which its actions are offered, and its badges.
struct ItemTraits {
  NSDictionary userInfo;                 // numbers, truth values and texts
  std::vector<std::string> decorations;  // identifiers, in the order in which they are drawn

  bool empty() const { return userInfo.empty() && decorations.empty(); }
  // The same bytes for the same traits; "" for none and for more than is kept.
  std::string encoded() const;
  // Nothing of bytes that are not such.
  static std::shared_ptr<const ItemTraits> decoded(std::string_view bytes);
};

// The traits that there are in a replica, by number. Most items of a server share a few.
// THREAD: any.
class ItemTraitsPool {
 public:
  using Number = std::uint32_t;  // 0: none
  using Stored = std::vector<std::pair<Number, std::string>>;

  // With what an earlier process has kept.
  explicit ItemTraitsPool(const Stored& stored = {});

  // The number of these, a new one for what has not been seen before; 0 once there are too many.
  Number numberFor(const ItemTraits& traits);
  // Null for a number that is not known.
  std::shared_ptr<const ItemTraits> find(Number number) const;

  // ---- to be kept over restarts: all numbers from 1 to the last
  Number last() const;
  std::string bytes(Number number) const;

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  struct Known {
    std::string bytes;
    std::shared_ptr<const ItemTraits> traits;
  };

  mutable std::mutex mutex_;
  std::unordered_map<std::string, Number, Hash, std::equal_to<>> numbers_;
  std::vector<Known> known_{1};  // by number
};

}  // namespace zelto
