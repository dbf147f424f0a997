#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/bus/SessionBus.h"
#include "platform/foundation/PropertyList.h"

namespace zelto::test {

namespace fs = std::filesystem;

// Polls a condition until it holds; false when it still does not after the limit.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = std::chrono::seconds(20));

// A child process of the test, ended with it.
class Process {
 public:
  Process() = default;
  Process(const std::vector<std::string>& arguments, const fs::path& errorFile);
  ~Process() { kill(SIGKILL); }
  Process(Process&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
  Process& operator=(Process&& other) noexcept {
    kill(SIGKILL);
    pid_ = std::exchange(other.pid_, 0);
    return *this;
  }

  pid_t pid() const { return pid_; }
  bool running() const { return pid_ > 0; }
  // BLOCKS: after SIGSTOP until it has stopped.
  void signal(int number) const;
  // Sends the signal and waits for the end; gives the wait status.
  int kill(int number);
  // Waits for the end; false when it still runs after the limit.
  bool waitForEnd(std::chrono::milliseconds limit, int* status = nullptr);

 private:
  pid_t pid_ = 0;
};

// The whole system over folders of its own: a private message bus, the host on a served folder, the
// extension on a mount point. Nothing is started by itself but the bus.
class TestSystem {
 public:
  TestSystem();
  ~TestSystem();

  const fs::path& served() const { return served_; }
  const fs::path& mount() const { return mount_; }
  fs::path share() const { return served_ / "share"; }   // a share made from the start
  fs::path mounted() const { return mount_ / "share"; }  // the same in the mount, with my files off
  fs::path data() const { return root_ / "data"; }

  void startHost(const std::vector<std::string>& flags = {});
  void startExtension(const std::vector<std::string>& flags = {});
  // Without waiting until it serves.
  void launchExtension(const std::vector<std::string>& flags = {});
  void start() {
    startExtension();
    startHost();
    waitUntilConnected();
  }
  void waitUntilConnected();

  Process& host() { return host_; }
  Process& extension() { return extension_; }

  // The manager's and the host's answers.
  NSDictionary status();
  NSDictionary hostStatus();
  NSDictionary item(const fs::path& path);
  std::int64_t hostCalls(const std::string& operation);
  std::int64_t hostBytes();
  std::expected<BusArguments, NSError> callManager(const std::string& method, const std::string& signature,
                                                   BusArguments arguments);
  std::expected<BusArguments, NSError> callHost(const std::string& method, const std::string& signature,
                                                BusArguments arguments);
  std::string hostLog();
  std::string extensionErrors();
  SessionBus& bus();

 private:
  NSDictionary json(const std::expected<BusArguments, NSError>& reply);

  fs::path root_, served_, mount_;
  Process daemon_, host_, extension_;
  std::shared_ptr<SessionBus> bus_;
};

void writeFile(const fs::path& path, const std::string& content);
// The whole content, or "errno N" when it cannot be read.
std::string readFile(const fs::path& path);
// What differs between two trees in names, types, sizes, link targets or content; "" when nothing does.
std::string treeDifference(const fs::path& expected, const fs::path& actual);
std::vector<std::string> names(const fs::path& folder);
// Whether there is a regular file of so many bytes somewhere below, also while others come and go.
bool holdsFileOfSize(const fs::path& folder, std::uintmax_t size);

}  // namespace zelto::test
