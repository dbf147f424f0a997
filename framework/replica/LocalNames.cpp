#include "framework/replica/LocalNames.h"

#include <algorithm>
#include <string>

#include <fnmatch.h>

namespace zelto {

bool staysLocal(std::string_view name) {
  static constexpr const char* kPatterns[] = {
      ".~lock.*#",         // LibreOffice: who has the document open
      "~$*",               // office programs: the same
      "~*.tmp",            // their work files
      ".#*",               // Emacs: who has the file open
      "#*#",               // its automatic saves
      "*~",                // backups of many editors
      ".*.sw[a-z]",        // Vim's swap files
      ".*.sw[a-z]x",       // and its probes for one
      ".*.kate-swp",       // Kate's swap files
      ".goutputstream-*",  // what GIO writes before it renames
      ".nfs[0-9a-f]*",     // open files that were removed, by other file systems
      ".fuse_hidden*",     // the same
      "*.crdownload",      // unfinished downloads of browsers
  };
  const std::string text(name);
  return std::ranges::any_of(
      kPatterns, [&text](const char* pattern) { return ::fnmatch(pattern, text.c_str(), 0) == 0; });
}

}  // namespace zelto
