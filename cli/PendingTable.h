#pragma once

#include <string>

#include "platform/foundation/PropertyList.h"

namespace zelto::cli {

// The local changes that the manager tells of, as a table with a line of headings; "" for none.
std::string pendingTable(const NSArray& changes);
// What has failed, a line each: path and reason.
std::string failureList(const NSArray& changes);

}  // namespace zelto::cli
