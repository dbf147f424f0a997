#pragma once

#include <memory>
#include <string>

#include "hostapp/ChangePublisher.h"
#include "hostapp/ItemResolver.h"

namespace zelto {

// Adds and removes bookmarks and offline items by identifier, and publishes what that changes. An
// identifier of the bookmarks or offline-files container stands for the item behind it.
// THREAD: any. BLOCKS: on the server. ERRORS: no such item. Doing what is done already is no error.
class MarkActions {
 public:
  MarkActions(std::shared_ptr<ServerBackend> backend, std::shared_ptr<MarkedItems> marks,
              std::shared_ptr<ItemResolver> resolver, std::shared_ptr<ChangePublisher> publisher,
              std::shared_ptr<FolderWatcher> watcher)
      : backend_(std::move(backend)),
        marks_(std::move(marks)),
        resolver_(std::move(resolver)),
        publisher_(std::move(publisher)),
        watcher_(std::move(watcher)) {}

  std::optional<NSError> add(MarkKind kind, const std::string& identifier);
  std::optional<NSError> remove(MarkKind kind, const std::string& identifier);

  // This host itself has moved or removed an item, by its path on the server: its marks and those below it go
  // along.
  void itemMoved(const std::string& from, const std::string& to);
  void itemRemoved(const std::string& path);

 private:
  const std::shared_ptr<ServerBackend> backend_;
  const std::shared_ptr<MarkedItems> marks_;
  const std::shared_ptr<ItemResolver> resolver_;
  const std::shared_ptr<ChangePublisher> publisher_;
  const std::shared_ptr<FolderWatcher> watcher_;
};

}  // namespace zelto
