#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "host/ZeltoFileProviderServerInterface.h"
#include "hostapp/CallCounters.h"
#include "hostapp/HostStore.h"
#include "hostapp/ServerBackend.h"
#include "hostapp/WorkerPool.h"

namespace zelto {

// Copies whole files from the server into the group directory, in slices that take turns.
// THREAD: any. REQUIRES: outlived by the pool's tasks' owner, the host.
class Downloads {
 public:
  struct Parts {
    std::shared_ptr<ServerBackend> backend;
    std::shared_ptr<CallCounters> counters;
    WorkerPool* pool;  // OWNER: the host; outlives the downloads
    std::string directory;
  };
  explicit Downloads(Parts parts) : parts_(std::make_shared<Parts>(std::move(parts))) {}

  struct Request {
    std::string path;
    std::shared_ptr<NSProgress> progress;                       // in bytes; may be cancelled
    std::shared_ptr<const std::atomic<bool>> abandoned;         // nobody waits for the reply any more
    std::function<NSDictionary(const BackendEntry&)> describe;  // the item's dictionary
  };
  // COMPLETES: once, on a thread of the pool, with a file that the receiver owns from then on, and the
  // dictionary of the version that it holds. ERRORS: the server's; cancelled; a file that keeps changing;
  // no space.
  void start(Request request, DownloadReply completion);

 private:
  std::shared_ptr<Parts> parts_;
};

}  // namespace zelto
