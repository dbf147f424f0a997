#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/PendingTable.h"
#include "cli/ProgressBar.h"
#include "cli/SignalFeed.h"
#include "cli/Survey.h"
#include "cli/Text.h"
#include "cli/UploadTally.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {

namespace {

// What the manager says when there is nothing left to wait for.
Outcome ended(const SignalFeed::Event& reply) {
  if (reply.error) return failure(ExitCode::failed, reply.error->localizedDescription());
  if (!holds<std::string>(reply.arguments)) {
    return failure(ExitCode::failed, "The answer to Wait is not understood.");
  }
  const auto failed = NSJSONSerialization::valueWithString(std::get<std::string>(reply.arguments[0]));
  if (!failed || failed->asArray() == nullptr) {
    return failure(ExitCode::failed, "The answer to Wait is not understood.");
  }
  if (failed->asArray()->empty()) {
    fmt::print("The server has everything.\n");
    return {};
  }
  fmt::print("{}", failureList(*failed->asArray()));
  return failure(ExitCode::failed,
                 fmt::format("{} of the changes could not be sent. \"{} retry\" tries them again.",
                             failed->asArray()->size(), programName()));
}

void follow(UploadTally& tally, const SignalFeed::Event& event) {
  if (event.name == "PendingChanged" && holds<std::uint64_t, std::uint64_t, std::uint64_t>(event.arguments)) {
    tally.countsChanged(std::get<std::uint64_t>(event.arguments[0]),
                        std::get<std::uint64_t>(event.arguments[1]));
  }
  if (event.name == "UploadProgress" && holds<std::string, std::uint64_t, std::uint64_t>(event.arguments)) {
    tally.uploaded(std::get<std::string>(event.arguments[0]), std::get<std::uint64_t>(event.arguments[1]),
                   std::get<std::uint64_t>(event.arguments[2]));
  }
}

Outcome gaveUp(SignalFeed::Wake why, const UploadTally& tally) {
  switch (why) {
    case SignalFeed::Wake::lost:
      return failure(ExitCode::failed,
                     fmt::format("The file system has ended; what it had not sent is kept. \"{} up\" starts "
                                 "it again.",
                                 programName()));
    case SignalFeed::Wake::timedOut:
      return failure(
          ExitCode::timedOut,
          fmt::format("Not everything was sent in time: {}. It is sent later all the same.", tally.text()));
    default:
      return failure(ExitCode::interrupted, fmt::format("Not waited for any longer: {}. It is sent later all "
                                                        "the same.",
                                                        tally.text()));
  }
}

NSArray changesNow(const Client& manager) {
  const auto changes = manager.value("Pending");
  return changes && changes->asArray() != nullptr ? *changes->asArray() : NSArray();
}

std::optional<SignalFeed::Time> endOf(std::optional<double> seconds) {
  if (!seconds) return std::nullopt;
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(*seconds));
}

}  // namespace

Outcome wait(const WaitOptions& options, const NamedDomain& named) {
  const Interrupt interrupt;
  const auto manager = managerFor(named);
  if (!manager) return std::unexpected(manager.error());
  const auto until = endOf(options.timeout);
  SignalFeed feed(*manager, {"PendingChanged", "UploadProgress"}, interrupt);
  UploadTally tally(changesNow(*manager));
  ProgressBar bar("");
  feed.expect(*manager, "Wait", "", {});
  while (true) {
    bar.showText(tally.all() - tally.left(), tally.all(), tally.text());
    const auto wake = feed.wait(until);
    if (wake != SignalFeed::Wake::event) {
      bar.clear();
      return gaveUp(wake, tally);
    }
    for (const SignalFeed::Event& event : feed.take()) {
      if (event.name.empty()) {
        bar.clear();
        return ended(event);
      }
      follow(tally, event);
    }
  }
}

}  // namespace zelto::cli
