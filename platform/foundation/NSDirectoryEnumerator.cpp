#include "platform/foundation/NSDirectoryEnumerator.h"

#include <filesystem>
#include <system_error>

#include <sys/stat.h>

#include "platform/foundation/Path.h"

namespace zelto {
namespace {

std::string_view fileTypeOf(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return NSFileTypeDirectory;
    case S_IFREG:
      return NSFileTypeRegular;
    case S_IFLNK:
      return NSFileTypeSymbolicLink;
    case S_IFSOCK:
      return NSFileTypeSocket;
    case S_IFCHR:
      return NSFileTypeCharacterSpecial;
    case S_IFBLK:
      return NSFileTypeBlockSpecial;
    default:
      return NSFileTypeUnknown;
  }
}

std::vector<std::string> namesIn(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(path, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    names.push_back(entry->path().filename().native());
  }
  return names;
}

}  // namespace

std::optional<std::string> NSDirectoryEnumerator::nextObject() {
  if (!last_.empty() && attributes_.fileType == NSFileTypeDirectory) enter(last_ + '/');
  while (!levels_.empty()) {
    auto& level = levels_.back();
    if (level.next == level.names.size()) {
      levels_.pop_back();
      continue;
    }
    last_ = level.folder + level.names[level.next++];
    if (readAttributes(last_)) return last_;
  }
  last_.clear();
  return std::nullopt;
}

void NSDirectoryEnumerator::enter(const std::string& folder) {
  levels_.push_back({folder, namesIn(stringByAppendingPathComponent(root_, folder))});
}

bool NSDirectoryEnumerator::readAttributes(const std::string& entry) {
  struct ::stat status {};
  if (::lstat(stringByAppendingPathComponent(root_, entry).c_str(), &status) != 0) return false;
  attributes_ = {fileTypeOf(status.st_mode), static_cast<std::uint64_t>(status.st_size)};
  return true;
}

}  // namespace zelto
