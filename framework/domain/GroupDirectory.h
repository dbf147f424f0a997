#pragma once

#include <string>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The directory that the extension shares with the host for files in transfer, in use by this process. A file
// with a UUID as name is an extension's: a delivered range before it is taken over, or a content on
// its way to the host, which moves what it is handed to a folder of its own first of all. What a killed
// extension leaves there is of no use to anybody: what it still had to upload lies in its replica, too.
// Every extension holds a shared lock on the directory for as long as it lives. Whoever starts while no other
// one does removes such files.
class GroupDirectory {
 public:
  // Without effect on a directory that cannot be opened or locked.
  // BLOCKS: while another process that is just starting removes files.
  explicit GroupDirectory(const std::string& path);

 private:
  UniqueDescriptor lock_;
};

}  // namespace zelto
