#pragma once

#include <string_view>

#include <uriparser/Uri.h>

namespace zelto {

// A text as the parser cuts it. The ranges point into the text, which has to outlive them.
struct ParsedUri {
  UriUriA uri{};

  ParsedUri() = default;
  ParsedUri(const ParsedUri&) = delete;
  ParsedUri& operator=(const ParsedUri&) = delete;
  ~ParsedUri() { uriFreeUriMembersA(&uri); }

  bool parse(std::string_view text) {
    return uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), nullptr) == URI_SUCCESS;
  }
};

inline std::string_view textOf(const UriTextRangeA& range) {
  return range.first == nullptr
             ? std::string_view()
             : std::string_view(range.first, static_cast<std::size_t>(range.afterLast - range.first));
}

}  // namespace zelto
