#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "host/ZeltoFileProviderServerInterface.h"
#include "hostapp/FolderWatcher.h"
#include "hostapp/ItemResolver.h"
#include "hostapp/LogFile.h"

namespace zelto {

// The listings of all containers and folders. What has been listed is watched from then on.
// THREAD: any. BLOCKS: on the server. A folder that cannot be read lists nothing; the log says why.
class Listings {
 public:
  struct Parts {
    std::shared_ptr<ServerBackend> backend;
    std::shared_ptr<MarkedItems> marks;
    std::shared_ptr<HostModeState> mode;
    std::shared_ptr<ItemResolver> resolver;
    std::shared_ptr<FolderWatcher> watcher;
    std::shared_ptr<LogFile> log;
  };
  explicit Listings(Parts parts) : parts_(std::move(parts)) {}

  DictionaryList shares();
  DictionaryList bookmarks();
  DictionaryList offlineFiles();
  // A folder's entries, below the shares, a bookmark or an offline item; also any of the containers.
  DictionaryList directory(const std::string& identifier);
  // The identifiers that the root shows.
  std::vector<std::string> rootChildren();

 private:
  DictionaryList rootItems();
  DictionaryList folder(const std::string& identifier, const ResolvedItem& item);
  DictionaryList marked(MarkKind kind, const std::string& container);
  void complain(const std::string& folder, const std::vector<std::string>& names);
  void watchParents(const std::vector<MarkedItem>& items);

  const Parts parts_;
  std::mutex mutex_;
  std::set<std::string> complained_;
};

}  // namespace zelto
