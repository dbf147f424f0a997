#include "framework/importing/ImportTree.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/replica/FileCopy.h"
#include "framework/requests/Errno.h"
#include "framework/volume/Permissions.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {
namespace {

namespace fs = std::filesystem;
using Kind = ImportEntry::Kind;

std::expected<ImportEntry, int> describe(const std::string& path, std::string relative) {
  struct stat attributes {};
  if (::lstat(path.c_str(), &attributes) != 0) return std::unexpected(errno);
  if (S_ISDIR(attributes.st_mode)) return ImportEntry{std::move(relative), Kind::folder};
  if (!S_ISREG(attributes.st_mode)) return ImportEntry{std::move(relative), Kind::other};
  if (::access(path.c_str(), R_OK) != 0) return std::unexpected(errno);
  return ImportEntry{std::move(relative), Kind::file, static_cast<std::uint64_t>(attributes.st_size)};
}

int errnoForPlace(const std::string& identifier, const std::string& relative) {
  const auto parent = stringByDeletingLastPathComponent(relative);
  return errnoForName(parent.empty() ? identifier : identifier + "/" + parent, lastPathComponent(relative));
}

int copyLink(const std::string& from, const std::string& to) {
  std::error_code error;
  if (fs::is_symlink(fs::symlink_status(from, error))) {
    fs::copy_symlink(from, to, error);
    return error.value();
  }
  return ::mkfifo(to.c_str(), 0600) == 0 ? 0 : errno;
}

int copyEntry(ImportEntry& entry, const std::string& from, const std::string& to) {
  switch (entry.kind) {
    case Kind::folder:
      return ::mkdir(to.c_str(), 0700) == 0 ? 0 : errno;
    case Kind::other:
      return copyLink(from, to);
    case Kind::file:
      break;
  }
  const auto size = copyFile(from, to);
  if (!size) return size.error();
  entry.size = *size;
  return 0;
}

}  // namespace

std::uint64_t ImportTree::bytes() const {
  std::uint64_t sum = 0;
  for (const ImportEntry& entry : entries) sum += entry.size;
  return sum;
}

std::size_t ImportTree::others() const {
  return static_cast<std::size_t>(std::ranges::count(entries, Kind::other, &ImportEntry::kind));
}

NSError importError(int code, const std::string& entry) {
  return errorWithPOSIXCode(code, entry + ": " + std::strerror(code));
}

NSError importError(const NSError& error, const std::string& entry) {
  return errorWithPOSIXCode(errnoForError(error), entry + ": " + error.localizedDescription());
}

std::expected<ImportTree, NSError> readTree(const std::string& folder, const std::string& identifier) {
  ImportTree tree;
  std::error_code error;
  fs::recursive_directory_iterator next(folder, error);
  if (error) return std::unexpected(importError(error.value(), folder));
  std::string last = folder;
  for (; next != fs::recursive_directory_iterator(); next.increment(error)) {
    last = next->path().string();
    auto entry = describe(last, last.substr(folder.size() + 1));
    if (!entry) return std::unexpected(importError(entry.error(), last));
    if (const int code = errnoForPlace(identifier, entry->path); code != 0)
      return std::unexpected(importError(code, last));
    tree.entries.push_back(*std::move(entry));
  }
  // A folder that cannot be entered ends the walk.
  if (error) return std::unexpected(importError(error.value(), last));
  return tree;
}

std::expected<std::uint64_t, int> copyFile(const std::string& from, const std::string& to) {
  const UniqueDescriptor source(::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat attributes {};
  if (!source || ::fstat(source.get(), &attributes) != 0) return std::unexpected(errno);
  const UniqueDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!target) return std::unexpected(errno);
  const auto size = static_cast<std::uint64_t>(attributes.st_size);
  if (const int error = copyRange(source.get(), target.get(), {0, size}); error != 0) {
    ::unlink(to.c_str());
    return std::unexpected(error);
  }
  return size;
}

std::optional<NSError> copyTree(ImportTree& tree, const std::string& source, const std::string& target) {
  if (::mkdir(target.c_str(), 0700) != 0) return importError(errno, target);
  for (ImportEntry& entry : tree.entries) {
    const std::string from = source + "/" + entry.path;
    if (const int error = copyEntry(entry, from, target + "/" + entry.path); error != 0)
      return importError(error, from);
  }
  return std::nullopt;
}

}  // namespace zelto
