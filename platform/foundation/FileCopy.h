#pragma once

#include <string>

namespace zelto {

// Copies a file, symbolic link or whole folder to a destination that does not exist yet, then removes
// the source. What is half copied when an error ends it is removed again and the source stays whole.
// Gives 0 or the errno value. BLOCKS: on the disk.
int copyThenRemove(const std::string& from, const std::string& to);

}  // namespace zelto
