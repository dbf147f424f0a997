#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

#include "framework/importing/Importer.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// One import's process, followed by a thread to its end.
class Importer::Run {
 public:
  // Without arguments for a process only the folder is removed.
  Run(std::uint64_t ticket, std::vector<std::string> arguments, std::string folder, Told told);
  // BLOCKS: until the process is gone.
  ~Run() { stop(); }

  std::uint64_t ticket() const { return ticket_; }
  // From the last report on.
  bool ended() const { return ended_; }
  // The process ends when its standard input is closed.
  void stop();

 private:
  void run();
  // ERRORS: errno values.
  int begin();
  void follow();
  void take(const std::string& line);
  void finish(std::string error);
  void removeFolder() const;
  bool isStopped();

  const std::uint64_t ticket_;
  const std::vector<std::string> arguments_;
  const std::string folder_;
  const Told told_;
  std::atomic<bool> ended_ = false;
  std::mutex mutex_;
  UniqueDescriptor input_;  // guarded by the mutex, as is the next one
  bool stopped_ = false;
  UniqueDescriptor output_;  // the thread's alone, as is what follows
  pid_t pid_ = 0;
  ImportReport last_;
  std::jthread thread_;  // the last one: it uses the others
};

}  // namespace zelto
