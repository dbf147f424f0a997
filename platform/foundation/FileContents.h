#pragma once

#include <expected>
#include <string>

namespace zelto {

// The whole content of a regular file. ERRORS: the system's reason, or that it exceeds the limit.
// BLOCKS: on the disk.
std::expected<std::string, std::string> contentsOfFile(const std::string& path, std::size_t maximumBytes);

}  // namespace zelto
