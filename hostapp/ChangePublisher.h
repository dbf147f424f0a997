#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "hostapp/ChangeJournal.h"
#include "hostapp/FolderWatcher.h"
#include "hostapp/ItemResolver.h"

namespace zelto {

// Turns changes on the server and of the marks into entries of the journal, and tells that there are some.
// THREAD: any.
class ChangePublisher {
 public:
  // `changesWaiting` is called after each addition to the journal, on the adding thread.
  ChangePublisher(std::shared_ptr<ItemResolver> resolver, std::shared_ptr<MarkedItems> marks,
                  std::shared_ptr<HostModeState> mode, std::shared_ptr<ChangeJournal> journal,
                  std::function<void()> changesWaiting);

  void pathsChanged(const std::vector<PathChange>& changes);
  // A bookmark or offline item was added or removed.
  void markChanged(const MarkedItem& item, bool added);
  // Its item has another path now.
  void markMoved(const MovedMark& move);
  // The root shows other items now. BLOCKS: on the server.
  void modeChanged(const std::vector<std::string>& oldRootChildren,
                   const std::vector<std::string>& newRootChildren);

 private:
  void publish(const std::vector<StoredChange>& changes);
  void addMarks(const PathChange& change, std::vector<StoredChange>& entries) const;
  std::vector<StoredChange> placesOf(const std::string& path) const;
  bool shows(MarkKind kind) const;
  std::string containerItem(const MarkedItem& item) const;

  const std::shared_ptr<ItemResolver> resolver_;
  const std::shared_ptr<MarkedItems> marks_;
  const std::shared_ptr<HostModeState> mode_;
  const std::shared_ptr<ChangeJournal> journal_;
  const std::function<void()> changesWaiting_;
};

}  // namespace zelto
