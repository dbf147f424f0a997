#pragma once

#include "framework/replica/Replica.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// What the manager tells of an item, from the replica alone.
NSDictionary descriptionOfItem(Replica& replica, const NodeInfo& node);

}  // namespace zelto
