#pragma once

#include <string_view>

#include <sys/types.h>

namespace zelto {

// Programs that read contents of their own accord and not for their user. For them nothing is fetched:
// looking at a folder would download all of it.
enum class BackgroundReader {
  none,
  ofPictures,    // makes thumbnails, or looks at the first bytes to tell a file's type
  ofEverything,  // fills an index
};

// Who opens a file. File browsers look at first bytes with O_NOATIME. `flags` are the open's; `thread` is the
// caller's, 0 for one that cannot be seen from here. THREAD: any. BLOCKS: while one small file of /proc is
// read, and only where the flags do not tell.
BackgroundReader backgroundReader(int flags, pid_t thread);

// The same by the name that a program was started under, without its folder.
BackgroundReader backgroundReaderByName(std::string_view program);

}  // namespace zelto
