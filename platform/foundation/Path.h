#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelto {

// Path strings with the platform's rules: a leading "/" is a component of its own, repeated slashes count
// as one, a trailing slash does not count.
std::vector<std::string> pathComponents(std::string_view path);
// "/A/B" gives "/A", "/A" gives "/", "A" gives "", "/" gives "/".
std::string stringByDeletingLastPathComponent(std::string_view path);
// One separator between the parts.
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
std::string lastPathComponent(std::string_view path);
// Without the dot; "" where the last component has none or only a leading dot.
std::string pathExtension(std::string_view path);

}  // namespace zelto
