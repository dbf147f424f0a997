#include "cli/Mounts.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/Text.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto::cli {

namespace {

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> result;
  while (!line.empty()) {
    const std::size_t end = std::min(line.find(' '), line.size());
    if (end > 0) result.push_back(line.substr(0, end));
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  return result;
}

bool isOctal(std::string_view digits) {
  return digits.size() == 3 && digits.find_first_not_of("01234567") == std::string_view::npos;
}

// Blanks and backslashes are written as three octal digits.
std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\\' && isOctal(text.substr(at + 1, 3))) {
      result +=
          static_cast<char>((text[at + 1] - '0') * 64 + (text[at + 2] - '0') * 8 + (text[at + 3] - '0'));
      at += 3;
    } else {
      result += text[at];
    }
  }
  return result;
}

// "36 35 98:0 /root /point options [optional fields] - type source options"
std::optional<Mount> parseMount(std::string_view line) {
  const std::vector<std::string_view> fields = words(line);
  for (std::size_t at = 6; at + 2 < fields.size(); ++at) {
    if (fields[at] == "-") {
      return Mount{unescaped(fields[4]), unescaped(fields[at + 1]), unescaped(fields[at + 2])};
    }
  }
  return std::nullopt;
}

// Not its attributes: the kernel may remember those of a mount that is dead.
[[noreturn]] void answerBySelf(const char* path) {
  struct statfs status {};
  if (::statfs(path, &status) == 0) ::_exit(0);
  ::_exit(errno == ENOTCONN || errno == ECONNABORTED ? 1 : 2);
}

bool run(const std::vector<const char*>& command) {
  std::vector<char*> arguments;
  for (const char* word : command) arguments.push_back(const_cast<char*>(word));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  ::posix_spawn_file_actions_init(&quiet);
  ::posix_spawn_file_actions_addopen(&quiet, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int error = ::posix_spawnp(&pid, command[0], &quiet, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&quiet);
  int status = 0;
  return error == 0 && ::waitpid(pid, &status, 0) == pid && status == 0;
}

}  // namespace

std::vector<Mount> parseMounts(std::string_view mountInfo) {
  std::vector<Mount> mounts;
  while (!mountInfo.empty()) {
    const std::size_t end = std::min(mountInfo.find('\n'), mountInfo.size());
    if (auto mount = parseMount(mountInfo.substr(0, end))) mounts.push_back(std::move(*mount));
    mountInfo.remove_prefix(std::min(end + 1, mountInfo.size()));
  }
  return mounts;
}

std::optional<Mount> mountAt(const std::string& path) {
  std::ifstream file("/proc/self/mountinfo", std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::optional<Mount> found;
  for (Mount& mount : parseMounts(text)) {
    if (mount.point == path) found = std::move(mount);
  }
  return found;
}

MountAnswer askMount(const std::string& path, std::chrono::milliseconds limit) {
  const pid_t child = ::fork();
  if (child == 0) answerBySelf(path.c_str());
  if (child < 0) return MountAnswer::refuses;
  const UniqueDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  pollfd file{process.get(), POLLIN, 0};
  if (::poll(&file, 1, static_cast<int>(limit.count())) <= 0) {
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, WNOHANG);
    return MountAnswer::hangs;
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (status == 0) return MountAnswer::answers;
  return WIFEXITED(status) && WEXITSTATUS(status) == 1 ? MountAnswer::disconnected : MountAnswer::refuses;
}

Outcome unmount(const std::string& path) {
  const bool done =
      run({"fusermount3", "-u", "-z", "--", path.c_str()}) || ::umount2(path.c_str(), MNT_DETACH) == 0;
  if (done || !mountAt(path)) return {};
  return failure(ExitCode::failed,
                 fmt::format("The mount at {0} cannot be taken away. Try \"fusermount3 -u -z {1}\", "
                             "or as root \"umount -l {1}\".",
                             path, shellQuoted(path)));
}

}  // namespace zelto::cli
