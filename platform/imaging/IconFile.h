#pragma once

#include <string_view>
#include <vector>

#include "platform/imaging/NSImageRep.h"

namespace zelto {

bool isIconFile(std::string_view bytes);
// The pictures of an icon file (ICNS), in the file's order; what cannot be read is left out.
std::vector<NSImageRep> picturesInIconFile(std::string_view bytes);

}  // namespace zelto
