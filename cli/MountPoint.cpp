#include "cli/MountPoint.h"

#include <cstdlib>
#include <filesystem>

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

namespace zelto::cli {

namespace {

constexpr std::chrono::milliseconds kAnswerLimit{3000};

std::string homeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') return home;
  const passwd* entry = ::getpwuid(::getuid());
  return entry == nullptr ? "/" : entry->pw_dir;
}

MountPointFinding lookAt(const std::string& path, bool processGone) {
  MountPointFinding finding;
  finding.mount = mountAt(path);
  if (finding.mount) {
    finding.processGone =
        finding.mount->isOurs() && (processGone || askMount(path, kAnswerLimit) == MountAnswer::disconnected);
    return finding;
  }
  std::error_code error;
  const auto status = std::filesystem::symlink_status(path, error);
  finding.exists = std::filesystem::exists(status);
  finding.isFolder = std::filesystem::is_directory(status);
  finding.isEmpty = finding.isFolder && std::filesystem::is_empty(path, error) && !error;
  return finding;
}

Outcome makeFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (!error) return {};
  return failure(
      ExitCode::failed,
      fmt::format("The folder {} cannot be made: {}. Choose another with --mount.", path, error.message()));
}

}  // namespace

std::string defaultMountPoint() { return homeFolder() + "/Zelto"; }

std::string resolvedPath(const std::string& path) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
  if (absolute.filename().empty() && absolute.has_relative_path()) absolute = absolute.parent_path();
  if (!absolute.has_relative_path()) return absolute;
  const auto parent = std::filesystem::weakly_canonical(absolute.parent_path(), error);
  return error ? absolute.string() : (parent / absolute.filename()).string();
}

std::expected<MountPointUse, Failure> judgeMountPoint(const std::string& path,
                                                      const MountPointFinding& finding) {
  if (finding.mount && finding.processGone) return MountPointUse::clearStaleMount;
  if (finding.mount) {
    return failure(ExitCode::conflict,
                   fmt::format("Something is mounted at {} already ({}, {}). Unmount it, or choose "
                               "another folder with --mount.",
                               path, finding.mount->source, finding.mount->type));
  }
  if (!finding.exists) return MountPointUse::make;
  if (!finding.isFolder) {
    return failure(ExitCode::conflict, path + " is not a folder. Choose a folder with --mount.");
  }
  if (!finding.isEmpty) {
    return failure(ExitCode::conflict,
                   fmt::format("The folder {} is not empty, and what is in it would be hidden. "
                               "Choose an empty or a new folder with --mount.",
                               path));
  }
  return MountPointUse::take;
}

std::expected<bool, Failure> prepareMountPoint(const std::string& path, bool processGone) {
  auto use = judgeMountPoint(path, lookAt(path, processGone));
  // Mounts may lie on each other; each failed attempt of the past may have left one.
  for (int layer = 0; use && *use == MountPointUse::clearStaleMount && layer < 16; ++layer) {
    if (auto cleared = unmount(path); !cleared) return std::unexpected(cleared.error());
    use = judgeMountPoint(path, lookAt(path, false));
  }
  if (!use) return std::unexpected(use.error());
  if (*use != MountPointUse::make) return false;
  if (auto made = makeFolder(path); !made) return std::unexpected(made.error());
  return true;
}

Outcome releaseMountPoint(const std::string& path, bool made) {
  for (auto mount = mountAt(path); mount && mount->isOurs(); mount = mountAt(path)) {
    if (auto gone = unmount(path); !gone) return gone;
  }
  if (made) ::rmdir(path.c_str());
  return {};
}

}  // namespace zelto::cli
