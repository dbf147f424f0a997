#pragma once

#include <filesystem>
#include <set>
#include <string>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto::test {

// Every name that comes into being in a folder of the server while this lives, however shortly; the host's
// own working names aside.
class ServerWatch {
 public:
  explicit ServerWatch(const std::filesystem::path& folder);

  // All of them so far.
  const std::set<std::string>& names();

 private:
  UniqueDescriptor inotify_;
  std::set<std::string> names_;
};

}  // namespace zelto::test
