#pragma once

#include <expected>
#include <memory>
#include <optional>
#include <string>

#include "hostapp/HostModeState.h"
#include "hostapp/ItemDictionaries.h"
#include "hostapp/MarkedItems.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// Where an identifier leads.
struct ResolvedItem {
  std::string path;  // on the server
  std::string view;  // in which it is shown (KnownFolders.h)
};

// Identifiers, the paths on the server that they lead to, and the dictionaries of single items.
// THREAD: any. BLOCKS: on the server, where noted.
class ItemResolver {
 public:
  ItemResolver(std::shared_ptr<ServerBackend> backend, std::shared_ptr<MarkedItems> marks,
               std::shared_ptr<HostModeState> mode)
      : backend_(std::move(backend)), marks_(std::move(marks)), mode_(std::move(mode)) {}

  // A share, an item below one, or either below a bookmark or an offline item. Nothing for containers and
  // for what cannot be.
  std::optional<ResolvedItem> resolve(const std::string& identifier) const;
  // The same for what is to be made, changed or removed. ERRORS: refused for containers, shares, marks
  // themselves and offline files; a name that no item can have; no such item.
  std::expected<ResolvedItem, NSError> resolveForChange(const std::string& identifier) const;
  // What a path on the server is called in a view; nothing where the view does not show it any more.
  std::optional<std::string> identifier(const std::string& path, const std::string& view) const;

  // Fresh from the server. BLOCKS. ERRORS: no such item, and what the server says.
  std::expected<NSDictionary, NSError> dictionary(const std::string& identifier) const;
  // Of an entry that is at hand already. REQUIRES: an identifier of the area server, bookmark or offline.
  NSDictionary dictionaryOf(const std::string& identifier, const std::string& path,
                            const BackendEntry& entry) const;

 private:
  std::expected<NSDictionary, NSError> markedDictionary(const ServerPaths& paths,
                                                        const ServerPath& parsed) const;
  std::expected<NSDictionary, NSError> entryDictionary(const std::string& identifier) const;

  const std::shared_ptr<ServerBackend> backend_;
  const std::shared_ptr<MarkedItems> marks_;
  const std::shared_ptr<HostModeState> mode_;
};

}  // namespace zelto
