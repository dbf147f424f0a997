#pragma once

#include <memory>
#include <mutex>

#include "hostapp/HostStore.h"
#include "hostapp/ServerPaths.h"

namespace zelto {

// Which containers the root shows, and the identifiers that follow from it.
// THREAD: any.
class HostModeState {
 public:
  HostModeState(ContainerNames names, HostMode mode) : names_(std::move(names)) { set(mode); }

  HostMode mode() const {
    const std::lock_guard lock(mutex_);
    return mode_;
  }
  // One request works with one of these throughout.
  std::shared_ptr<const ServerPaths> paths() const {
    const std::lock_guard lock(mutex_);
    return paths_;
  }
  void set(HostMode mode) {
    auto paths = std::make_shared<const ServerPaths>(names_, mode.useMyFiles);
    const std::lock_guard lock(mutex_);
    mode_ = mode;
    paths_ = std::move(paths);
  }

 private:
  const ContainerNames names_;
  mutable std::mutex mutex_;
  HostMode mode_;
  std::shared_ptr<const ServerPaths> paths_;
};

}  // namespace zelto
