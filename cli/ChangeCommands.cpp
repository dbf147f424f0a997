#include <cstdio>
#include <iostream>

#include <fmt/format.h>
#include <unistd.h>

#include "cli/Commands.h"
#include "cli/MountPoint.h"
#include "cli/Survey.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

// Every path gets its turn; each failure is told, the last one as the outcome.
Outcome callForEach(const char* method, const std::vector<std::string>& paths, const NamedDomain& named) {
  Outcome outcome;
  for (const std::string& path : paths) {
    const auto manager = managerFor(named, path);
    if (!manager) return std::unexpected(manager.error());
    const auto reply = manager->call(method, "ay", {BusBytes{resolvedPath(path)}});
    if (reply) continue;
    if (reply.error().code != ExitCode::failed) return std::unexpected(reply.error());
    if (!outcome) fmt::print(stderr, "zelto: {}\n", outcome.error().message);
    outcome = failure(ExitCode::failed, printable(reply.error().message));
  }
  return outcome;
}

bool isConfirmed(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) fmt::print("  {}\n", printable(path));
  fmt::print(
      "What was made here and the server does not have is lost; anything else becomes again what the server "
      "has.\nGive these changes up? [y/N] ");
  std::fflush(stdout);
  std::string answer;
  return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}

}  // namespace

Outcome retry(const RetryOptions& options, const NamedDomain& named) {
  if (!options.paths.empty()) return callForEach("Retry", options.paths, named);
  const auto manager = managerFor(named);
  if (!manager) return std::unexpected(manager.error());
  const auto reply = manager->call("Retry", "ay", {BusBytes{""}});
  if (!reply) return std::unexpected(reply.error());
  return {};
}

Outcome cancel(const CancelOptions& options, const NamedDomain& named) {
  const bool asks = !options.yes && ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0;
  if (asks && !isConfirmed(options.paths)) return failure(ExitCode::failed, "Nothing was given up.");
  return callForEach("Cancel", options.paths, named);
}

}  // namespace zelto::cli
