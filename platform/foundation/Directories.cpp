#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <fmt/format.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/Path.h"

namespace zelto {
namespace {

constexpr mode_t kPrivate = 0700;

// The path in an environment variable; "" unless it is absolute, as a relative one would depend on where
// the process was started.
std::string pathFromEnvironment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value == '/' ? value : std::string();
}

std::string homeDirectory() {
  std::string home = pathFromEnvironment("HOME");
  if (!home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::string buffer(16384, '\0');
  ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "/";
}

bool isPrivateFolder(const std::string& path) {
  struct ::stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & 077) == 0;
}

std::string privateFolder(std::string path) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  ::mkdir(path.c_str(), kPrivate);
  return path;
}

}  // namespace

std::string dataHome() {
  if (auto path = pathFromEnvironment("ZELTO_DATA_HOME"); !path.empty()) return path;
  if (const auto path = pathFromEnvironment("XDG_DATA_HOME"); !path.empty()) {
    return stringByAppendingPathComponent(path, "zelto");
  }
  return stringByAppendingPathComponent(homeDirectory(), ".local/share/zelto");
}

std::string cachesDirectory() {
  auto path = pathFromEnvironment("XDG_CACHE_HOME");
  return path.empty() ? stringByAppendingPathComponent(homeDirectory(), ".cache") : path;
}

std::string temporaryDirectory() {
  auto path = pathFromEnvironment("TMPDIR");
  return path.empty() ? "/tmp" : path;
}

std::string runtimeDirectory() {
  if (auto path = pathFromEnvironment("ZELTO_RUNTIME_DIR"); !path.empty())
    return privateFolder(std::move(path));
  if (const auto path = pathFromEnvironment("XDG_RUNTIME_DIR"); !path.empty()) {
    return privateFolder(stringByAppendingPathComponent(path, "zelto"));
  }
  auto path = privateFolder(fmt::format("/tmp/zelto-{}", ::geteuid()));
  return isPrivateFolder(path) ? path : privateFolder(stringByAppendingPathComponent(dataHome(), "run"));
}

}  // namespace zelto
