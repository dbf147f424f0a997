#include "platform/bus/BusTaskQueue.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace zelto {

namespace {

constexpr std::size_t kMostTasks = 16384;

}  // namespace

BusTaskQueue::BusTaskQueue() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

std::optional<NSError> BusTaskQueue::post(Task task, Limit limit) {
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return errorWithPOSIXCode(ENOTCONN, "The connection to the message bus is closed.");
    if (limit == Limit::bounded && tasks_.size() >= kMostTasks) {
      return errorWithPOSIXCode(EAGAIN, "Too much is waiting to be sent to the message bus.");
    }
    tasks_.push_back(std::move(task));
    if (tasks_.size() > 1) return std::nullopt;  // the first one has woken the thread
  }
  wake();
  return std::nullopt;
}

void BusTaskQueue::wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
}

std::vector<BusTaskQueue::Task> BusTaskQueue::take() {
  const std::lock_guard lock(mutex_);
  std::uint64_t count = 0;
  [[maybe_unused]] const auto got = ::read(wake_.get(), &count, sizeof count);
  return std::exchange(tasks_, {});
}

bool BusTaskQueue::empty() const {
  const std::lock_guard lock(mutex_);
  return tasks_.empty();
}

std::vector<BusTaskQueue::Task> BusTaskQueue::close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  return std::exchange(tasks_, {});
}

}  // namespace zelto
