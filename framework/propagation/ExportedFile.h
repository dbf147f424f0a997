#pragma once

#include <string>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// A place in the group directory for a content on its way to the host, and who answers for what lies there.
// The extension moves the file to a name of its own in the same directory, and the host moves it out of it. A
// host that is killed in between leaves a file whose name nobody knows.
// THREAD: one at a time. OWNER: the step that sends the content.
class ExportedFile {
 public:
  // Makes no file.
  explicit ExportedFile(std::string directory);
  // Removes the file if it is still under the name that it was given here.
  ~ExportedFile();
  ExportedFile(const ExportedFile&) = delete;
  ExportedFile& operator=(const ExportedFile&) = delete;

  const std::string& path() const { return path_; }
  // From here on the file is known by whatever name. REQUIRES: it is there, and with nobody else yet.
  void written();
  // Removes it from the group directory under whatever name; a host that still comes for it finds nothing.
  // Without effect on one that the host has taken.
  void takeBack();

 private:
  const std::string directory_;
  const std::string path_;
  UniqueDescriptor file_;  // open, so that no other file gets its number
};

}  // namespace zelto
