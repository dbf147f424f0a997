#pragma once

#include <expected>
#include <string>

#include "cli/Mounts.h"
#include "cli/Outcome.h"

namespace zelto::cli {

// Where the file system is shown when the user names no place: "Zelto" in the home folder.
std::string defaultMountPoint();
// The path as the kernel will name it: absolute, symbolic links in the parents resolved. Nothing of the
// path itself needs to exist, and a dead mount at it is not touched.
std::string resolvedPath(const std::string& path);

// What may be done with a folder as mount point. A pure decision, from what was found there.
enum class MountPointUse { take, make, clearStaleMount };
struct MountPointFinding {
  std::optional<Mount> mount = {};
  bool processGone = false;  // the mount is ours, of a process that has ended
  bool exists = false;
  bool isFolder = false;
  bool isEmpty = false;
};
std::expected<MountPointUse, Failure> judgeMountPoint(const std::string& path,
                                                      const MountPointFinding& finding);

// Looks at the folder, clears what a killed process has left, and makes the folder when it is missing.
// True when it was made. ERRORS: it is in use, or not empty.
std::expected<bool, Failure> prepareMountPoint(const std::string& path, bool processGone);
// Unmounts what is ours there, and removes the folder if `made` and it is empty.
Outcome releaseMountPoint(const std::string& path, bool made);

}  // namespace zelto::cli
