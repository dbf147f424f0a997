#include "cli/Startup.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "cli/Client.h"
#include "cli/DetachedProcess.h"
#include "cli/JsonFields.h"
#include "cli/LogTail.h"
#include "cli/Mounts.h"
#include "cli/Text.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto::cli {

namespace {

constexpr const char* kHostProgram = "zelto-host";
constexpr const char* kExtensionProgram = "zelto-fileprovider";
constexpr std::chrono::seconds kStartLimit{20};
constexpr std::chrono::milliseconds kPause{20};
constexpr std::chrono::milliseconds kAnswerLimit{2000};
constexpr std::size_t kOutputLines = 5;

std::string companion(const char* program) { return programFolder() + "/" + program; }

Outcome checkProgram(const char* program) {
  if (::access(companion(program).c_str(), X_OK) == 0) return {};
  return failure(ExitCode::failed,
                 fmt::format("{} is missing. It belongs beside the \"zelto\" program: build or "
                             "install all of it.",
                             companion(program)));
}

Outcome checkFuse() {
  const UniqueDescriptor device(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
  if (device) return {};
  if (errno == EACCES || errno == EPERM) {
    return failure(
        ExitCode::failed,
        "/dev/fuse may not be used by this user. As root: \"chmod 666 /dev/fuse\" (a container must be "
        "given the device, e.g. with --device /dev/fuse).");
  }
  return failure(ExitCode::failed,
                 fmt::format("/dev/fuse cannot be opened ({}). As root: \"modprobe fuse\"; a "
                             "container must be given the device, e.g. with --device /dev/fuse.",
                             std::strerror(errno)));
}

std::expected<ProcessIdentity, Failure> start(const char* program, const RunRecord& record,
                                              std::vector<std::string> arguments) {
  std::error_code ignored;
  std::filesystem::create_directories(dataHome() + "/log", ignored);
  return startDetached({companion(program),
                        std::move(arguments),
                        {"DBUS_SESSION_BUS_ADDRESS=" + record.busAddress},
                        outputFile(program, record.domain)});
}

void addSwitch(std::vector<std::string>& arguments, const char* name, const std::optional<bool>& value) {
  if (!value) return;
  arguments.emplace_back(name);
  arguments.emplace_back(*value ? "on" : "off");
}

Outcome checkAlive(const char* program, const ProcessIdentity& process, const RunRecord& record) {
  if (isRunning(process)) return {};
  std::string output;
  for (const std::string& line : lastLines(outputFile(program, record.domain), kOutputLines)) {
    output += "\n  " + printable(line);
  }
  if (output.empty()) output = "\n  (it has said nothing)";
  return failure(ExitCode::failed, fmt::format("{} has ended right after its start. The end of {}:{}",
                                               program, outputFile(program, record.domain), output));
}

// One line on a terminal that tells what is still missing.
class WaitingLine {
 public:
  ~WaitingLine() {
    if (!shown_.empty()) fmt::print(stderr, "\r\x1b[K");
  }
  void show(const std::string& text) {
    if (text == shown_ || ::isatty(STDERR_FILENO) == 0) return;
    fmt::print(stderr, "\r\x1b[K{}", text);
    shown_ = text;
  }

 private:
  std::string shown_;
};

// What is missing yet; empty when all is there.
std::string missing(const Client& manager, const RunRecord& record) {
  const auto status = manager.status();
  if (!status) return "the file system does not answer yet";
  if (!flagField(*status, "hostConnected")) return "the host application is not connected yet";
  if (askMount(record.mountPoint, kAnswerLimit) != MountAnswer::answers)
    return "the mount does not answer yet";
  return "";
}

}  // namespace

Outcome checkRequirements() {
  for (const char* program : {kHostProgram, kExtensionProgram}) {
    if (auto found = checkProgram(program); !found) return found;
  }
  return checkFuse();
}

Outcome startHost(RunRecord& record) {
  std::vector<std::string> arguments{"--folder", record.folder, "--domain", record.domain};
  addSwitch(arguments, "--my-files", record.myFiles);
  addSwitch(arguments, "--offline-files", record.offlineFiles);
  arguments.insert(arguments.end(), {"--log", logFile(record.domain)});
  auto process = start(kHostProgram, record, std::move(arguments));
  if (!process) return std::unexpected(process.error());
  record.host = *process;
  return {};
}

Outcome startExtension(RunRecord& record) {
  auto process = start(kExtensionProgram, record, {"--domain", record.domain, "--mount", record.mountPoint});
  if (!process) return std::unexpected(process.error());
  record.extension = *process;
  return {};
}

Outcome waitUntilServing(const RunRecord& record, const std::shared_ptr<SessionBus>& bus) {
  const Client manager = Client::manager(bus, record.domain);
  const auto latest = std::chrono::steady_clock::now() + kStartLimit;
  WaitingLine line;
  while (true) {
    const std::string lacking = missing(manager, record);
    if (lacking.empty()) return {};
    line.show("Starting: " + lacking);
    if (auto alive = checkAlive(kHostProgram, record.host, record); !alive) return alive;
    if (auto alive = checkAlive(kExtensionProgram, record.extension, record); !alive) return alive;
    if (std::chrono::steady_clock::now() > latest) {
      return failure(ExitCode::timedOut,
                     fmt::format("After {} seconds {}. The programs' output is in {}/log.",
                                 kStartLimit.count(), lacking, dataHome()));
    }
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace zelto::cli
