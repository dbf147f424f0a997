#include "cli/RuntimeLock.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platform/foundation/NSFileManager.h"

namespace zelto::cli {

namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::milliseconds kPause{50};

}  // namespace

// The lock is on the directory itself, so that it leaves no file. `down` removes the directory: whoever
// waited then holds the lock of something that is gone, and takes the new one.
std::expected<RuntimeLock, Failure> RuntimeLock::take() {
  const auto latest = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < latest) {
    const std::string path = runtimeDirectory();
    UniqueDescriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
      return failure(
          ExitCode::failed,
          fmt::format("The runtime directory {} cannot be used: {}. Set ZELTO_RUNTIME_DIR to another one.",
                      path, std::strerror(errno)));
    }
    struct stat status {};
    const bool locked = ::flock(directory.get(), LOCK_EX | LOCK_NB) == 0;
    if (locked && ::fstat(directory.get(), &status) == 0 && status.st_nlink > 0) {
      return RuntimeLock(std::move(directory));
    }
    if (!locked) std::this_thread::sleep_for(kPause);
  }
  return failure(ExitCode::timedOut, "Another \"up\" or \"down\" is at work and does not end.");
}

}  // namespace zelto::cli
