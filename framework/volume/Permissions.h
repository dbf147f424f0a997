#pragma once

#include <string_view>

#include <sys/types.h>

#include "framework/replica/Replica.h"

namespace zelto {

// What the server allows with an item, asked before anything is changed, so that a program hears of it at
// the call and not when the change is brought to the server. Each gives 0 or an errno value.
// THREAD: any.
class Permissions {
 public:
  explicit Permissions(Replica& replica) : replica_(replica) {}

  // Making a file, folder or link in a folder, or moving one there.
  int toAddTo(const NodeInfo& folder) const;
  // The content, dates, mode and attributes of a node.
  int toChange(const NodeInfo& node) const;
  int toRemove(const NodeInfo& node) const;
  // `renamed`: to another name. `moved`: to another folder.
  int toMove(const NodeInfo& node, bool renamed, bool moved) const;
  // Putting another node in the place of this one.
  int toReplace(const NodeInfo& node) const;

 private:
  bool allows(const NodeInfo& node, NSFileProviderItemCapabilities capability) const;
  // Whether the folder it lies in may be changed.
  bool folderAllows(const NodeInfo& node) const;

  Replica& replica_;
};

// Whether the folder can have a child of this name; `identifier` is the folder's.
// ERRORS: ENAMETOOLONG, EILSEQ (the server takes well-formed UTF-8 only), EINVAL (also for what is kept for
// files on their way).
int errnoForName(std::string_view identifier, std::string_view name);

// The type and mode that programs see.
mode_t modeOf(const NodeInfo& node);

}  // namespace zelto
