#pragma once

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

namespace zelto {

// The name under which the local one of two versions is kept: "report (conflict 2026-11-23 14.05.33).txt".
// The `count`th such name of one moment, from 2 on, has the count behind the time. A name that has such an
// addition already gets the new one in its place. Never longer than a name may be; what is too long is cut
// between two characters.
std::string conflictName(std::string_view name, bool folder, const std::tm& time, unsigned count = 1);

}  // namespace zelto
