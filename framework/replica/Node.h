#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

// A node's number: given once, kept over restarts, never used again for another item.
using Inode = std::uint64_t;
inline constexpr Inode kRootInode = 1;

enum class NodeKind : std::uint8_t { file, folder, symlink };

// What the volume needs to know of an item, copied out of the replica in one go.
struct NodeInfo {
  Inode inode = 0;
  Inode parent = 0;
  NodeKind kind = NodeKind::file;
  bool listed = false;  // a folder whose children are known
  NSFileProviderItemCapabilities capabilities = NSFileProviderItemCapabilities::none;
  NSFileProviderFileSystemFlags flags = NSFileProviderFileSystemFlags::none;
  std::uint64_t size = 0;       // bytes; a symlink: the length of its target
  std::int64_t modifiedNs = 0;  // nanoseconds since 1970
  std::int64_t createdNs = 0;
  std::int64_t accessedNs = 0;
  std::uint16_t permissions = 0;   // the nine bits, where a program has set them; 0: as the item says
  bool local = false;              // has a local change
  std::uint64_t versionTag = 0;    // digest of the item's version: another tag, another content or metadata
  std::uint32_t contentEpoch = 0;  // how often this process saw the server replace the content
  std::uint32_t traits = 0;        // for Replica::traits
};

// What one listing or change list did to the replica; the volume tells the kernel.
struct ReplicaDelta {
  struct Name {
    Inode parent;
    Inode inode;
    std::string name;
    std::uint32_t contentEpoch = 0;
    NodeKind kind = NodeKind::file;
  };
  std::vector<Name> added;
  std::vector<Name> removed;           // the topmost node of each removed subtree
  std::vector<Inode> contentChanged;   // files whose version or size is another than before
  std::vector<Inode> metadataChanged;  // only dates, flags, capabilities or traits differ
  std::vector<Inode> toList;           // listed folders whose children may be others by now
  Inode firstListed = 0;               // the folder whose children were not known before
  std::vector<Inode> toSend;           // have become local changes by what the server said; told already

  bool empty() const {
    return added.empty() && removed.empty() && contentChanged.empty() && metadataChanged.empty() &&
           toList.empty();
  }
};

}  // namespace zelto
