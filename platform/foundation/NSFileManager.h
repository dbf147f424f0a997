#pragma once

#include <optional>
#include <string>

#include "platform/foundation/NSDirectoryEnumerator.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"

namespace zelto {

// File operations with the platform's meaning. All are THREAD: any, BLOCKS: on the disk. Errors are in
// the Cocoa domain with the platform's codes (4 no such file, 513 no permission, 516 exists, 640 no
// space, 512 other) and a description that names the path and the system's reason.
class NSFileManager {
 public:
  static NSFileManager& defaultManager();

  // None of these replaces an existing destination.
  std::optional<NSError> linkItem(const NSURL& from, const NSURL& to);
  // Renames; between volumes copies (contents, permissions, links as links, times), then removes.
  std::optional<NSError> moveItem(const NSURL& from, const NSURL& to);
  std::optional<NSError> createDirectory(const NSURL& url, bool withIntermediateDirectories);
  // Removes a folder with its content.
  std::optional<NSError> removeItem(const NSURL& url);
  // Follows symbolic links.
  bool fileExists(const NSURL& url);
  // Also tells whether it is a folder; false for what does not exist.
  bool fileExists(const NSURL& url, bool& isDirectory);
  // An empty file, also in the place of one that is there. False where that fails.
  bool createFileAtPath(const std::string& path);
  // Everything below the folder; nothing where there is no such folder.
  NSDirectoryEnumerator enumeratorAtPath(std::string path) { return NSDirectoryEnumerator(std::move(path)); }

  // The directory that processes of one application group share; made (mode 0700) when missing. It lies
  // in the data home, so that it is on one volume with the replica. Nothing when it cannot be made.
  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(const std::string& identifier);
};

// Where this user's data lies: ZELTO_DATA_HOME, else XDG_DATA_HOME/zelto, else ~/.local/share/zelto.
std::string dataHome();
// Where what can be fetched again may lie: XDG_CACHE_HOME, else ~/.cache.
std::string cachesDirectory();
// Where a process's short-lived files lie: TMPDIR where it is absolute, else /tmp.
std::string temporaryDirectory();
// Where sockets and process records lie while the system runs: ZELTO_RUNTIME_DIR, else
// XDG_RUNTIME_DIR/zelto, else a folder of this user's own under /tmp. Made (mode 0700) when missing; a
// folder under /tmp that others could write is not used, the data home's "run" then takes its place.
std::string runtimeDirectory();

}  // namespace zelto
