#pragma once

#include <optional>
#include <string_view>

namespace zelto {

// The text under a key in a PNG file, of which the beginning is enough: uncompressed texts before the pixels
// are looked at. Nothing where there is none, or the bytes are no PNG file. OWNER: a view into `png`.
// THREAD: any.
std::optional<std::string_view> pngText(std::string_view png, std::string_view key);

}  // namespace zelto
