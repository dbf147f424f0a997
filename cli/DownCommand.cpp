#include <filesystem>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/RuntimeLock.h"
#include "cli/Survey.h"
#include "cli/Takedown.h"
#include "cli/Text.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto::cli {

namespace {

// Only folders that we make, by name: the data home itself may be any folder that the user has chosen.
Outcome purge() {
  std::string problem;
  for (const char* name : {"domains", "groups", "host", "log", "sample", "sample.new"}) {
    std::error_code error;
    std::filesystem::remove_all(dataHome() + "/" + name, error);
    if (error) problem = fmt::format("{}/{} cannot be removed: {}", dataHome(), name, error.message());
  }
  std::error_code ignored;
  std::filesystem::remove(dataHome(), ignored);
  if (problem.empty()) return {};
  return failure(ExitCode::failed, problem);
}

Outcome purgeUnlessUsed() {
  const std::vector<std::string> domains = recordedDomains();
  if (domains.empty()) return purge();
  return failure(ExitCode::conflict,
                 fmt::format("Nothing is purged: the domain \"{0}\" still runs. \"{1} down --domain "
                             "{0}\" stops it.",
                             domains[0], programName()));
}

}  // namespace

Outcome down(const DownOptions& options, const NamedDomain& named) {
  const auto lock = RuntimeLock::take();
  if (!lock) return std::unexpected(lock.error());
  const std::string domain = chosenDomain(named);
  const Survey found = survey(domain);
  Outcome outcome;
  if (found.record) {
    outcome = takeDown(*found.record, found.bus);
    if (outcome) fmt::print("Zelto has stopped; nothing of it runs or is mounted.\n");
  } else {
    removeUnusedRuntime();
    fmt::print("Zelto is not running; there is nothing to stop.\n");
  }
  if (!outcome) return outcome;
  if (options.purge) {
    outcome = purgeUnlessUsed();
    if (outcome) fmt::print("What was kept in {} is removed.\n", dataHome());
  } else if (std::filesystem::exists(dataHome())) {
    fmt::print("Local copies and the log are kept in {} (\"{} down --purge\" removes them).\n", dataHome(),
               programName());
  }
  return outcome;
}

}  // namespace zelto::cli
