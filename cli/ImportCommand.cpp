#include <filesystem>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/MountPoint.h"
#include "cli/ProgressBar.h"
#include "cli/SignalFeed.h"
#include "cli/Survey.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

constexpr std::chrono::seconds kStopLimit{5};

struct ImportEvent {
  std::uint64_t ticket = 0;
  std::uint64_t completed = 0, total = 0;  // bytes
  std::uint64_t entries = 0, allEntries = 0;
  bool finished = false;
  std::string message, error;
};

std::optional<ImportEvent> importEventOf(const BusArguments& arguments) {
  using Count = std::uint64_t;
  if (!holds<Count, Count, Count, Count, Count, bool, std::string, std::string>(arguments)) {
    return std::nullopt;
  }
  const auto count = [&arguments](std::size_t index) { return std::get<Count>(arguments[index]); };
  return ImportEvent{count(0),
                     count(1),
                     count(2),
                     count(3),
                     count(4),
                     std::get<bool>(arguments[5]),
                     std::get<std::string>(arguments[6]),
                     std::get<std::string>(arguments[7])};
}

// One import, from the answer that names it to its end.
class ImportWatch {
 public:
  ImportWatch(const Client& manager, SignalFeed& feed, std::uint64_t ticket, std::string title)
      : manager_(manager), feed_(feed), ticket_(ticket), title_(std::move(title)) {}

  Outcome follow() {
    while (true) {
      const auto wake = feed_.wait();
      if (wake == SignalFeed::Wake::lost) {
        return failure(ExitCode::failed,
                       fmt::format("The file system has ended. What was brought over stays; \"{} up\", and "
                                   "the same import again goes on.",
                                   programName()));
      }
      if (wake == SignalFeed::Wake::interrupted) return stop();
      if (const auto last = showEvents()) return end(*last);
    }
  }

 private:
  // The last report of the import, if it is among those that came.
  std::optional<ImportEvent> showEvents() {
    for (const SignalFeed::Event& event : feed_.take()) {
      const auto progress = importEventOf(event.arguments);
      if (!progress || progress->ticket != ticket_) continue;
      show(*progress);
      if (progress->finished) return progress;
    }
    return std::nullopt;
  }
  void show(const ImportEvent& event) {
    if (!event.message.empty()) {
      bar_.clear();
      fmt::print(stderr, "zelto: {}\n", printable(event.message));
    }
    // Folders have no bytes; a tree of them alone is measured by its entries.
    const bool bytes = event.total > 0;
    bar_.showText(bytes ? event.completed : event.entries, bytes ? event.total : event.allEntries,
                  fmt::format("{} of {}, {} of {} entries  {}", byteCount(event.completed),
                              byteCount(event.total), event.entries, event.allEntries, title_));
  }
  Outcome end(const ImportEvent& event) {
    bar_.clear();
    if (!event.error.empty()) return failure(ExitCode::failed, printable(event.error));
    fmt::print("{}  {}, {} entries\n", title_, byteCount(event.total), event.allEntries);
    return {};
  }
  Outcome stop() {
    bar_.clear();
    const auto stopped = manager_.call("CancelImport", "t", {ticket_});
    if (!stopped) return std::unexpected(stopped.error());
    // So that another one can follow at once.
    const auto until = std::chrono::steady_clock::now() + kStopLimit;
    while (!showEvents() && feed_.wait(until) == SignalFeed::Wake::event) {
    }
    bar_.clear();
    return failure(ExitCode::interrupted,
                   "Stopped. What was brought over stays; the same import again goes on with the rest.");
  }

  const Client& manager_;
  SignalFeed& feed_;
  const std::uint64_t ticket_;
  const std::string title_;
  ProgressBar bar_{""};
};

}  // namespace

Outcome import(const ImportOptions& options, const NamedDomain& named) {
  const Interrupt interrupt;
  std::error_code error;
  const auto source = std::filesystem::canonical(options.source, error);
  if (error) return failure(ExitCode::failed, printable(options.source) + ": " + error.message());
  const auto manager = managerFor(named, options.destination);
  if (!manager) return std::unexpected(manager.error());
  SignalFeed feed(*manager, {"ImportProgress"}, interrupt);
  const auto reply = manager->call("Import", "ayay",
                                   {BusBytes{source.string()}, BusBytes{resolvedPath(options.destination)}});
  if (!reply) return std::unexpected(Failure{reply.error().code, printable(reply.error().message)});
  const auto* ticket = reply->empty() ? nullptr : std::get_if<std::uint64_t>(reply->data());
  if (ticket == nullptr) return failure(ExitCode::failed, "The answer to Import is not understood.");
  return ImportWatch(*manager, feed, *ticket, printable(source.filename().string())).follow();
}

}  // namespace zelto::cli
