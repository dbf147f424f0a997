#pragma once

#include <string>
#include <string_view>

namespace zelto {

// The URI of a file as the desktop's library writes it, byte by byte: thumbnails are found by its digest. The
// path need not be UTF-8. REQUIRES: absolute. THREAD: any.
std::string fileUri(std::string_view path);

}  // namespace zelto
