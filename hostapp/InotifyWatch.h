#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "hostapp/ServerBackend.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// Watches folders through inotify and names what happened by the folders' paths. Its thread sleeps while
// nothing happens.
// THREAD: any.
class InotifyWatch {
 public:
  // `events`: which (IN_…); 0: every change in a folder.
  explicit InotifyWatch(std::function<void(FolderEvent)> handler, std::uint32_t events = 0);
  ~InotifyWatch();
  InotifyWatch(const InotifyWatch&) = delete;
  InotifyWatch& operator=(const InotifyWatch&) = delete;

  // The descriptor is open on the folder. The path takes over from an earlier folder of the same path.
  // False when the system refuses.
  bool add(const std::string& folder, int descriptor);
  void remove(const std::string& folder);

 private:
  void run();
  void readEvents();
  void deliver(int watch, std::uint32_t mask, const std::string& name);
  std::vector<std::string> foldersOf(int watch) const;
  void dropLocked(const std::string& folder);

  const std::function<void(FolderEvent)> handler_;
  const std::uint32_t events_;
  UniqueDescriptor inotify_;
  UniqueDescriptor stop_;
  mutable std::mutex mutex_;
  // One folder may be reached by two paths (bind mounts, a rename on the way), so a watch has several.
  std::unordered_map<int, std::vector<std::string>> foldersByWatch_;
  std::unordered_map<std::string, int> watchByFolder_;
  std::thread thread_;
};

}  // namespace zelto
