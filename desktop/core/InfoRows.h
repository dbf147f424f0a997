#pragma once

#include "desktop/core/ItemState.h"

namespace zelto::desktop {

struct InfoRow {
  std::string name;
  std::string value;

  friend bool operator==(const InfoRow&, const InfoRow&) = default;
};

// What is shown of an item beside its usual properties; none for one that is not known. A folder has no
// content of its own to be here or not.
std::vector<InfoRow> rowsOf(const ItemState& state, const std::vector<Badge>& badges, bool isFolder);

}  // namespace zelto::desktop
