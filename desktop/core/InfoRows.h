#pragma once

#include "desktop/core/ItemState.h"

namespace zelto::desktop {

struct InfoRow {
  std::string name;
  std::string value;

  friend bool operator==(const InfoRow&, const InfoRow&) = default;
};

// What is shown of an item beside its usual properties; none for one that is not known.
std::vector<InfoRow> rowsOf(const ItemState& state, const std::vector<Badge>& badges);

}  // namespace zelto::desktop
