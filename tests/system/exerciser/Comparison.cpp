#include "tests/system/exerciser/Comparison.h"

#include <cerrno>
#include <map>
#include <set>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "framework/replica/LocalNames.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// Dates that the exerciser sets lie before this one.
constexpr time_t kSetBefore = 1'200'000'000;

struct Entries {
  std::set<std::string> names;
  int error = 0;
};

Entries entriesOf(const fs::path& folder) {
  Entries entries;
  std::error_code error;
  for (auto entry = fs::directory_iterator(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    entries.names.insert(entry->path().filename().string());
  }
  entries.error = error.value();
  return entries;
}

std::map<std::string, std::string> attributesOf(const fs::path& path) {
  std::map<std::string, std::string> attributes;
  std::string list(4096, '\0');
  const ssize_t size = ::listxattr(path.c_str(), list.data(), list.size());
  for (ssize_t at = 0; at < size;
       at = static_cast<ssize_t>(list.find('\0', static_cast<std::size_t>(at))) + 1) {
    const std::string name = list.c_str() + at;
    if (!name.starts_with("user.test.")) continue;
    std::string value(4096, '\0');
    value.resize(static_cast<std::size_t>(
        std::max<ssize_t>(0, ::getxattr(path.c_str(), name.c_str(), value.data(), value.size()))));
    attributes[name] = value;
  }
  return attributes;
}

std::string firstInOneOnly(const std::set<std::string>& expected, const std::set<std::string>& actual) {
  for (const std::string& name : expected) {
    if (!actual.contains(name)) return name + " is missing";
  }
  for (const std::string& name : actual) {
    if (!expected.contains(name)) return name + " should not be there";
  }
  return "";
}

std::string dateDifference(const struct stat& expected, const struct stat& actual) {
  const timespec a = expected.st_mtim, b = actual.st_mtim;
  // That something was made or removed in a folder is forgotten by a restart, and the server has its own
  // date.
  if (S_ISDIR(expected.st_mode)) return "";
  if (a.tv_sec >= kSetBefore) return b.tv_sec >= kSetBefore ? "" : "has a date that was set before";
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec
             ? ""
             : fmt::format("has date {}.{:09}, not {}.{:09}", b.tv_sec, b.tv_nsec, a.tv_sec, a.tv_nsec);
}

// Whether a result is an error that says that there is no host.
bool unreachable(const std::string& result) {
  return result.starts_with("errno ") && isForWantOfAHost(std::atoi(result.c_str() + 6));
}

class MountComparison {
 public:
  explicit MountComparison(bool mayBeUnreachable) : mayBeUnreachable_(mayBeUnreachable) {}

  std::string difference(const fs::path& disk, const fs::path& mount) const {
    struct stat expected {
    }, actual{};
    ::lstat(disk.c_str(), &expected);
    if (::lstat(mount.c_str(), &actual) != 0)
      return passOver(errno) ? "" : mount.string() + ": cannot be looked up";
    std::string found = attributeDifference(disk, expected, mount, actual);
    if (found.empty()) found = contentDifference(disk, mount, expected.st_mode);
    return found.empty() || found.starts_with("/") ? found : mount.string() + ": " + found;
  }

 private:
  bool passOver(int code) const { return mayBeUnreachable_ && isForWantOfAHost(code); }

  static std::string attributeDifference(const fs::path& disk, const struct stat& expected,
                                         const fs::path& mount, const struct stat& actual) {
    if (S_ISLNK(expected.st_mode) && S_ISLNK(actual.st_mode)) return "";
    if (expected.st_mode != actual.st_mode) {
      return fmt::format("has mode {:o}, not {:o}", actual.st_mode, expected.st_mode);
    }
    if (S_ISREG(expected.st_mode) && expected.st_size != actual.st_size) {
      return fmt::format("has size {}, not {}", actual.st_size, expected.st_size);
    }
    if (attributesOf(disk) != attributesOf(mount)) return "has other extended attributes";
    return dateDifference(expected, actual);
  }

  std::string contentDifference(const fs::path& disk, const fs::path& mount, mode_t mode) const {
    if (S_ISLNK(mode)) return fs::read_symlink(disk) == fs::read_symlink(mount) ? "" : "has another target";
    if (S_ISDIR(mode)) return folderDifference(disk, mount);
    const std::string actual = readFile(mount);
    if (actual == readFile(disk) || (mayBeUnreachable_ && unreachable(actual))) return "";
    return "has other content: " + (actual.starts_with("errno") ? actual : std::to_string(actual.size()));
  }

  std::string folderDifference(const fs::path& disk, const fs::path& mount) const {
    const Entries expected = entriesOf(disk), actual = entriesOf(mount);
    if (passOver(actual.error)) return "";
    if (actual.error != 0) return "cannot be listed: errno " + std::to_string(actual.error);
    if (auto found = firstInOneOnly(expected.names, actual.names); !found.empty()) return found;
    for (const std::string& name : expected.names) {
      if (auto found = difference(disk / name, mount / name); !found.empty()) return found;
    }
    return "";
  }

  const bool mayBeUnreachable_;
};

std::string serverContentDifference(const fs::path& disk, const fs::path& server) {
  if (!fs::is_regular_file(server)) return server.string() + ": no file";
  const std::string content = readFile(server);
  if (fs::is_symlink(disk)) return content.empty() ? "" : server.string() + ": not empty";
  return content == readFile(disk) ? "" : server.string() + ": other content";
}

}  // namespace

bool isForWantOfAHost(int code) { return code == EHOSTDOWN || code == ETIMEDOUT; }

std::string mountDifference(const fs::path& disk, const fs::path& mount, bool mayBeUnreachable) {
  return MountComparison(mayBeUnreachable).difference(disk, mount);
}

std::string serverDifference(const fs::path& disk, const fs::path& server) {
  if (!fs::is_directory(fs::symlink_status(disk))) return serverContentDifference(disk, server);
  if (!fs::is_directory(server)) return server.string() + ": no folder";
  std::set<std::string> expected = entriesOf(disk).names;
  const std::set<std::string> actual = entriesOf(server).names;
  // A file that has been on the server is there under such a name, too.
  std::erase_if(expected, [&](const std::string& name) {
    return staysLocal(name) && !fs::is_directory(fs::symlink_status(disk / name)) && !actual.contains(name);
  });
  if (auto found = firstInOneOnly(expected, actual); !found.empty()) return server.string() + ": " + found;
  for (const std::string& name : expected) {
    if (auto found = serverDifference(disk / name, server / name); !found.empty()) return found;
  }
  return "";
}

}  // namespace zelto::test
