#pragma once

#include <deque>
#include <unordered_set>

#include "desktop/core/BusCall.h"
#include "desktop/core/Timer.h"

namespace zelto::desktop {

// Has a manager make the thumbnails of the pictures on show, some at a time, so that those no longer on show
// when their turn comes are never asked for.
// THREAD: the main context's. BLOCKS: never.
class ThumbnailQueue {
 public:
  ThumbnailQueue(GDBusConnection& bus, BusTarget manager);
  ~ThumbnailQueue() { g_cancellable_cancel(cancellable_.get()); }
  ThumbnailQueue(const ThumbnailQueue&) = delete;
  ThumbnailQueue& operator=(const ThumbnailQueue&) = delete;

  // A file that is on show now; nothing happens for one that is no picture by its name, or was wanted before.
  void want(const std::string& path);
  void forget(const std::string& path);

 private:
  void next();

  GDBusConnection& bus_;
  BusTarget manager_;
  ObjectPointer<GCancellable> cancellable_;
  Timer begin_;
  std::unordered_set<std::string> wanted_;  // until they are forgotten
  std::deque<std::string> waiting_;         // may hold some that are forgotten
  std::unordered_set<std::string> asked_;   // of the call that is on its way; forgotten ones are gone
  std::uint64_t calls_ = 0;
};

}  // namespace zelto::desktop
