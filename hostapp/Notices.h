#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// Something that the user asked to see, or has to know of an action that gives no answer.
struct Notice {
  std::string title;
  std::string text;
  NSDate shown;
};

// Shows notices and remembers the last one for who has no desktop.
// THREAD: any. `send` runs on the caller's, with no lock held.
class Notices {
 public:
  using Send = std::function<void(const Notice&)>;
  explicit Notices(Send send) : send_(std::move(send)) {}

  void show(std::string title, std::string text) {
    const Notice notice{std::move(title), std::move(text), NSDate::now()};
    {
      const std::lock_guard lock(mutex_);
      last_ = notice;
    }
    if (send_) send_(notice);
  }
  std::optional<Notice> last() const {
    const std::lock_guard lock(mutex_);
    return last_;
  }

 private:
  const Send send_;
  mutable std::mutex mutex_;
  std::optional<Notice> last_;
};

}  // namespace zelto
