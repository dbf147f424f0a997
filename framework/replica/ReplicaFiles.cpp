#include "framework/replica/ReplicaFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace zelto {

NSError posixError(const std::string& what, int code) {
  return errorWithPOSIXCode(code, what + ": " + std::strerror(code));
}

void reportLine(const std::string& line) { std::fprintf(stderr, "replica: %s\n", line.c_str()); }

std::optional<NSError> ReplicaFiles::make() const {
  std::error_code failure;
  std::filesystem::create_directories(directory, failure);
  if (!failure) std::filesystem::create_directory(content(), failure);
  if (!failure) std::filesystem::create_directory(local(), failure);
  if (failure) return posixError(content(), failure.value());
  // The names of a user's files are nobody else's business.
  if (::chmod(directory.c_str(), 0700) != 0) return posixError(directory, errno);
  return {};
}

std::expected<UniqueDescriptor, NSError> ReplicaFiles::lockForThisProcess() const {
  UniqueDescriptor file(::open(lock().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!file) return std::unexpected(posixError(lock(), errno));
  if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0) return file;
  if (errno != EWOULDBLOCK) return std::unexpected(posixError(lock(), errno));
  return std::unexpected(errorWithPOSIXCode(EBUSY, directory + ": another process holds this replica"));
}

void ReplicaFiles::setDatabaseAside() const {
  for (const char* part : {"", "-wal", "-shm"}) {
    const std::string from = database() + part;
    const std::string to = database() + ".damaged" + part;
    // A log left beside the next database would be taken for its own.
    if (::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) ::unlink(from.c_str());
  }
}

std::string currentBootId() {
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::string id;
  std::getline(file, id);
  return id;
}

}  // namespace zelto
