#include <filesystem>

#include <fmt/format.h>

#include "cli/BusStart.h"
#include "cli/Commands.h"
#include "cli/JsonFields.h"
#include "cli/MountPoint.h"
#include "cli/RuntimeLock.h"
#include "cli/SampleTree.h"
#include "cli/Startup.h"
#include "cli/Survey.h"
#include "cli/Takedown.h"
#include "cli/Text.h"
#include "cli/UpPlan.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {

namespace {

constexpr std::chrono::milliseconds kEndPatience{3000};

Outcome checkOverlap(const RunRecord& record) {
  const auto within = [](const std::string& inner, const std::string& outer) {
    return inner == outer || inner.starts_with(outer + "/");
  };
  if (!within(record.mountPoint, record.folder) && !within(record.folder, record.mountPoint)) return {};
  return failure(ExitCode::usage,
                 fmt::format("The mount {} and the folder of shares {} lie in each other. Choose "
                             "another place with --mount.",
                             record.mountPoint, record.folder));
}

// Processes that run but do not answer would keep their names and the mount from the new ones.
void endSilentOnes(const Survey& found, const UpPlan& plan) {
  if (!found.record) return;
  if (plan.startExtension) endProcess(found.record->extension, kEndPatience);
  if (plan.startHost) endProcess(found.record->host, kEndPatience);
}

Outcome prepareFolder(const RunRecord& record) {
  if (record.folder == sampleFolder()) return makeSampleTree(record.folder);
  std::error_code error;
  if (std::filesystem::is_directory(record.folder, error)) return {};
  return failure(ExitCode::failed,
                 fmt::format("The folder of shares {} is gone. Name another: \"{} up DIR\".", record.folder,
                             programName()));
}

Outcome prepareMount(RunRecord& record, const std::optional<RunRecord>& before) {
  const bool samePlace = before && before->mountPoint == record.mountPoint;
  if (before && !samePlace) {
    if (auto released = releaseMountPoint(before->mountPoint, before->mountPointMade); !released)
      return released;
  }
  auto made = prepareMountPoint(record.mountPoint, samePlace);
  if (!made) return std::unexpected(made.error());
  // An earlier run of ours may have made the folder and not lived to remove it.
  record.mountPointMade = *made || (samePlace && before->mountPointMade);
  return {};
}

Outcome prepare(UpPlan& plan, const Survey& found) {
  if (auto clear = checkOverlap(plan.record); !clear) return clear;
  if (auto able = checkRequirements(); !able) return able;
  if (auto folder = prepareFolder(plan.record); !folder) return folder;
  endSilentOnes(found, plan);
  if (plan.startExtension) {
    if (auto mount = prepareMount(plan.record, found.record); !mount) return mount;
  }
  auto bus = reachableOrStartedBus();
  if (!bus) {
    if (plan.record.mountPointMade) static_cast<void>(releaseMountPoint(plan.record.mountPoint, true));
    return std::unexpected(bus.error());
  }
  plan.record.busAddress = *bus;
  preferBus(*bus);
  return {};
}

// The record is on disk before anything is waited for, so that `down` finds what an interrupted `up` began.
Outcome start(UpPlan& plan) {
  if (plan.startHost) {
    if (auto started = startHost(plan.record); !started) return started;
  }
  if (plan.startExtension) {
    if (auto started = startExtension(plan.record); !started) return started;
  }
  return saveRunRecord(plan.record);
}

Outcome startAndWait(UpPlan& plan) {
  auto bus = SessionBus::connect();
  if (!bus) return failure(ExitCode::failed, bus.error().localizedDescription());
  Outcome outcome = start(plan);
  if (outcome) outcome = waitUntilServing(plan.record, *bus);
  // What does not come up is not left half standing.
  if (!outcome) static_cast<void>(takeDown(plan.record, *bus));
  return outcome;
}

void announce(const UpPlan& plan, bool json) {
  const RunRecord& record = plan.record;
  if (json) {
    const auto text =
        NSJSONSerialization::stringWithValue(NSDictionary{{"domain", record.domain},
                                                          {"folder", record.folder},
                                                          {"mountPoint", record.mountPoint},
                                                          {"log", logFile(record.domain)},
                                                          {"started", plan.startHost || plan.startExtension}},
                                             true);
    fmt::print("{}\n", text.value_or("{}"));
    return;
  }
  const char* what = plan.startHost && plan.startExtension ? "is running now"
                     : plan.startHost                      ? "is running again: the host application was gone"
                     : plan.startExtension                 ? "is running again: the file system was gone"
                                                           : "is running already";
  fmt::print("Zelto {}.\n  shares   {}\n  shown at {}\nTry:\n  ls -l {}\n  {} status\n  {} down\n", what,
             printable(record.folder), printable(record.mountPoint), shellQuoted(record.mountPoint),
             programName(), programName());
}

UpPresent presentOf(const Survey& found) {
  UpPresent present{found.record, found.hostServes(), found.extensionServes()};
  if (present.record && found.host) {
    present.record->myFiles = flagField(*found.host, "useMyFiles");
    present.record->offlineFiles = flagField(*found.host, "useOfflineFiles");
  }
  return present;
}

}  // namespace

Outcome up(const UpOptions& options, const NamedDomain& named, bool json) {
  const auto wish = wishOf(options);
  if (!wish) return std::unexpected(wish.error());
  const auto lock = RuntimeLock::take();
  if (!lock) return std::unexpected(lock.error());
  const std::string domain = named.value_or(kDefaultDomain);
  const Survey found = survey(domain);
  auto plan = planUp(domain, *wish, presentOf(found));
  if (!plan) return std::unexpected(plan.error());
  if (plan->startHost || plan->startExtension) {
    Outcome outcome = prepare(*plan, found);
    if (outcome) outcome = startAndWait(*plan);
    if (!outcome) {
      removeUnusedRuntime();
      return outcome;
    }
  }
  announce(*plan, json);
  return {};
}

}  // namespace zelto::cli
