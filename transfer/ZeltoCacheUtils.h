#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// What the cache reads of the host application's records of a share and of a file on it.
struct ZeltoRemoteShare {
  std::string name;
};
struct ZeltoRemoteFile {
  // Within the share, with or without a leading slash.
  std::string path;
  std::int64_t size = 0;
  std::optional<NSDate> modified;
};

// Names and validates the files of a local cache of downloaded files: one flat folder, a file for each remote
// one. Whoever fills it puts a download at its path and sets the remote modification time on it. No state,
// logs nothing. THREAD: any. BLOCKS: the two checks, on the disk.
class ZeltoCacheUtils {
 public:
  // The folder, "Zelto/cache.noindex" in the user's caches directory. It is not made here.
  static const std::string& cachePath();
  // Where the copy of the file belongs: in the folder, named by the MD5 of the share's name and the path,
  // joined.
  static std::string cachePathForFile(const ZeltoRemoteFile& file, const ZeltoRemoteShare& share);

  // Whether a current copy stands at the path: of the remote size, and in whole seconds not older. One that
  // is not current is removed on the spot, whatever it is (a folder with all it holds).
  static bool checkForNonStaleCachedFileAtPath(const std::string& path, const ZeltoRemoteFile& file);
  // The path of the current copy; nothing where there is none.
  static std::optional<std::string> pathForNonStaleCachedFile(const ZeltoRemoteFile& file,
                                                              const ZeltoRemoteShare& share);
};

}  // namespace zelto
