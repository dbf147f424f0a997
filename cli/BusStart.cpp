#include "cli/BusStart.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <fmt/format.h>

#include "cli/DetachedProcess.h"
#include "cli/RunRecord.h"
#include "platform/bus/BusAddress.h"
#include "platform/bus/BusOpen.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto::cli {

namespace {

constexpr std::chrono::seconds kStartLimit{10};
constexpr std::chrono::milliseconds kPause{10};
constexpr std::chrono::milliseconds kEndPatience{2000};
// What a socket's address can hold, less the name of the socket itself.
constexpr std::size_t kLongestDirectory = 100;

bool answers(const std::string& address) { return openBus(address).has_value(); }

std::expected<ProcessIdentity, Failure> startDaemon(const std::string& address) {
  std::error_code ignored;
  std::filesystem::create_directories(dataHome() + "/log", ignored);
  DetachedProcess daemon{"dbus-daemon", {"--session", "--nofork", "--nopidfile", "--nosyslog"}, {}, {}};
  daemon.arguments.push_back("--address=" + address);
  daemon.outputFile = dataHome() + "/log/bus.out";
  return startDetached(daemon);
}

std::expected<std::string, Failure> startOwnBus() {
  if (runtimeDirectory().size() > kLongestDirectory) {
    return failure(ExitCode::failed,
                   fmt::format("The path of the runtime directory {} is too long for a socket. Set "
                               "ZELTO_RUNTIME_DIR to a shorter one.",
                               runtimeDirectory()));
  }
  endOwnBus();
  const std::string address = unixBusAddress(runtimeDirectory() + "/bus");
  const auto process = startDaemon(address);
  if (!process) {
    return failure(ExitCode::failed, "There is no session bus, and none can be started: " +
                                         process.error().message + ". Install the package dbus-daemon.");
  }
  if (auto saved = saveBusRecord({address, *process}); !saved) return std::unexpected(saved.error());
  const auto latest = std::chrono::steady_clock::now() + kStartLimit;
  while (!answers(address)) {
    if (!isRunning(*process) || std::chrono::steady_clock::now() > latest) {
      endOwnBus();
      return failure(ExitCode::failed,
                     fmt::format("A session bus of our own does not start; see {}/log/bus.out.", dataHome()));
    }
    std::this_thread::sleep_for(kPause);
  }
  return address;
}

}  // namespace

std::optional<std::string> reachableBus() {
  for (const BusCandidate& candidate : busCandidates()) {
    if (answers(candidate.address)) return candidate.address;
  }
  return std::nullopt;
}

std::expected<std::string, Failure> reachableOrStartedBus() {
  if (auto address = reachableBus()) return *address;
  return startOwnBus();
}

void preferBus(const std::string& address) {
  if (!address.empty() && answers(address)) ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
}

void endOwnBus() {
  if (const auto record = loadBusRecord()) endProcess(record->process, kEndPatience);
  removeBusRecord();
}

}  // namespace zelto::cli
