#include "desktop/core/OfferedActions.h"

#include <algorithm>

namespace zelto::desktop {

std::vector<Action> offeredToEach(const std::vector<Action>& all, std::span<const ItemState* const> items) {
  std::vector<Action> offered;
  if (items.empty()) return offered;
  std::ranges::copy_if(all, std::back_inserter(offered), [&](const Action& action) {
    return std::ranges::all_of(items, [&](const ItemState* item) {
      return item->known && std::ranges::find(item->actions, action.identifier) != item->actions.end();
    });
  });
  return offered;
}

}  // namespace zelto::desktop
