#include <cerrno>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "model/FileProviderUtils.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

constexpr mode_t kNewFileMode = 0644;

NSError posixError(const char* reason) { return FileProviderErrorUtils::errorWithReason(reason, errno); }

// The file is closed before a failed write is judged: the error number is the one that stands after that.
std::optional<NSError> writeAt(const NSData& data, const std::string& path, std::int64_t fileOffset) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kNewFileMode);
  if (file < 0) return posixError("open error");
  if (::lseek(file, fileOffset, SEEK_SET) == -1) {
    auto error = posixError("seek error");
    ::close(file);
    return error;
  }
  const auto written = ::write(file, data.bytes().data(), data.size());
  const int closed = ::close(file);
  if (written < 0 || static_cast<std::size_t>(written) != data.size()) return posixError("write error");
  if (closed == -1) return posixError("close error");
  return std::nullopt;
}

}  // namespace

std::optional<NSError> FileProviderUtils::writeData(const NSData& data, const std::string& path,
                                                    std::int64_t fileOffset) {
  auto error = writeAt(data, path, fileOffset);
  if (error) {
    FileProviderLogger::instance().logError(
        fmt::format("FP[Write] Write failed for {}. Reason: {}", path, u_reason(*error)));
  }
  return error;
}

}  // namespace zelto
