#include "framework/volume/StaleMount.h"

#include <cerrno>

#include <spawn.h>
#include <sys/mount.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zelto {
namespace {

bool isStale(const std::string& mountPoint) {
  // Not its attributes: the kernel may still remember those of a dead mount's root.
  struct statfs space {};
  return ::statfs(mountPoint.c_str(), &space) != 0 && (errno == ENOTCONN || errno == ECONNABORTED);
}

void unmountWithHelper(const std::string& mountPoint) {
  const char* arguments[] = {"fusermount3", "-u", "-z", "--", mountPoint.c_str(), nullptr};
  pid_t helper = 0;
  if (::posix_spawnp(&helper, arguments[0], nullptr, nullptr, const_cast<char**>(arguments), environ) != 0)
    return;
  while (::waitpid(helper, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

void clearStaleMount(const std::string& mountPoint) {
  // Several may lie one above the other, one for each process that was killed.
  for (int layer = 0; layer < 16 && isStale(mountPoint); ++layer) {
    if (::geteuid() == 0 && ::umount2(mountPoint.c_str(), MNT_DETACH) == 0) continue;
    unmountWithHelper(mountPoint);
  }
}

}  // namespace zelto
