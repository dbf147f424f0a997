#pragma once

#include <optional>
#include <string_view>

#include "platform/imaging/NSImageRep.h"

namespace zelto {

bool isPng(std::string_view bytes);
// ERRORS: nothing for what is no PNG file, or one of more than 64 megapixels.
std::optional<NSImageRep> pictureInPng(std::string_view bytes);

}  // namespace zelto
