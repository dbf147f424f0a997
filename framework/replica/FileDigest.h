#pragma once

#include <cstdint>
#include <expected>
#include <string>

namespace zelto {

// Tells the bytes of one file from others, not against those who mean it; never 0. Its values are kept in
// logs. BLOCKS: on the disk. ERRORS: errno values.
std::expected<std::uint32_t, int> digestOfFile(const std::string& path);

}  // namespace zelto
