#include <map>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/MountPoint.h"
#include "cli/ProgressBar.h"
#include "cli/SignalFeed.h"
#include "cli/Survey.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

struct FetchEvent {
  std::uint64_t ticket = 0;
  std::uint64_t completed = 0;
  std::uint64_t total = 0;
  bool finished = false;
  std::string error;
};

std::optional<FetchEvent> fetchEventOf(const BusArguments& arguments) {
  if (!holds<std::uint64_t, std::uint64_t, std::uint64_t, bool, std::string>(arguments)) return std::nullopt;
  return FetchEvent{std::get<std::uint64_t>(arguments[0]), std::get<std::uint64_t>(arguments[1]),
                    std::get<std::uint64_t>(arguments[2]), std::get<bool>(arguments[3]),
                    std::get<std::string>(arguments[4])};
}

// Fetches one file after the other and shows how far each is.
class Fetcher {
 public:
  Fetcher(Client manager, const Interrupt& interrupt)
      : manager_(std::move(manager)), feed_(manager_, {"FetchProgress"}, interrupt) {}

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
      switch (feed_.wait()) {
        case SignalFeed::Wake::lost:
          return failure(ExitCode::failed,
                         fmt::format("{}: the file system has ended. \"{} up\" starts it again.",
                                     printable(path), programName()));
        case SignalFeed::Wake::interrupted:
          return failure(
              ExitCode::interrupted,
              fmt::format("{}: not waited for any longer; the fetch itself goes on.", printable(path)));
        default:
          break;
      }
    }
  }

 private:
  // The next event of the ticket. Those of other tickets are somebody else's, or came before the answer
  // that told us ours and are kept.
  std::optional<FetchEvent> progressOf(std::uint64_t ticket) {
    for (const SignalFeed::Event& event : feed_.take()) {
      if (auto progress = fetchEventOf(event.arguments)) pending_[progress->ticket] = std::move(*progress);
    }
    const auto node = pending_.extract(ticket);
    if (pending_.size() > 1024) pending_.clear();
    return node.empty() ? std::nullopt : std::optional(node.mapped());
  }
  static Outcome finish(ProgressBar& bar, const std::string& path, const FetchEvent& event) {
    if (!event.error.empty()) {
      return failure(ExitCode::failed, fmt::format("{}: {}", printable(path), printable(event.error)));
    }
    bar.finish(event.total);
    return {};
  }

  Client manager_;
  SignalFeed feed_;
  std::map<std::uint64_t, FetchEvent> pending_;  // the latest of each ticket
};

}  // namespace

Outcome fetch(const FetchOptions& options, const NamedDomain& named) {
  const Interrupt interrupt;
  Outcome outcome;
  for (const std::string& path : options.paths) {
    const std::string domain = chosenDomain(named, path);
    auto bus = busOf(domain);
    if (!bus) return std::unexpected(bus.error());
    auto fetched = Fetcher(Client::manager(std::move(*bus), domain), interrupt).fetch(path);
    if (fetched) continue;
    if (fetched.error().code != ExitCode::failed) return fetched;
    // The other files are fetched all the same; each failure is told.
    if (!outcome) fmt::print(stderr, "zelto: {}\n", outcome.error().message);
    outcome = std::move(fetched);
  }
  return outcome;
}

}  // namespace zelto::cli
