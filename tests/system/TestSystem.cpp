#include "tests/system/TestSystem.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::test {
namespace {

constexpr const char* kDomain = "test";
constexpr std::uint64_t kCallLimit = 20'000'000;  // microseconds

std::string text(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool isMounted(const fs::path& mount) {
  std::ifstream mounts("/proc/self/mounts");
  for (std::string line; std::getline(mounts, line);) {
    if (line.find(" " + mount.string() + " ") != std::string::npos) return true;
  }
  return false;
}

}  // namespace

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

Process::Process(const std::vector<std::string>& arguments, const fs::path& errorFile) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, errorFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = 0;
  posix_spawn_file_actions_destroy(&actions);
}

void Process::signal(int number) const {
  if (pid_ <= 0) return;
  ::kill(pid_, number);
  // Its threads may run on for a moment, and answer what a test expects to stay unanswered.
  siginfo_t state;
  if (number == SIGSTOP) ::waitid(P_PID, static_cast<id_t>(pid_), &state, WSTOPPED | WEXITED | WNOWAIT);
}

int Process::kill(int number) {
  if (pid_ <= 0) return 0;
  ::kill(pid_, number);
  int status = 0;
  ::waitpid(std::exchange(pid_, 0), &status, 0);
  return status;
}

bool Process::waitForEnd(std::chrono::milliseconds limit, int* status) {
  int ignored = 0;
  const bool ended = eventually(
      [&] { return ::waitpid(pid_, status != nullptr ? status : &ignored, WNOHANG) == pid_; }, limit);
  if (ended) pid_ = 0;
  return ended;
}

TestSystem::TestSystem() {
  std::string pattern = (fs::temp_directory_path() / "zelto-test-XXXXXX").string();
  root_ = ::mkdtemp(pattern.data());
  served_ = root_ / "served";
  mount_ = root_ / "mount";
  fs::create_directories(share());
  fs::create_directories(mount_);
  fs::create_directories(data());
  ::setenv("ZELTO_DATA_HOME", data().c_str(), 1);
  ::setenv("ZELTO_RUNTIME_DIR", (root_ / "run").c_str(), 1);
  ::setenv("XDG_CACHE_HOME", (root_ / "cache").c_str(), 1);
  ::setenv("LC_ALL", "C.UTF-8", 1);
  ::unsetenv("LANGUAGE");
  const std::string address = "unix:path=" + (root_ / "bus").string();
  daemon_ = Process({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + address},
                    root_ / "bus.log");
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  // The socket is there before anybody listens on it.
  EXPECT_TRUE(eventually([&] {
    if (auto connected = SessionBus::connect()) bus_ = *connected;
    return bus_ != nullptr;
  }));
}

