#pragma once

#include <expected>
#include <string>

namespace zelto {

// Whether two files hold the same bytes. BLOCKS: on the disk. ERRORS: errno values.
std::expected<bool, int> haveSameContent(const std::string& one, const std::string& other);

}  // namespace zelto
