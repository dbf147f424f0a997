#pragma once

#include <compare>
#include <string>

namespace zelto::desktop {

// What one call to the manager tells of: all children of a folder, or one item itself.
struct Scope {
  std::string path;
  bool children = true;

  friend auto operator<=>(const Scope&, const Scope&) = default;
};

inline std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
inline std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }
// True for the folder itself, too.
inline bool isWithin(const std::string& path, const std::string& folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace zelto::desktop
