#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/replica/ContentFile.h"
#include "framework/replica/Node.h"
#include "platform/fileprovider/NSFileProviderItem.h"

namespace zelto {

// What a replica takes for granted unless it is told otherwise.
struct ReplicaOptions {
  // The number of this run of the system; the kernel's when absent.
  std::optional<std::string> bootId;
  // Above so many rows waiting to be written whoever learns waits too.
  std::size_t queuedRows = 500000;
};

// The durable replica of one domain: every item seen, with numbers that stay, and which bytes of which
// version are here. Reads are answered from memory (a folder's children are loaded from the database at
// the first need); what is learnt is written behind, in batches, by a thread of the replica's own.
// THREAD: any, unless said otherwise. Calls block on the database at most for loading one folder.
// A folder's children are replaced as a whole or not at all; a listing that was not yet written when the
// process died is simply asked for again.
class Replica {
 public:
  // Opens or makes the replica in a directory: replica.db and content/. A database of an unknown version
  // or a damaged one is set aside under another name and begun anew, with a line on standard error.
  // ERRORS: the directory cannot be used, another process holds it.
  static std::expected<std::unique_ptr<Replica>, NSError> open(const std::string& directory,
                                                               const ReplicaOptions& options = {});
  virtual ~Replica() = default;  // writes what is outstanding

  // ---- reading
  virtual std::optional<NodeInfo> node(Inode inode) = 0;

  enum class Presence { found, absent, unknown };  // unknown: the parent has not been listed
  struct LookupResult {
    Presence presence;
    NodeInfo node;  // when found
  };
  virtual LookupResult lookup(Inode parent, std::string_view name) = 0;

  // The children's numbers in a stable order; null when the folder has not been listed (or is none).
  // A snapshot: nodes in it may be gone by the time they are visited.
  virtual std::shared_ptr<const std::vector<Inode>> children(Inode folder) = 0;
  // Calls `visit(index, node, name)` for the snapshot's nodes from `first` on that still exist under this
  // folder, until it returns false. The lock is held during the visit: `visit` must be short and must not
  // call the replica.
  virtual void visit(
      Inode folder, const std::vector<Inode>& snapshot, std::size_t first,
      const std::function<bool(std::size_t, const NodeInfo&, std::string_view name)>& visit) = 0;

  // "" for a number that is not known. The root's identifier is the root container's.
  virtual std::string identifier(Inode inode) = 0;
  // The node's name in its folder; "" for a number that is not known.
  virtual std::string name(Inode inode) = 0;
  virtual std::optional<Inode> inodeForIdentifier(std::string_view identifier) = 0;
  // The node at a path relative to the root ("" is the root), as far as it is known; loads as it goes.
  virtual std::optional<Inode> inodeForRelativePath(std::string_view path) = 0;
  virtual std::string symlinkTarget(Inode inode) = 0;
  virtual std::vector<std::pair<std::string, std::string>> extendedAttributes(Inode inode) = 0;
  virtual std::optional<NSFileProviderItemVersion> version(Inode inode) = 0;

  struct Counts {
    std::uint64_t items, folders, materialisedFiles, materialisedBytes;  // the root is not counted
  };
  // What goes with a folder without ever having been loaded is counted until that is written.
  virtual Counts counts() = 0;

  // ---- learning
  // Replaces the children of a folder by a complete listing. Items that are there under the same
  // identifier keep their number and content. Items that cannot be shown (no identifier or name, a name
  // that is empty, ".", "..", over 255 bytes or holds "/" or NUL, a second one of the same name) are
  // left out with a line on standard error each (at most ten a listing, then their count).
  virtual ReplicaDelta applyListing(Inode folder, const std::vector<NSFileProviderItemPtr>& items) = 0;
  // Applies a change list: updates of items whose parent is known and listed (others are ignored),
  // deletions with all that is below. An item with another parent or name than before is moved.
  virtual ReplicaDelta applyChanges(const std::vector<NSFileProviderItemPtr>& updates,
                                    const std::vector<std::string>& deletedIdentifiers) = 0;
  // Takes over a fresh record of one known item (as a download brings it).
  virtual ReplicaDelta applyItem(Inode inode, const NSFileProviderItemPtr& item) = 0;

  // ---- content
  // The content of the file's present version, opened; one without bytes and without a descriptor when
  // there is none yet.
  // ERRORS: POSIX domain: ENOENT (no such file node), the disk's.
  virtual std::expected<std::shared_ptr<ContentFile>, NSError> content(Inode inode) = 0;
  // The bytes that are here, without opening anything.
  virtual std::vector<NSRange> materialisedRanges(Inode inode) = 0;
  // Detaches and removes the content of a file, or of every file below a folder; not of a file that is open
  // and not complete. Gives the bytes freed.
  virtual std::uint64_t evict(Inode inode) = 0;

  // BLOCKS: until everything learnt so far is in the database, or could not be written (tests, clean end).
  virtual void flush() = 0;
};

}  // namespace zelto
