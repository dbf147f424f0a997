#include "cli/UpPlan.h"

#include <filesystem>

#include <fmt/format.h>

#include "cli/MountPoint.h"
#include "cli/SampleTree.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

std::unexpected<Failure> otherRuns(const RunRecord& running) {
  return failure(
      ExitCode::conflict,
      fmt::format(
          "Zelto runs already: it shows {0} at {1}.\nTo change that, \"{2} down\" first; to run both, "
          "give this one a name and a place of its own: \"{2} up DIR --mount OTHER --domain NAME\".",
          running.folder, running.mountPoint, programName()));
}

bool differs(const std::optional<bool>& wish, const std::optional<bool>& running) {
  return wish && running != wish;
}

std::expected<UpPlan, Failure> planBesideRunning(const UpWish& wish, const UpPresent& present) {
  const RunRecord& running = *present.record;
  if ((wish.folder && *wish.folder != running.folder) ||
      (wish.mountPoint && *wish.mountPoint != running.mountPoint)) {
    return otherRuns(running);
  }
  if (present.host &&
      (differs(wish.myFiles, running.myFiles) || differs(wish.offlineFiles, running.offlineFiles))) {
    return failure(ExitCode::conflict,
                   fmt::format("Zelto runs already, in another mode. \"{} mode\" with the same "
                               "options changes it.",
                               programName()));
  }
  return UpPlan{!present.host, !present.extension, running};
}

}  // namespace

std::expected<UpPlan, Failure> planUp(const std::string& domain, const UpWish& wish,
                                      const UpPresent& present) {
  if (present.record && (present.host || present.extension)) return planBesideRunning(wish, present);
  // What the user leaves open is as it was before everything ended unasked.
  const RunRecord before = present.record.value_or(RunRecord{});
  const auto orElse = [](const std::string& first, const std::string& second) {
    return first.empty() ? second : first;
  };
  UpPlan plan{true, true, {}};
  plan.record.domain = domain;
  plan.record.folder = wish.folder.value_or(orElse(before.folder, sampleFolder()));
  plan.record.mountPoint =
      wish.mountPoint.value_or(orElse(before.mountPoint, resolvedPath(defaultMountPoint())));
  plan.record.myFiles = wish.myFiles ? wish.myFiles : before.myFiles;
  plan.record.offlineFiles = wish.offlineFiles ? wish.offlineFiles : before.offlineFiles;
  return plan;
}

std::expected<UpWish, Failure> wishOf(const UpOptions& options) {
  UpWish wish{{}, {}, options.myFiles, options.offlineFiles};
  if (options.mountPoint) wish.mountPoint = resolvedPath(*options.mountPoint);
  if (!options.folder) return wish;
  std::error_code error;
  const auto folder = std::filesystem::canonical(*options.folder, error);
  if (error || !std::filesystem::is_directory(folder, error)) {
    return failure(ExitCode::usage,
                   fmt::format("{} is not a folder{}. Name a folder whose subfolders are the shares.",
                               *options.folder, error ? " (" + error.message() + ")" : ""));
  }
  wish.folder = folder.string();
  return wish;
}

}  // namespace zelto::cli
