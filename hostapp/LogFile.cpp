#include "hostapp/LogFile.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <fmt/format.h>
#include <pthread.h>
#include <sys/stat.h>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSDateFormatter.h"

namespace zelto {

namespace {

constexpr std::chrono::milliseconds kLinger{20};
constexpr std::size_t kMostWaiting = 8U << 20;

std::string stampOfNow() {
  static const NSDateFormatter formatter("yyyy-MM-dd HH:mm:ss:SSSZZZ");
  return formatter.stringFromDate(NSDate::now());
}

}  // namespace

std::string singleLine(const std::string& text) {
  std::string line;
  line.reserve(text.size());
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\\') {
      line += "\\\\";
    } else if (code < 0x20 || code == 0x7F) {
      line += fmt::format("\\x{:02x}", code);
    } else {
      line += c;
    }
  }
  return line;
}

LogFile::LogFile(std::string path, std::uint64_t largestFile)
    : path_(std::move(path)), largestFile_(largestFile) {
  thread_ = std::thread([this] { write(); });
}

LogFile::~LogFile() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void LogFile::own(const std::string& level, const std::string& message) {
  record(stampOfNow(), level, ::getpid(), message);
}

void LogFile::record(const std::string& date, const std::string& level, std::int32_t pid,
                     const std::string& message) {
  auto line = fmt::format("{} {} [{}] {}\n", singleLine(date), singleLine(level), pid, singleLine(message));
  const std::lock_guard lock(mutex_);
  if (waiting_.size() + line.size() > kMostWaiting) {
    ++dropped_;
    return;
  }
  const bool first = waiting_.empty();
  waiting_ += line;
  if (first) wake_.notify_one();
}

void LogFile::flush() {
  std::unique_lock lock(mutex_);
  ++flushing_;
  wake_.notify_one();
  written_.wait(lock, [this] { return waiting_.empty() && !writing_; });
  --flushing_;
}

void LogFile::write() {
  ::pthread_setname_np(::pthread_self(), "host.log");
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    // Records come in bursts: one write for each burst.
    wake_.wait_for(lock, kLinger, [this] { return stopping_ || flushing_ > 0; });
    std::string lines;
    lines.swap(waiting_);
    if (const auto dropped = std::exchange(dropped_, 0); dropped > 0) {
      lines += fmt::format("({} records were dropped)\n", dropped);
    }
    writing_ = true;
    lock.unlock();
    append(lines);
    lock.lock();
    writing_ = false;
    written_.notify_all();
  }
}

void LogFile::openFile() {
  file_.reset(::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600));
  struct stat status {};
  size_ = file_ && ::fstat(file_.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void LogFile::append(const std::string& lines) {
  if (!file_) openFile();
  if (file_ && size_ > 0 && size_ + lines.size() > largestFile_) {
    ::rename(path_.c_str(), (path_ + ".1").c_str());
    openFile();
  }
  // A log that cannot be written is lost: there is nobody to tell.
  std::size_t done = 0;
  while (file_ && done < lines.size()) {
    const ssize_t count = ::write(file_.get(), lines.data() + done, lines.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) break;
    done += static_cast<std::size_t>(count);
  }
  size_ += done;
}

}  // namespace zelto
