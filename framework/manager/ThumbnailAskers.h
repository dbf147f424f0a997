#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <sys/types.h>

#include "platform/bus/SessionBus.h"

namespace zelto {

// Who asks for thumbnails over the bus: file browsers with a plug-in of ours, as a rule.
// THREAD: any, with `left` on the bus thread.
class ThumbnailAskers {
 public:
  // `left` is told the unique name of each that has left the bus. REQUIRES: as for the manager's own
  // handlers, the bus runs none of them any more when this ends.
  ThumbnailAskers(std::shared_ptr<SessionBus> bus, std::function<void(const std::string&)> left);

  // A unique name; nothing happens for one that is known.
  void add(const std::string& asker);

  // Whether this process is one of them. It asks for what is on show and no longer, so nothing has to be
  // asked for because it also looked into a file.
  bool isIn(pid_t process) const;

 private:
  struct Asker {
    std::shared_ptr<void> watch;
    pid_t process = 0;  // until it is known
  };
  struct Table {
    std::mutex mutex;
    std::map<std::string, Asker> askers;
  };

  void askForProcess(const std::string& asker);
  void remove(const std::string& asker);

  const std::shared_ptr<SessionBus> bus_;
  const std::function<void(const std::string&)> left_;
  const std::shared_ptr<Table> table_ = std::make_shared<Table>();
};

}  // namespace zelto
