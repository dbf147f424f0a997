#include "cli/DetachedProcess.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <unistd.h>

namespace zelto::cli {

namespace {

std::vector<std::string> environmentWith(const std::vector<std::string>& additions) {
  std::vector<std::string> result = additions;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const std::string_view name = text.substr(0, text.find('=') + 1);
    const auto replaces = [name](const std::string& addition) { return addition.starts_with(name); };
    if (std::ranges::none_of(additions, replaces)) result.emplace_back(text);
  }
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

class SpawnSettings {
 public:
  explicit SpawnSettings(const std::string& outputFile) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, outputFile.c_str(),
                                       O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    ::posix_spawn_file_actions_addchdir_np(&actions_, "/");
    sigset_t signals;
    ::posix_spawnattr_init(&attributes_);
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnSettings() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  const posix_spawn_file_actions_t* actions() const { return &actions_; }
  const posix_spawnattr_t* attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

}  // namespace

std::expected<ProcessIdentity, Failure> startDetached(const DetachedProcess& process) {
  std::vector<std::string> arguments{process.program};
  arguments.insert(arguments.end(), process.arguments.begin(), process.arguments.end());
  std::vector<std::string> environment = environmentWith(process.environment);
  const SpawnSettings settings(process.outputFile);
  pid_t pid = 0;
  const int error = ::posix_spawnp(&pid, process.program.c_str(), settings.actions(), settings.attributes(),
                                   pointers(arguments).data(), pointers(environment).data());
  if (error != 0) {
    return failure(ExitCode::failed, fmt::format("{} cannot be started (its output goes to {}): {}",
                                                 process.program, process.outputFile, std::strerror(error)));
  }
  return identityOf(pid).value_or(ProcessIdentity{pid, 0, ""});
}

std::string programFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? "." : program.parent_path().string();
}

}  // namespace zelto::cli
