#include "cli/SignalFeed.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <mutex>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace zelto::cli {

namespace {

// None at all, for the bus.
constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

int millisecondsUntil(std::optional<SignalFeed::Time> until) {
  if (!until) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

}  // namespace

Interrupt::Interrupt() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  descriptor_ = UniqueDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC));
}

void Interrupt::take() const {
  signalfd_siginfo signal{};
  [[maybe_unused]] const auto got = ::read(descriptor_.get(), &signal, sizeof signal);
}

// From the bus thread to the waiting one. THREAD: any may add.
class SignalFeed::Queue {
 public:
  Queue() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  int descriptor() const { return wake_.get(); }
  void add(Event event) {
    {
      const std::lock_guard lock(mutex_);
      events_.push_back(std::move(event));
    }
    wake();
  }
  void lose() {
    {
      const std::lock_guard lock(mutex_);
      lost_ = true;
    }
    wake();
  }
  std::vector<Event> take() {
    const std::lock_guard lock(mutex_);
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(wake_.get(), &count, sizeof count);
    return std::exchange(events_, {});
  }
  bool hasEvents() const {
    const std::lock_guard lock(mutex_);
    return !events_.empty();
  }
  bool lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
  }

 private:
  void wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
  }

  UniqueDescriptor wake_;
  mutable std::mutex mutex_;
  std::vector<Event> events_;
  bool lost_ = false;
};

SignalFeed::SignalFeed(const Client& manager, const std::vector<std::string>& names,
                       const Interrupt& interrupt)
    : interrupt_(interrupt), queue_(std::make_shared<Queue>()) {
  const auto& target = manager.target();
  for (const std::string& name : names) {
    watches_.push_back(
        manager.bus()->matchSignal(target.path, target.interface, name,
                                   [queue = queue_, name](const std::string&, BusArguments arguments) {
                                     queue->add({name, std::move(arguments)});
                                   }));
  }
  watches_.push_back(manager.bus()->watchName(target.service, [queue = queue_](bool present) {
    if (!present) queue->lose();
  }));
}

void SignalFeed::expect(const Client& manager, const std::string& method, const std::string& signature,
                        BusArguments arguments) {
  manager.bus()->call(manager.target(), method, signature, std::move(arguments), kNoLimit,
                      [queue = queue_](std::expected<BusArguments, NSError> reply) {
                        if (reply) return queue->add({"", std::move(*reply)});
                        queue->add({"", {}, reply.error()});
                      });
}

SignalFeed::Wake SignalFeed::wait(std::optional<Time> until) {
  while (true) {
    if (queue_->hasEvents()) return Wake::event;
    if (queue_->lost()) return Wake::lost;
    pollfd files[] = {{queue_->descriptor(), POLLIN, 0}, {interrupt_.descriptor(), POLLIN, 0}};
    const int ready = ::poll(files, 2, millisecondsUntil(until));
    if ((files[1].revents & POLLIN) != 0) {
      interrupt_.take();
      return Wake::interrupted;
    }
    if (ready == 0) return Wake::timedOut;
  }
}

std::vector<SignalFeed::Event> SignalFeed::take() { return queue_->take(); }

}  // namespace zelto::cli
