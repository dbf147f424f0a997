#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/volume/FuseLowLevel.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Tells the kernel what to forget, in order, on a thread of its own: a notification may wait for a
// request on the same folder, so no thread that answers requests may send one.
// THREAD: any.
class KernelNotifier {
 public:
  explicit KernelNotifier(fuse_session* session);

  // The name leads elsewhere, or somewhere again: forget it and the folder's cached listing.
  void forgetName(std::uint64_t parent, std::string name);
  // The name is gone; whoever watches the folder is told by the kernel.
  void nameDeleted(std::uint64_t parent, std::uint64_t child, std::string name);
  // Forget the attributes of a node.
  void forgetAttributes(std::uint64_t node);
  // Forget the attributes and the cached pages or listing of a node.
  void forgetNode(std::uint64_t node);

  // Runs a task in the same order. REQUIRES: it waits for nothing that waits for the kernel being told.
  void afterwards(std::function<void()> task);

  // BLOCKS: until everything told so far has been done.
  void drain() { queue_.drain(); }
  // Also the end: nothing is done any more. BLOCKS: as `drain`.
  void stop();

 private:
  void tell(std::move_only_function<void(fuse_session*)> what);

  fuse_session* session_;  // used on the queue's thread; null after `stop`
  DispatchQueue queue_;
};

}  // namespace zelto
