#pragma once

#include <string>
#include <unordered_map>

#include "framework/actions/ActionCatalogue.h"
#include "framework/propagation/Propagator.h"
#include "framework/replica/Replica.h"

namespace zelto {

// Describes items as file browsers want to know of them: badges, actions, and what is with their content and
// their local changes. For one call: what items share is looked up once.
class ItemStates {
 public:
  ItemStates(Replica& replica, const Propagator& propagator, const ActionCatalogue& catalogue)
      : replica_(replica), propagator_(propagator), catalogue_(catalogue) {}

  // `path` as the item is known to the caller.
  NSDictionary describe(const NodeInfo& node, const std::string& path);
  // Of a path at which nothing is known.
  static NSDictionary unknown(const std::string& path);

 private:
  struct Shared {
    NSArray decorations;
    NSArray actions;
  };
  const Shared& sharedOf(const NodeInfo& node);
  const char* materialised(const NodeInfo& node) const;

  Replica& replica_;
  const Propagator& propagator_;
  const ActionCatalogue& catalogue_;
  std::unordered_map<std::uint32_t, Shared> shared_;  // by the number of the traits
};

}  // namespace zelto
