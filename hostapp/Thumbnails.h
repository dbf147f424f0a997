#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "host/ZeltoFileProviderServerInterface.h"
#include "hostapp/ServerBackend.h"
#include "hostapp/ThumbnailCache.h"
#include "hostapp/ThumbnailRenderer.h"
#include "hostapp/WorkerPool.h"

namespace zelto {

// Small images of the pictures on the server, several at a time, but never on all threads.
// THREAD: any.
class Thumbnails {
 public:
  struct Parts {
    std::shared_ptr<ServerBackend> backend;
    WorkerPool* pool;  // OWNER: the host; outlives the thumbnails
    std::shared_ptr<ThumbnailCache> cache;
    ThumbnailLimits limits{};
  };
  explicit Thumbnails(Parts parts) : parts_(std::make_shared<Parts>(std::move(parts))) {}

  // COMPLETES: once, on a thread of the pool. ERRORS: no picture (ThumbnailRenderer.h), the server's;
  // cancelled, once nobody waits for it any more.
  void start(const std::string& path, std::shared_ptr<const std::atomic<bool>> abandoned,
             ThumbnailReply completion);

 private:
  static std::expected<std::string, NSError> made(const Parts& parts, const std::string& path);

  const std::shared_ptr<Parts> parts_;
};

}  // namespace zelto
