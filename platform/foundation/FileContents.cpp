#include "platform/foundation/FileContents.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {
namespace {

std::unexpected<std::string> reasonOf(int code) {
  return std::unexpected(std::system_category().message(code));
}

}  // namespace

std::expected<std::string, std::string> contentsOfFile(const std::string& path, std::size_t maximumBytes) {
  // Not blocking, since the path may name a pipe.
  const UniqueDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct ::stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return reasonOf(errno);
  if (!S_ISREG(status.st_mode)) return std::unexpected("it is not a file");
  if (static_cast<std::size_t>(status.st_size) > maximumBytes) return std::unexpected("it is too large");
  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t filled = 0;
  while (filled < contents.size()) {
    const ssize_t count = ::read(file.get(), contents.data() + filled, contents.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return reasonOf(errno);
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  contents.resize(filled);
  return contents;
}

}  // namespace zelto
