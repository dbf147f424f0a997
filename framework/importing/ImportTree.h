#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/NSError.h"

namespace zelto {

// What lies below a folder that is to be brought to the server.
struct ImportEntry {
  enum class Kind : std::uint8_t {
    folder,
    file,
    other,  // a symbolic link or a special file; the server gets an empty file
  };

  std::string path;  // relative to the folder
  Kind kind = Kind::file;
  std::uint64_t size = 0;  // bytes, of a file
};

struct ImportTree {
  std::vector<ImportEntry> entries;  // a folder before what it holds

  std::uint64_t bytes() const;
  std::size_t others() const;
};

// `identifier`: what the folder will be on the server.
// ERRORS: what cannot be read, or has a name that the server cannot take; the message names it.
std::expected<ImportTree, NSError> readTree(const std::string& folder, const std::string& identifier);

// A copy that its reader may take apart, without owners, modes and dates; links are copied as links, special
// files as pipes. Where files have another size by now, the tree says so afterwards.
// REQUIRES: `target` does not exist. BLOCKS: on the disk. ERRORS: the message names the entry.
std::optional<NSError> copyTree(ImportTree& tree, const std::string& source, const std::string& target);

// A copy of one file; shared with the original where the disk can. Gives its size. ERRORS: errno values.
std::expected<std::uint64_t, int> copyFile(const std::string& from, const std::string& to);

// An error about one entry.
NSError importError(int code, const std::string& entry);
NSError importError(const NSError& error, const std::string& entry);

}  // namespace zelto
