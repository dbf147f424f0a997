#pragma once

#include <vector>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// The dictionary of entries read from outside, whose keys need not be unique: the last value of a key
// counts, at the place of its first. Takes time in proportion to the number of entries.
NSDictionary dictionaryOfEntries(std::vector<NSDictionary::Entry> entries);

}  // namespace zelto
