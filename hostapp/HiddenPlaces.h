#pragma once

#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The folders of the server in which this host has made hidden entries (TemporaryName.h), in a file, so that
// what a killed host has left is found at the next start, also where nobody ever lists. One small write for
// the first entry in a folder, none for the next ones. A kill does not take the record, a loss of power may.
// THREAD: any. BLOCKS: on the disk.
class HiddenPlaces {
 public:
  // Without a path, or where the file cannot be written, nothing outlives the process.
  explicit HiddenPlaces(std::string path = {});

  // REQUIRES: called before the entry is made.
  void note(const std::string& folder);
  // What is noted at and below the old path may soon be found below the new one. REQUIRES: called before the
  // folder is moved.
  void noteMove(const std::string& from, const std::string& to);
  // The folder has been moved: nothing is at the old path any more. What is made there later is noted anew.
  void moved(const std::string& from);

  // What earlier runs have noted.
  std::vector<std::string> earlier();
  // Those have been looked at, but for the ones that are to be looked at again at the next start.
  void cleaned(const std::vector<std::string>& remaining);
  // This run leaves nothing behind. REQUIRES: every entry that it has made is gone.
  void end();

 private:
  void noteLocked(const std::string& folder);
  void rewriteLocked(const std::vector<std::string>& folders);
  void shortenLocked();

  const std::string path_;
  std::mutex mutex_;
  UniqueDescriptor file_;
  std::vector<std::string> earlier_;
  std::set<std::string> noted_;  // in this run
  std::size_t written_ = 0;      // bytes in the file
  std::size_t shortenAt_;        // so many bytes
};

}  // namespace zelto