TestSystem::~TestSystem() {
  if (::testing::Test::HasFailure()) {
    std::cerr << "extension: " << extensionErrors() << "\nhost: " << text(root_ / "host.err") << "\n";
  }
  bus_.reset();
  host_.signal(SIGCONT);
  EXPECT_EQ(host_.kill(SIGTERM), 0) << text(root_ / "host.err");
  extension_.signal(SIGCONT);
  extension_.signal(SIGTERM);
  int status = 0;
  if (extension_.running() && !extension_.waitForEnd(std::chrono::seconds(10), &status)) {
    ADD_FAILURE() << "the extension did not end: " << extensionErrors();
    extension_.kill(SIGKILL);
  }
  EXPECT_EQ(status, 0) << extensionErrors();
  while (isMounted(mount_) && ::umount2(mount_.c_str(), MNT_DETACH) == 0) {
  }
  daemon_.kill(SIGKILL);
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

void TestSystem::startHost(const std::vector<std::string>& flags) {
  std::vector<std::string> arguments{
      ZELTO_BINARIES "/zelto-host", "--folder", served_.string(), "--domain", kDomain, "--log",
      (root_ / "host.log").string()};
  arguments.insert(arguments.end(), flags.begin(), flags.end());
  host_ = Process(arguments, root_ / "host.err");
}

void TestSystem::launchExtension(const std::vector<std::string>& flags) {
  std::vector<std::string> arguments{ZELTO_BINARIES "/zelto-fileprovider", "--domain", kDomain, "--mount",
                                     mount_.string()};
  arguments.insert(arguments.end(), flags.begin(), flags.end());
  extension_ = Process(arguments, root_ / "extension.err");
}

void TestSystem::startExtension(const std::vector<std::string>& flags) {
  launchExtension(flags);
  const bool served = eventually([&] { return callManager("Status", "", {}).has_value(); });
  ASSERT_TRUE(served) << extensionErrors();
}

void TestSystem::waitUntilConnected() {
  const bool connected = eventually([&] {
    const NSDictionary state = status();
    const PropertyListValue* const value = state.find("hostConnected");
    return value != nullptr && value->asBoolean() != nullptr && *value->asBoolean();
  });
  ASSERT_TRUE(connected) << extensionErrors() << text(root_ / "host.err");
}

SessionBus& TestSystem::bus() {
  if (!bus_) {
    auto connected = SessionBus::connect();
    if (!connected) throw std::runtime_error(connected.error().localizedDescription());
    bus_ = *connected;
  }
  return *bus_;
}

std::expected<BusArguments, NSError> TestSystem::callManager(const std::string& method,
                                                             const std::string& signature,
                                                             BusArguments arguments) {
  return bus().callAndWait(
      {manager::busName(kDomain), manager::objectPath(kDomain), std::string(manager::kInterface)}, method,
      signature, std::move(arguments), kCallLimit);
}

std::expected<BusArguments, NSError> TestSystem::callHost(const std::string& method,
                                                          const std::string& signature,
                                                          BusArguments arguments) {
  return bus().callAndWait(
      {hostcontrol::busName(kDomain), hostcontrol::objectPath(kDomain), std::string(hostcontrol::kInterface)},
      method, signature, std::move(arguments), kCallLimit);
}

NSDictionary TestSystem::json(const std::expected<BusArguments, NSError>& reply) {
  if (!reply) return {};
  const auto value = NSJSONSerialization::valueWithString(std::get<std::string>(reply->at(0)));
  return value && value->asDictionary() != nullptr ? *value->asDictionary() : NSDictionary();
}

NSDictionary TestSystem::status() { return json(callManager("Status", "", {})); }
NSDictionary TestSystem::hostStatus() { return json(callHost("Status", "", {})); }
NSDictionary TestSystem::item(const fs::path& path) {
  return json(callManager("Item", "ay", {BusBytes{path.string()}}));
}

std::int64_t TestSystem::hostCalls(const std::string& operation) {
  const NSDictionary state = hostStatus();
  const PropertyListValue* const calls = state.find("calls");
  const PropertyListValue* const count = calls != nullptr ? calls->asDictionary()->find(operation) : nullptr;
  return count != nullptr ? count->integerValue() : 0;
}

std::int64_t TestSystem::hostBytes() {
  const NSDictionary state = hostStatus();
  const PropertyListValue* const bytes = state.find("bytesSent");
  return bytes != nullptr ? bytes->integerValue() : -1;
}

std::string TestSystem::hostLog() { return text(root_ / "host.log"); }
std::string TestSystem::extensionErrors() { return text(root_ / "extension.err"); }

void writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string readFile(const fs::path& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return "errno " + std::to_string(errno);
  std::string content;
  std::vector<char> buffer(1 << 20);
  ssize_t count = 0;
  while ((count = ::read(descriptor, buffer.data(), buffer.size())) > 0) {
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
  const int error = count < 0 ? errno : 0;
  ::close(descriptor);
  return error != 0 ? "errno " + std::to_string(error) : content;
}

std::vector<std::string> names(const fs::path& folder) {
  std::vector<std::string> all;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error))
    all.push_back(entry.path().filename().string());
  if (error) all.push_back("error: " + error.message());
  std::ranges::sort(all);
  return all;
}

bool holdsFileOfSize(const fs::path& folder, std::uintmax_t size) {
  std::error_code error;
  for (fs::recursive_directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    std::error_code gone;
    if (at->is_regular_file(gone) && at->file_size(gone) == size && !gone) return true;
  }
  return false;
}

std::string treeDifference(const fs::path& expected, const fs::path& actual) {
  const fs::file_status a = fs::symlink_status(expected);
  const fs::file_status b = fs::symlink_status(actual);
  if (a.type() != b.type()) return actual.string() + ": another type";
  if (fs::is_symlink(a)) {
    return fs::read_symlink(expected) == fs::read_symlink(actual) ? "" : actual.string() + ": another target";
  }
  if (fs::is_regular_file(a)) {
    if (fs::file_size(expected) != fs::file_size(actual)) return actual.string() + ": another size";
    return readFile(expected) == readFile(actual) ? "" : actual.string() + ": other content";
  }
  if (!fs::is_directory(a)) return "";
  const auto wanted = names(expected);
  if (wanted != names(actual)) return actual.string() + ": other names";
  for (const std::string& name : wanted) {
    if (auto difference = treeDifference(expected / name, actual / name); !difference.empty())
      return difference;
  }
  return "";
}

}  // namespace zelto::test
