#pragma once

#include <expected>
#include <string>

#include "platform/foundation/NSError.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// The dictionary at the root of a property list file, XML or binary.
// ERRORS: a missing or unreadable file, one over 4 MiB, one that does not parse or has another root.
std::expected<NSDictionary, NSError> dictionaryWithContentsOfFile(const std::string& path);

}  // namespace zelto
