#pragma once

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zelto::test {

// A name that no program of ours owns.
inline constexpr const char* kTestName = "it.pellam.Zelto.Test";

// A message bus of the test's own in a folder of its own, and the environment that leads to it. Ends with
// the test, also when the test dies.
class PrivateBus {
 public:
  PrivateBus() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelto-bus-XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    ::setenv("ZELTO_RUNTIME_DIR", (folder_ + "/run").c_str(), 1);
    ::setenv("ZELTO_DATA_HOME", (folder_ + "/data").c_str(), 1);
    ::unsetenv("XDG_RUNTIME_DIR");
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    std::filesystem::create_directory(folder_ + "/run");
  }
  ~PrivateBus() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& folder() const { return folder_; }
  const std::string& address() const { return address_; }

  // Returns once the bus listens; DBUS_SESSION_BUS_ADDRESS names it from then on.
  void start() {
    int ends[2];
    ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
    process_ = ::fork();
    if (process_ == 0) runDaemon(ends[1]);
    ::close(ends[1]);
    char text[512];
    const ssize_t size = ::read(ends[0], text, sizeof text);
    ::close(ends[0]);
    ASSERT_GT(size, 0) << "dbus-daemon did not start";
    address_ = std::string(text, static_cast<std::size_t>(size));
    address_.resize(address_.find('\n'));
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }
  void stop() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  [[noreturn]] void runDaemon(int output) const {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(output, STDOUT_FILENO);
    const std::string address = "--address=unix:path=" + folder_ + "/bus";
    ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1",
             address.c_str(), nullptr);
    ::_exit(127);
  }

  std::string folder_;
  std::string address_;
  pid_t process_ = -1;
};

}  // namespace zelto::test
