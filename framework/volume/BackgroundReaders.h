#pragma once

#include <string_view>

#include <sys/types.h>

namespace zelto {

// Whether an open comes from a program that reads contents of its own accord and not for its user: one that
// makes thumbnails, fills an index, or looks at the first bytes to tell a file's type (file browsers do that
// with O_NOATIME). For them nothing is fetched: looking at a folder would download all of it. `flags` are the
// open's; `thread` is the caller's, 0 for one that cannot be seen from here. THREAD: any. BLOCKS: while one
// small file of /proc is read, and only where the flags do not tell.
bool isBackgroundReader(int flags, pid_t thread);

// The same by the name that a program was started under, without its folder.
bool isBackgroundReaderName(std::string_view program);

}  // namespace zelto
