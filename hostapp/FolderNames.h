#pragma once

#include <expected>
#include <string>
#include <vector>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// Everything in a folder of this machine, without "." and "..", as it is.
struct FolderNames {
  std::vector<std::string> folders;
  std::vector<std::string> others;
};

// ERRORS: errno values. BLOCKS: on the disk.
std::expected<FolderNames, int> namesIn(UniqueDescriptor folder);

}  // namespace zelto
