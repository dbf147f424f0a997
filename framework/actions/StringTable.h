#pragma once

#include <optional>
#include <string>

#include "platform/foundation/NSBundle.h"

namespace zelto {

// The bundle's texts for the user by token, in the user's language as it was when the table was made.
// THREAD: any; immutable.
class StringTable {
 public:
  // BLOCKS: on the disk. A table that is missing or cannot be read counts as empty.
  explicit StringTable(const NSBundle& bundle);

  // The fallback language's text where the user's has none; nothing where that has none either.
  std::optional<std::string> text(const std::string& token) const;

 private:
  NSDictionary localised_;
  NSDictionary fallback_;
};

}  // namespace zelto
