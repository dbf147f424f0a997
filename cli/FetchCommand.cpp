#include <csignal>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "cli/Commands.h"
#include "cli/MountPoint.h"
#include "cli/ProgressBar.h"
#include "cli/Survey.h"
#include "cli/Text.h"
#include "platform/bus/ManagerInterface.h"

namespace zelto::cli {

namespace {

struct FetchEvent {
  std::uint64_t ticket = 0;
  std::uint64_t completed = 0;
  std::uint64_t total = 0;
  bool finished = false;
  std::string error;
};

// Events of the bus thread for the waiting one. THREAD: any may add.
class FetchEvents {
 public:
  FetchEvents() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  int descriptor() const { return wake_.get(); }
  void add(FetchEvent event) {
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
  std::vector<FetchEvent> take() {
    const std::lock_guard lock(mutex_);
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(wake_.get(), &count, sizeof count);
    return std::exchange(events_, {});
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
  std::vector<FetchEvent> events_;
  bool lost_ = false;
};

// Ctrl-C as something to wait for; blocked before any other thread is there to take it.
UniqueDescriptor interruptDescriptor() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  return UniqueDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC));
}

FetchEvent eventOf(const BusArguments& arguments) {
  return {std::get<std::uint64_t>(arguments[0]), std::get<std::uint64_t>(arguments[1]),
          std::get<std::uint64_t>(arguments[2]), std::get<bool>(arguments[3]),
          std::get<std::string>(arguments[4])};
}

bool isProgress(const BusArguments& arguments) {
  return arguments.size() == 5 && std::holds_alternative<std::uint64_t>(arguments[0]) &&
         std::holds_alternative<std::uint64_t>(arguments[1]) &&
         std::holds_alternative<std::uint64_t>(arguments[2]) && std::holds_alternative<bool>(arguments[3]) &&
         std::holds_alternative<std::string>(arguments[4]);
}

// Fetches one file after the other and shows how far each is.
class Fetcher {
 public:
  Fetcher(Client manager, const std::string& domain, const UniqueDescriptor& interrupt)
      : manager_(std::move(manager)), interrupt_(interrupt) {
    const auto events = events_;
    signals_ =
        manager_.bus()->matchSignal(manager_.target().path, manager_.target().interface, "FetchProgress",
                                    [events](const std::string&, BusArguments arguments) {
                                      if (isProgress(arguments)) events->add(eventOf(arguments));
                                    });
    watch_ = manager_.bus()->watchName(manager::busName(domain), [events](bool present) {
      if (!present) events->lose();
    });
  }

  Outcome fetch(const std::string& path) {
    const auto reply = manager_.call("Fetch", "ay", {BusBytes{resolvedPath(path)}});
    if (!reply) return std::unexpected(reply.error());
    const auto* ticket = reply->empty() ? nullptr : std::get_if<std::uint64_t>(reply->data());
    if (ticket == nullptr) return failure(ExitCode::failed, "The answer to Fetch is not understood.");
    ProgressBar bar(printable(path));
    while (true) {
      if (auto event = progressOf(*ticket)) {
        bar.show(event->completed, event->total);
        if (event->finished) return finish(bar, path, *event);
        continue;
      }
      if (events_->lost()) {
        return failure(ExitCode::failed,
                       fmt::format("{}: the file system has ended. \"{} up\" starts it again.",
                                   printable(path), programName()));
      }
      if (interrupted()) {
        return failure(
            ExitCode::interrupted,
            fmt::format("{}: not waited for any longer; the fetch itself goes on.", printable(path)));
      }
    }
  }

 private:
  // The next event of the ticket. Those of other tickets are somebody else's, or came before the answer
  // that told us ours and are kept.
  std::optional<FetchEvent> progressOf(std::uint64_t ticket) {
    for (FetchEvent& event : events_->take()) pending_[event.ticket] = std::move(event);
    const auto node = pending_.extract(ticket);
    if (pending_.size() > 1024) pending_.clear();
    return node.empty() ? std::nullopt : std::optional(node.mapped());
  }
  // BLOCKS: until an event or a signal.
  bool interrupted() const {
    pollfd files[] = {{events_->descriptor(), POLLIN, 0}, {interrupt_.get(), POLLIN, 0}};
    ::poll(files, 2, -1);
    return (files[1].revents & POLLIN) != 0;
  }
  static Outcome finish(ProgressBar& bar, const std::string& path, const FetchEvent& event) {
    if (!event.error.empty()) {
      return failure(ExitCode::failed, fmt::format("{}: {}", printable(path), printable(event.error)));
    }
    bar.finish(event.total);
    return {};
  }

  Client manager_;
  const UniqueDescriptor& interrupt_;
  std::shared_ptr<FetchEvents> events_ = std::make_shared<FetchEvents>();
  std::map<std::uint64_t, FetchEvent> pending_;  // the latest of each ticket
  std::shared_ptr<void> signals_;
  std::shared_ptr<void> watch_;
};

}  // namespace

Outcome fetch(const FetchOptions& options, const NamedDomain& named) {
  const UniqueDescriptor interrupt = interruptDescriptor();
  Outcome outcome;
  for (const std::string& path : options.paths) {
    const std::string domain = chosenDomain(named, path);
    auto bus = busOf(domain);
    if (!bus) return std::unexpected(bus.error());
    auto fetched = Fetcher(Client::manager(std::move(*bus), domain), domain, interrupt).fetch(path);
    if (fetched) continue;
    if (fetched.error().code != ExitCode::failed) return fetched;
    // The other files are fetched all the same; each failure is told.
    if (!outcome) fmt::print(stderr, "zelto: {}\n", outcome.error().message);
    outcome = std::move(fetched);
  }
  return outcome;
}

}  // namespace zelto::cli
