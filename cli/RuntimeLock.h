#pragma once

#include <expected>

#include "cli/Outcome.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto::cli {

// Keeps two `up` or `down` of one user from working at once, for as long as it lives.
class RuntimeLock {
 public:
  // BLOCKS: while another one works, up to half a minute. ERRORS: the directory is not usable; time out.
  static std::expected<RuntimeLock, Failure> take();

 private:
  explicit RuntimeLock(UniqueDescriptor directory) : directory_(std::move(directory)) {}

  UniqueDescriptor directory_;
};

}  // namespace zelto::cli
