#include "framework/importing/ImportRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <expected>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zelto {
namespace {

constexpr std::size_t kLongestLine = 1 << 16;

struct Pipe {
  UniqueDescriptor reading, writing;

  static std::optional<Pipe> make() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
    return Pipe{UniqueDescriptor(ends[0]), UniqueDescriptor(ends[1])};
  }
};

// This program again, with other arguments and no signal blocked.
std::expected<pid_t, int> spawn(const std::vector<std::string>& arguments, int input, int output) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, "/proc/self/exe", &actions, &attributes, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) return std::unexpected(error);
  return pid;
}

int waitForEnd(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

std::string endText(int status) {
  if (WIFSIGNALED(status)) return std::string("ended by the signal ") + ::strsignal(WTERMSIG(status));
  return "exit code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Importer::Run::Run(std::uint64_t ticket, std::vector<std::string> arguments, std::string folder, Told told)
    : ticket_(ticket),
      arguments_(std::move(arguments)),
      folder_(std::move(folder)),
      told_(std::move(told)),
      thread_([this] { run(); }) {}

void Importer::Run::stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  input_ = UniqueDescriptor();
}

bool Importer::Run::isStopped() {
  const std::lock_guard lock(mutex_);
  return stopped_;
}

void Importer::Run::removeFolder() const {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void Importer::Run::run() {
  removeFolder();
  if (arguments_.empty()) {
    ended_ = true;
    return;
  }
  if (const int error = begin(); error != 0) {
    return finish(std::string("the import's process cannot be started: ") + std::strerror(error));
  }
  follow();
  // Whatever is left of it: it does nothing more without a listener.
  ::kill(pid_, SIGKILL);
  const int status = waitForEnd(pid_);
  removeFolder();
  if (last_.finished) return finish(last_.error);
  finish(isStopped() ? "the import was stopped" : "the import has ended unexpectedly: " + endText(status));
}

int Importer::Run::begin() {
  auto input = Pipe::make();
  auto output = Pipe::make();
  if (!input || !output) return errno;
  const std::lock_guard lock(mutex_);
  if (stopped_) return ECANCELED;
  const auto pid = spawn(arguments_, input->reading.get(), output->writing.get());
  if (!pid) return pid.error();
  pid_ = *pid;
  input_ = std::move(input->writing);
  output_ = std::move(output->reading);
  return 0;
}

void Importer::Run::follow() {
  std::string pending;
  while (!last_.finished && pending.size() <= kLongestLine) {
    std::array<char, 4096> block{};
    const ssize_t count = ::read(output_.get(), block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    pending.append(block.data(), static_cast<std::size_t>(count));
    for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
      take(pending.substr(0, end));
      pending.erase(0, end + 1);
    }
  }
}

void Importer::Run::take(const std::string& line) {
  auto report = ImportReport::ofLine(line);
  if (!report || last_.finished) return;
  last_ = *std::move(report);
  // The end is told when nothing is left of the process.
  if (!last_.finished) told_(last_);
}

void Importer::Run::finish(std::string error) {
  last_.finished = true;
  last_.message.clear();
  last_.error = std::move(error);
  ended_ = true;
  told_(last_);
}

}  // namespace zelto
