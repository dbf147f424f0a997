#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "framework/replica/VersionTemplate.h"

namespace zelto {

// The one template of a replica, fixed by the first version that is seen.
// THREAD: any.
class VersionTemplates {
 public:
  explicit VersionTemplates(std::string bytes) {
    if (!bytes.empty()) chosen_ = std::make_unique<const VersionTemplate>(std::move(bytes));
    current_ = chosen_.get();
  }

  // Null while no version has been seen.
  const VersionTemplate* current() const { return current_.load(std::memory_order_acquire); }

  const VersionTemplate& currentOr(const NSFileProviderItemVersion& first) {
    if (const VersionTemplate* known = current()) return *known;
    const std::lock_guard lock(mutex_);
    if (!chosen_) chosen_ = std::make_unique<const VersionTemplate>(std::string(first.contentVersion.text()));
    current_.store(chosen_.get(), std::memory_order_release);
    return *chosen_;
  }

 private:
  std::mutex mutex_;
  std::unique_ptr<const VersionTemplate> chosen_;
  std::atomic<const VersionTemplate*> current_ = nullptr;
};

}  // namespace zelto
