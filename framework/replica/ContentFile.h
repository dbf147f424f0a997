#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "framework/replica/Node.h"
#include "framework/replica/RangeSet.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

class ContentStore;

// The local content of one version of one file: a sparse file and the ranges of it that are here. It
// never holds bytes of another version; when the item changes the store detaches it, and whoever still
// reads from it goes on reading that version's bytes or is told that it is stale.
// THREAD: any. OWNER: shared by the store (while it is current) and the open handles.
class ContentFile {
 public:
  Inode inode() const { return inode_; }
  std::uint64_t versionTag() const { return versionTag_; }
  std::uint64_t size() const { return size_; }
  // The sparse file, open for reading and writing. Valid for the life of this object.
  int descriptor() const { return descriptor_.get(); }
  // True once the item has another version or the content was evicted.
  bool detached() const { return detached_.load(std::memory_order_acquire); }

  bool covers(NSRange range) const;
  std::vector<NSRange> missing(NSRange range) const;
  bool complete() const;
  std::uint64_t materialisedBytes() const;
  std::vector<NSRange> ranges() const;

  // Takes over a file that the extension delivered, whole or with one range at its own offset: renamed
  // into place when nothing is here yet, else its range is copied (reflinked where the disk can). The
  // delivered file is gone afterwards in every case. Ranges count only after their bytes are in place.
  // A range beyond the size is cut. On a detached file the delivery is removed and ECANCELED returned.
  // BLOCKS: on the disk. ERRORS: the system's, as errno in the POSIX domain (ENOSPC, EIO).
  std::optional<NSError> takeOver(const std::string& deliveredPath, NSRange range);

 private:
  friend class ContentStore;
  ContentFile(ContentStore& store, Inode inode, std::uint64_t versionTag, std::uint64_t size)
      : store_(store), inode_(inode), versionTag_(versionTag), size_(size) {}

  ContentStore& store_;
  const Inode inode_;
  const std::uint64_t versionTag_;
  const std::uint64_t size_;
  std::string path_;
  UniqueDescriptor descriptor_;
  std::atomic<bool> detached_ = false;
  mutable std::mutex mutex_;  // guards ranges_
  std::mutex takeOverMutex_;  // one delivery at a time
  RangeSet ranges_;
};

}  // namespace zelto
