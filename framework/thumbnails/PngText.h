#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// The text under a key in a PNG file, of which the beginning is enough: uncompressed texts before the pixels
// are looked at. Nothing where there is none, or the bytes are no PNG file. OWNER: a view into `png`.
// THREAD: any.
std::optional<std::string_view> pngText(std::string_view png, std::string_view key);

// A PNG file with an international text under a key, before everything else but the header. What is no PNG
// file stays as it is. REQUIRES: key and text are ASCII without zeros. THREAD: any.
std::string withPngText(std::string_view png, std::string_view key, std::string_view text);

}  // namespace zelto
