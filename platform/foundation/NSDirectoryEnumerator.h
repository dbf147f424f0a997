#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelto {

inline constexpr std::string_view NSFileTypeDirectory = "NSFileTypeDirectory";
inline constexpr std::string_view NSFileTypeRegular = "NSFileTypeRegular";
inline constexpr std::string_view NSFileTypeSymbolicLink = "NSFileTypeSymbolicLink";
inline constexpr std::string_view NSFileTypeSocket = "NSFileTypeSocket";
inline constexpr std::string_view NSFileTypeCharacterSpecial = "NSFileTypeCharacterSpecial";
inline constexpr std::string_view NSFileTypeBlockSpecial = "NSFileTypeBlockSpecial";
inline constexpr std::string_view NSFileTypeUnknown = "NSFileTypeUnknown";  // also a named pipe

struct NSFileAttributes {
  std::string_view fileType = NSFileTypeUnknown;
  std::uint64_t fileSize = 0;  // bytes
};

// Walks everything below a folder: each folder before what it holds, siblings in the order that the file
// system gives. Symbolic links are entries, they are not followed. What cannot be read, or is gone when its
// turn comes, is left out; a folder that cannot be listed has no entries. Entries may be moved away during
// the walk once they have been given. No descriptor stays open between two calls.
// THREAD: one at a time. BLOCKS: on the disk.
class NSDirectoryEnumerator {
 public:
  explicit NSDirectoryEnumerator(std::string path) : root_(std::move(path)) { enter(""); }

  // The next entry's path relative to the folder; nothing at the end.
  std::optional<std::string> nextObject();
  // Of the entry given last.
  const NSFileAttributes& fileAttributes() const { return attributes_; }

 private:
  struct Level {
    std::string folder;  // relative, with a slash at its end unless empty
    std::vector<std::string> names;
    std::size_t next = 0;
  };

  void enter(const std::string& folder);
  bool readAttributes(const std::string& entry);

  std::string root_;
  std::vector<Level> levels_;
  std::string last_;
  NSFileAttributes attributes_;
};

}  // namespace zelto
