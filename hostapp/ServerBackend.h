#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hostapp/Checkout.h"
#include "hostapp/ShareRecords.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSError.h"

namespace zelto {

enum class EntryKind : std::uint8_t { file = 0, folder = 1, symbolicLink = 2 };

// What the server says of one entry, of one moment.
struct EntryStat {
  EntryKind kind = EntryKind::file;
  bool writable = false;  // a file: its content can be replaced; a folder: entries can be added
  std::uint64_t size = 0;
  std::timespec modified{};
  std::timespec changed{};  // moves with every change of content or attributes
  std::uint64_t inode = 0;
  std::uint32_t checkout = 0;   // another value for another state of check-out
  bool keepsCheckouts = false;  // a file that can be checked out by who may write it
};

struct BackendEntry {
  std::string name;
  EntryStat stat;
  std::string linkTarget;                      // of a symbolic link
  std::shared_ptr<const Checkout> checkout{};  // of a file that is checked out
};

struct BackendListing {
  std::uint64_t inode = 0;  // the folder's own
  std::vector<BackendEntry> entries;
  std::vector<std::string> unusableNames;  // names that cannot be identifiers, as they are
};

// One opened file. It stays the same file when its path is given to another.
class BackendFile {
 public:
  virtual ~BackendFile() = default;
  // Fresh at every call.
  virtual std::expected<BackendEntry, NSError> stat() = 0;
  // Fewer bytes than asked only at the end of the file.
  virtual std::expected<std::size_t, NSError> readAt(std::span<std::byte> buffer, std::uint64_t offset) = 0;
  // Copies a stretch to the same offset of the descriptor. Fewer bytes than asked only at the end of the
  // file. Shares the blocks where the file system can.
  virtual std::expected<std::uint64_t, NSError> copyTo(int descriptor, std::uint64_t offset,
                                                       std::uint64_t length) = 0;
};

// Something happened in a watched folder.
struct FolderEvent {
  std::string folder;
  std::string name;   // "": the folder itself, or anything in it
  bool lost = false;  // events were lost: every watched folder may have changed
};

// A change that may take long, done step by step. Dropped before its end it leaves what it has changed so
// far: nothing, of an upload or a copy; of a removal, the entries that are still there.
// THREAD: one at a time. BLOCKS: on the server. REQUIRES: outlived by its backend.
class BackendWork {
 public:
  virtual ~BackendWork() = default;
  // Does a bounded piece. True when all is done; it is not called again then, nor after an error.
  virtual std::expected<bool, NSError> step() = 0;
  // False once the change shows and only has to be brought to its end.
  virtual bool canBeCancelled() const { return true; }

  struct Amount {
    std::uint64_t done = 0;
    std::uint64_t total = 0;
  };
  // Bytes, or entries of a removal, as far as they have been found.
  virtual Amount amount() const = 0;
  // The item as it is now, of an upload or a copy that is done: of the version that was brought, also when
  // somebody else has changed it since.
  virtual std::optional<BackendEntry> result() const { return std::nullopt; }
};

struct UploadRequest {
  std::string path;
  std::string source;  // a file of this machine that nobody else uses; it may be moved away
  bool creating = false;
  std::optional<NSDate> modified;  // now, where absent
  // The file as it was last seen: another one is not replaced (EBUSY); one that is gone is made anew.
  std::optional<EntryStat> seen;
};

// A server's shares and what lies in them. Paths are relative ("share/folder/file", "" for the folder of
// shares); their components are never empty, "." or "..". Nothing outside is ever reached, symbolic links
// are never followed.
// THREAD: any. BLOCKS: on the server. ERRORS: as in BackendErrors.h.
class ServerBackend {
 public:
  virtual ~ServerBackend() = default;

  virtual std::expected<BackendListing, NSError> list(const std::string& folder) = 0;
  virtual std::expected<BackendEntry, NSError> stat(const std::string& path) = 0;
  // The named entries of one folder, in the order of the names; nothing for what is not there.
  virtual std::expected<std::vector<std::optional<BackendEntry>>, NSError> statNames(
      const std::string& folder, const std::vector<std::string>& names) = 0;
  virtual std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) = 0;

  // Changes. Each shows in one step, or not at all; nothing that exists is overwritten unless said. Errors
  // are those of `writeError`. The folder that is changed has to be one that can be written.

  // The content under the path: instead of the file that is there, or, when creating, only where there is
  // nothing. What stood for the earlier file (permission bits, owner, extended attributes) stays. What
  // replaces a file is on disk before it does.
  virtual std::expected<std::unique_ptr<BackendWork>, NSError> upload(const UploadRequest& request) = 0;
  // ERRORS: also where there is a folder of that name already.
  virtual std::expected<BackendEntry, NSError> createFolder(const std::string& path) = 0;
  // A folder with all its content, from the inside out. The error names the entry that could not be removed.
  virtual std::expected<std::unique_ptr<BackendWork>, NSError> remove(const std::string& path) = 0;
  // ERRORS: `isOtherVolume` for a destination that only a copy reaches.
  virtual std::expected<BackendEntry, NSError> move(const std::string& path,
                                                    const std::string& destination) = 0;
  // Copies to the destination, then removes the original.
  virtual std::expected<std::unique_ptr<BackendWork>, NSError> moveByCopying(
      const std::string& path, const std::string& destination) = 0;

  // Where hosts keep what they have in common; null where this server cannot keep that.
  virtual std::shared_ptr<ShareRecords> records() { return nullptr; }

  // The handler runs on threads of the backend's own; an empty one ends the events and forgets the watches.
  // REQUIRES: no other call of the backend meanwhile.
  virtual void setChangeHandler(std::function<void(FolderEvent)> handler) = 0;
  // False when the folder cannot be watched (gone, or the system's limit is reached).
  virtual bool watch(const std::string& folder) = 0;
  virtual void unwatch(const std::string& folder) = 0;
};

}  // namespace zelto
