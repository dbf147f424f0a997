#include "cli/ProcessIdentity.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include <fmt/format.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zelto::cli {

namespace {

constexpr std::chrono::milliseconds kKillPatience{2000};

struct Stat {
  char state = '?';
  std::uint64_t startTime = 0;
};

// The second field may hold anything, so everything is counted from its closing bracket.
std::optional<Stat> statOf(pid_t pid) {
  std::ifstream file(fmt::format("/proc/{}/stat", pid));
  std::string line;
  if (!std::getline(file, line)) return std::nullopt;
  const std::size_t bracket = line.rfind(')');
  if (bracket == std::string::npos) return std::nullopt;
  std::istringstream fields(line.substr(bracket + 1));
  Stat stat;
  fields >> stat.state;
  std::string skipped;
  for (int field = 4; field < 22; ++field) fields >> skipped;
  fields >> stat.startTime;
  return fields ? std::optional(stat) : std::nullopt;
}

std::string bootIdentifier() {
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::string identifier;
  std::getline(file, identifier);
  return identifier;
}

// A descriptor of exactly this process: the number is checked again after it is open.
UniqueDescriptor openProcess(const ProcessIdentity& process) {
  UniqueDescriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process.pid, 0)));
  return isRunning(process) ? std::move(descriptor) : UniqueDescriptor();
}

bool hasEnded(const UniqueDescriptor& process, std::chrono::milliseconds limit) {
  pollfd file{process.get(), POLLIN, 0};
  return ::poll(&file, 1, static_cast<int>(limit.count())) > 0;
}

void send(const UniqueDescriptor& process, int signal) {
  ::syscall(SYS_pidfd_send_signal, process.get(), signal, nullptr, 0);
}

}  // namespace

std::optional<ProcessIdentity> identityOf(pid_t pid) {
  if (pid <= 0) return std::nullopt;
  const auto stat = statOf(pid);
  if (!stat) return std::nullopt;
  return ProcessIdentity{pid, stat->startTime, bootIdentifier()};
}

bool isRunning(const ProcessIdentity& process) {
  if (process.pid <= 0 || process.boot != bootIdentifier()) return false;
  const auto stat = statOf(process.pid);
  return stat && stat->startTime == process.startTime && stat->state != 'Z' && stat->state != 'X';
}

bool waitForEnd(const ProcessIdentity& process, std::chrono::milliseconds limit) {
  const UniqueDescriptor descriptor = openProcess(process);
  return !descriptor || hasEnded(descriptor, limit);
}

bool endProcess(const ProcessIdentity& process, std::chrono::milliseconds patience) {
  const UniqueDescriptor descriptor = openProcess(process);
  if (!descriptor) return true;
  send(descriptor, SIGTERM);
  if (hasEnded(descriptor, patience)) return true;
  send(descriptor, SIGKILL);
  return hasEnded(descriptor, kKillPatience);
}

}  // namespace zelto::cli
