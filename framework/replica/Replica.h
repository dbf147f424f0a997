#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/replica/ContentFile.h"
#include "framework/replica/ItemTraits.h"
#include "framework/replica/LocalChange.h"
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
  // What NodeInfo::traits stands for; null for nothing.
  virtual std::shared_ptr<const ItemTraits> traits(std::uint32_t number) = 0;

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
  // Local changes stay: what is not on the server yet is not removed, what was removed here does not come
  // back. `asked` is absent for a listing of just now. One of a folder that has another identifier by now
  // tells nothing: then only `toList` names it.
  virtual ReplicaDelta applyListing(Inode folder, const std::vector<NSFileProviderItemPtr>& items,
                                    const std::optional<Asked>& asked = {}) = 0;
  // Applies a change list: updates of items whose parent is known and listed (others are ignored),
  // deletions with all that is below. An item with another parent or name than before is moved.
  virtual ReplicaDelta applyChanges(const std::vector<NSFileProviderItemPtr>& updates,
                                    const std::vector<std::string>& deletedIdentifiers,
                                    const std::optional<Asked>& asked = {}) = 0;
  // Takes over a fresh record of one known item (as a download brings it).
  virtual ReplicaDelta applyItem(Inode inode, const NSFileProviderItemPtr& item,
                                 const std::optional<Asked>& asked = {}) = 0;

  // Whether the server has a node under this identifier, as far as is known, and no move of it or of a folder
  // above is on its way: else an answer about the identifier may be about another item, or about none.
  virtual bool isPlace(Inode inode, std::string_view identifier) = 0;
  // Runs `then` once the server has the node and no such move is on its way: mostly at once, else on the
  // thread that settles it. Dropped at the replica's end.
  virtual void whenPlaceIsKnown(Inode inode, std::move_only_function<void()> then) = 0;

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

  // ---- what programs change here: it shows at once, is noted durably against the end of this process before
  // the call returns, and is a local change until the server has taken it. ERRORS: errno values; nothing has
  // changed then. The folders must be listed (else EAGAIN) and may not do what the item's capabilities
  // forbid; the caller sees to both.
  struct Created {
    NodeInfo node;
    std::shared_ptr<ContentFile> content;  // of a file: empty, open for writing as by `beginWriting`
  };
  // ERRORS: ENOENT, ENOTDIR (no such folder), EEXIST, the disk's.
  virtual std::expected<Created, int> create(Inode folder, std::string_view name, const NewNode& what) = 0;
  // Puts a node at another place; what is there goes (a folder only when it is empty and replaced by one).
  // ERRORS: ENOENT, ENOTDIR, EISDIR, ENOTEMPTY, EINVAL (below itself), EEXIST (without `mayReplace`).
  virtual int rename(Inode inode, Inode folder, std::string_view name, bool mayReplace) = 0;
  // A file, a symbolic link or an empty folder. The bytes of an open file stay readable and writable by those
  // who have it open. ERRORS: ENOENT, ENOTEMPTY.
  virtual int remove(Inode inode) = 0;
  virtual int setAttributes(Inode inode, const LocalAttributes& attributes) = 0;
  // Absent: takes the attribute away (ENODATA when there is none).
  virtual int setExtendedAttribute(Inode inode, const std::string& name,
                                   const std::optional<std::string>& value) = 0;
  // The content, for writing to it (ContentFile::write, resize) until `endWriting`; a step that uploads it
  // waits for that. Without `truncate` it must be complete (else EAGAIN); with it, it is emptied.
  virtual std::expected<std::shared_ptr<ContentFile>, int> beginWriting(Inode inode, bool truncate) = 0;
  // The content was written to or resized: the node's size and date follow. Cheap; not durable by itself.
  virtual void written(Inode inode, const ContentFile& content) = 0;
  virtual void endWriting(Inode inode, const ContentFile& content) = 0;
  // BLOCKS: until all local changes noted so far are on the disk itself. ERRORS: the disk's.
  virtual int syncLocalChanges() = 0;

  // ---- bringing local changes to the server
  // Told of each node with a new or further local change, or one that may now be sent; on the thread that
  // made it, with no lock held. Set once, before the first change.
  virtual void setLocalChangeHandler(std::function<void(Inode)> handler) = 0;
  // All nodes with local changes, oldest first; also those that are gone here.
  virtual std::vector<Inode> localChanges() = 0;
  virtual std::optional<LocalChangeInfo> localChange(Inode inode) = 0;
  // The next step for a node. It counts as being taken until `settle` or `stepFailed`; there is at most one
  // for a node at a time. With `evenIfOpen` files open for writing are sent as they are.
  virtual std::expected<LocalStep, LocalWait> beginStep(Inode inode, bool evenIfOpen = false) = 0;
  // Puts the bytes for a creation or upload at a path on the replica's volume, and notes in the step which
  // state they are of. They do not change there by later writes. ERRORS: the disk's.
  virtual std::optional<NSError> exportContent(LocalStep& step, const std::string& path) = 0;
  // The server took the step; `item` is what it has now (null where it did not say). What was changed
  // meanwhile remains a local change.
  virtual ReplicaDelta settle(const LocalStep& step, const NSFileProviderItemPtr& item) = 0;
  // `refused`: the server is certain not to have taken it. Else it may have: what was sent without an answer
  // is noted, outlives the process, and what became of it is found out before anything else is asked for the
  // item.
  virtual void stepFailed(const LocalStep& step, bool refused = false) = 0;
  // The server's item and the local one go separate ways: the local one gets another name in its folder and
  // is created there if its content differs. Not while a step is being taken. ERRORS: ENOENT, EEXIST.
  virtual std::expected<ReplicaDelta, int> keepBoth(Inode inode, std::string_view newName) = 0;
  // The server does not have it any more: what is changed here will be created anew, the rest goes.
  virtual ReplicaDelta serverLost(Inode inode) = 0;
  // Gives a local change up: what was created here goes, anything else is again as the server has it. The
  // folders it stood in are to be listed again. Not while a step is being taken (EBUSY).
  virtual std::expected<ReplicaDelta, int> abandon(Inode inode) = 0;
  // A number that grows with every settled step; a listing or change list that was asked for at one is not
  // believed about what settled after it.
  virtual std::uint64_t settledSoFar() = 0;

  // BLOCKS: until everything learnt so far is in the database, or could not be written (tests, clean end).
  virtual void flush() = 0;
  // The end of this run: writes as `flush` and notes that it ended well. Everything may still be called by
  // threads that are at work; what they learn is not kept. BLOCKS: as `flush`.
  virtual void close() = 0;
};

}  // namespace zelto
