#pragma once

#include <span>

#include "desktop/core/ItemState.h"

namespace zelto::desktop {

// Those of all actions, in their order, that every one of the items is offered; none for no items.
std::vector<Action> offeredToEach(const std::vector<Action>& all, std::span<const ItemState* const> items);

}  // namespace zelto::desktop
