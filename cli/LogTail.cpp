#include "cli/LogTail.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto::cli {

namespace {

constexpr off_t kBlock = 64 * 1024;
constexpr off_t kMostRead = 64L * 1024 * 1024;

UniqueDescriptor openFile(const std::string& path) {
  return UniqueDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

// The end of the file from some place before its last `count` lines.
std::string endOfFile(int file, std::size_t count) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return "";
  std::string text;
  off_t start = status.st_size;
  // One line end more than lines: the last line has one too.
  while (start > 0 && status.st_size - start < kMostRead &&
         static_cast<std::size_t>(std::ranges::count(text, '\n')) <= count) {
    const off_t size = std::min(kBlock, start);
    std::string block(static_cast<std::size_t>(size), '\0');
    if (::pread(file, block.data(), block.size(), start - size) != size) break;
    text.insert(0, block);
    start -= size;
  }
  return text;
}

// The file as it grows, and as it is replaced by a new one of the same name.
class GrowingFile {
 public:
  explicit GrowingFile(std::string path) : path_(std::move(path)), file_(openFile(path_)) {
    if (file_) position_ = ::lseek(file_.get(), 0, SEEK_END);
  }

  // False when the handler has had enough.
  bool handOver(const std::function<bool(std::string_view)>& handler) {
    reopenIfReplaced();
    char block[16384];
    ssize_t size = 0;
    while (file_ && (size = ::pread(file_.get(), block, sizeof block, position_)) > 0) {
      position_ += size;
      if (!handler({block, static_cast<std::size_t>(size)})) return false;
    }
    return true;
  }

 private:
  void reopenIfReplaced() {
    struct stat named {};
    struct stat open {};
    if (::stat(path_.c_str(), &named) != 0) return;
    const bool same = file_ && ::fstat(file_.get(), &open) == 0 && open.st_ino == named.st_ino;
    if (same && open.st_size >= position_) return;
    if (!same) file_ = openFile(path_);
    position_ = 0;
  }

  std::string path_;
  UniqueDescriptor file_;
  off_t position_ = 0;
};

}  // namespace

std::vector<std::string> lastLines(const std::string& path, std::size_t count) {
  const UniqueDescriptor file = openFile(path);
  if (!file || count == 0) return {};
  const std::string text = endOfFile(file.get(), count);
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  if (lines.size() > count) lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
  return lines;
}

Outcome followFile(const std::string& path, const std::function<bool(std::string_view)>& handler) {
  const std::string folder = std::filesystem::path(path).parent_path();
  const UniqueDescriptor watch(::inotify_init1(IN_CLOEXEC));
  constexpr std::uint32_t kEvents = IN_MODIFY | IN_CREATE | IN_MOVED_TO;
  if (!watch || ::inotify_add_watch(watch.get(), folder.c_str(), kEvents) < 0) {
    return failure(ExitCode::failed, fmt::format("{} cannot be watched: {}", folder, std::strerror(errno)));
  }
  GrowingFile file(path);
  char events[4096];
  while (file.handOver(handler)) {
    if (::read(watch.get(), events, sizeof events) < 0 && errno != EINTR) break;
  }
  return {};
}

}  // namespace zelto::cli
