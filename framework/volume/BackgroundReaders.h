#pragma once

#include <sys/types.h>

namespace zelto {

// Programs that open files of their own accord and not for their user. For them nothing is fetched that they
// do not insist on: looking at a folder would download all of it.
enum class BackgroundReader {
  none,
  ofPictures,    // makes thumbnails of pictures; can read a PNG file, whatever the name says
  ofKinds,       // makes thumbnails of one other kind, or looks at the first bytes to tell the kind
  ofEverything,  // fills an index
  // A file browser that opens every file on show in its own process, but reads the first bytes only where the
  // name does not tell the type. It may be the user who wants it, too, so it is let have what it reads.
  ofNames,
};

// Who opens a file. File browsers look at first bytes with O_NOATIME. `flags` are the open's; `thread` is the
// caller's, 0 for one that cannot be seen from here. THREAD: any. BLOCKS: while one small file of /proc is
// read, and only where the flags do not tell.
BackgroundReader backgroundReader(int flags, pid_t thread);

}  // namespace zelto
