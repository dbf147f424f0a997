#pragma once

#include <string_view>

namespace zelto {

// In a share's folder: what the hosts that serve the share have in common. Never shown or served, and nobody
// can give an item this name.
inline constexpr std::string_view kRecordFolderName = ".zelto-checkouts";
inline bool isReservedName(std::string_view name) { return name == kRecordFolderName; }
inline bool hasReservedName(std::string_view path) {
  while (true) {
    const auto slash = path.find('/');
    if (isReservedName(path.substr(0, slash))) return true;
    if (slash == std::string_view::npos) return false;
    path.remove_prefix(slash + 1);
  }
}

}  // namespace zelto
