#pragma once

#include <expected>

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// Keyed archives in the platform's own layout: a binary property list with $version 100000, $archiver
// "NSKeyedArchiver", $top {root} and $objects with class records, as the platform's archiver reads it.
class NSKeyedArchiver {
 public:
  // The archive of a dictionary with string keys. A one-entry dictionary that holds a date is served
  // from a template (only the date's eight bytes differ), since every listed item needs one.
  // ERRORS: a value nested deeper than 32 levels.
  static std::expected<NSData, NSError> archivedData(const NSDictionary& root);
};

class NSKeyedUnarchiver {
 public:
  // The dictionary in an archive; only dictionaries, arrays, strings, numbers, dates and data are allowed
  // inside. ERRORS: anything else, cycles, out-of-range references, more than 16 MiB.
  static std::expected<NSDictionary, NSError> unarchivedDictionary(const NSData& data);
};

}  // namespace zelto
