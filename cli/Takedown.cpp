#include "cli/Takedown.h"

#include <fmt/format.h>
#include <unistd.h>

#include "cli/BusStart.h"
#include "cli/MountPoint.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto::cli {

namespace {

constexpr std::uint64_t kAskLimit = 3'000'000;
constexpr std::chrono::milliseconds kEndLimit{5000};
constexpr std::chrono::milliseconds kSignalPatience{3000};

bool end(const ProcessIdentity& process, bool asked) {
  if (asked && waitForEnd(process, kEndLimit)) return true;
  return endProcess(process, kSignalPatience);
}

bool endExtension(const RunRecord& record, const std::shared_ptr<SessionBus>& bus) {
  const bool asked =
      bus && bus->callAndWait({manager::busName(record.domain), manager::objectPath(record.domain),
                               std::string(manager::kInterface)},
                              "Shutdown", "", {}, kAskLimit);
  return end(record.extension, asked);
}

bool endHost(const RunRecord& record, const std::shared_ptr<SessionBus>& bus) {
  const bool asked =
      bus && bus->callAndWait({hostcontrol::busName(record.domain), hostcontrol::objectPath(record.domain),
                               std::string(hostcontrol::kInterface)},
                              "Shutdown", "", {}, kAskLimit);
  return end(record.host, asked);
}

std::string stays(const char* what, const ProcessIdentity& process) {
  return fmt::format("The {} (process {}) does not end, not even killed.", what, process.pid);
}

}  // namespace

Outcome takeDown(const RunRecord& record, const std::shared_ptr<SessionBus>& bus) {
  Outcome outcome;
  if (!endExtension(record, bus)) outcome = failure(ExitCode::failed, stays("file system", record.extension));
  if (!endHost(record, bus)) outcome = failure(ExitCode::failed, stays("host application", record.host));
  if (!record.mountPoint.empty()) {
    if (auto released = releaseMountPoint(record.mountPoint, record.mountPointMade); !released)
      outcome = released;
  }
  removeRunRecord(record.domain);
  removeUnusedRuntime();
  return outcome;
}

void removeUnusedRuntime() {
  if (!recordedDomains().empty()) return;
  endOwnBus();
  ::rmdir(runtimeDirectory().c_str());
}

}  // namespace zelto::cli
