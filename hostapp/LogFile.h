#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The log that extension and host write into, one line for each record. Records are written by a thread
// of their own, as many at a time as have gathered; it sleeps while there are none. At 16 MiB the file
// becomes "FILE.1" and a new one is begun. Records beyond 8 MiB that wait are dropped and counted.
// THREAD: any.
class LogFile {
 public:
  static constexpr std::uint64_t kLargestFile = 16ULL << 20;

  explicit LogFile(std::string path, std::uint64_t largestFile = kLargestFile);
  // Writes what is left.
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  const std::string& path() const { return path_; }
  void record(const std::string& date, const std::string& level, std::int32_t pid,
              const std::string& message);
  // A line of the host itself, of now.
  void info(const std::string& message) { own("INFO", message); }
  void warn(const std::string& message) { own("WARN", message); }
  // BLOCKS: until what was recorded before the call is in the file.
  void flush();

 private:
  void own(const std::string& level, const std::string& message);
  void write();
  void append(const std::string& lines);
  void openFile();

  const std::string path_;
  const std::uint64_t largestFile_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable written_;
  std::string waiting_;
  std::uint64_t dropped_ = 0;
  bool writing_ = false;
  int flushing_ = 0;
  bool stopping_ = false;
  // The thread's own.
  UniqueDescriptor file_;
  std::uint64_t size_ = 0;
  std::thread thread_;
};

// Line breaks and other control characters as escapes, so that a record stays one line.
std::string singleLine(const std::string& text);

}  // namespace zelto
