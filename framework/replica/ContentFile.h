#pragma once

#include <atomic>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
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
// reads from it goes on reading that version's bytes or is told that it is stale. Once a program writes to
// it, it is local: complete, and what it holds is the file's content until the server has taken it.
// THREAD: any. OWNER: the open handles; the store only remembers what is here.
class ContentFile {
 public:
  ~ContentFile();
  ContentFile(const ContentFile&) = delete;
  ContentFile& operator=(const ContentFile&) = delete;

  // The bytes for a write that have come, or the errno value why not.
  using WriteResult = std::expected<std::size_t, int>;

  Inode inode() const { return inode_; }
  std::uint64_t versionTag() const { return versionTag_.load(std::memory_order_acquire); }
  std::uint64_t size() const { return size_.load(std::memory_order_acquire); }
  // The sparse file, open for reading and writing; -1 while nothing is here. Once there is one it stays
  // the same for the life of this object.
  int descriptor() const { return descriptor_.load(std::memory_order_acquire); }
  // True once the item has another version or the content was evicted.
  bool detached() const { return detached_.load(); }

  bool covers(NSRange range) const;
  std::vector<NSRange> missing(NSRange range) const;
  bool complete() const;
  std::uint64_t materialisedBytes() const;
  std::vector<NSRange> ranges() const;

  // Takes over a file that the extension delivered, whole or with one range at its own offset: renamed
  // into place when nothing is here yet, else its range is copied (reflinked where the disk can). The
  // delivered file is gone afterwards in every case. Ranges count only after their bytes are in place.
  // A range beyond the size, or beyond what the delivered file holds, is cut. On a detached file the
  // delivery is removed and ECANCELED returned.
  // A delivery for a file that is written to here is dropped.
  // BLOCKS: on the disk. ERRORS: the system's, as errno in the POSIX domain (ENOSPC, EIO).
  std::optional<NSError> takeOver(const std::string& deliveredPath, NSRange range);

  // ---- writing, between Replica::beginWriting and endWriting
  // True once a program may have written to it; it is complete then and stays so.
  bool local() const { return local_.load(std::memory_order_acquire); }
  // Runs `write`, which writes at this offset of the descriptor that it is given. A copy that was handed over
  // for an upload stays as it is. BLOCKS: on the disk. ERRORS: the disk's.
  WriteResult write(std::uint64_t offset, const std::function<WriteResult(int descriptor)>& write);
  // Cuts or extends with zeros. ERRORS: errno values, 0 for none.
  int resize(std::uint64_t size);

 private:
  friend class ContentStore;
  ContentFile(std::shared_ptr<ContentStore> store, Inode inode, std::uint64_t generation,
              std::uint64_t versionTag, std::uint64_t size, RangeSet ranges);

  // The file of an earlier time. ERRORS: it is not there, or not of this size.
  std::optional<NSError> openKept();
  void detach() { detached_.store(true); }

  // ---- ContentFileWriting.cpp: for the store
  std::string ownPath() const;
  // Begins an empty local file. ERRORS: errno values, 0 for none.
  int beginLocal();
  // Turns what is here into the local file, emptied if it is not to be kept. ERRORS: EAGAIN when not all of
  // it is here; the disk's.
  int becomeLocal(bool keep);
  // The server has these bytes under this version; it is no local file any more once its file lies at `path`.
  void taken(std::uint64_t versionTag) { versionTag_.store(versionTag, std::memory_order_release); }
  int comeBack(const std::string& path);
  // Gives the bytes another name, or a copy where the disk has no second names.
  int exportTo(const std::string& path);
  int ownCopy();
  int replaceByCopy();

  NSRange cut(NSRange range, std::uint64_t delivered) const;
  int takeIn(const std::string& deliveredPath, NSRange range);
  int adopt(const std::string& deliveredPath);
  int makeEmpty();
  int keep(UniqueDescriptor file);
  int note(NSRange range);

  const std::shared_ptr<ContentStore> store_;
  const Inode inode_;
  std::atomic<std::uint64_t> generation_;
  std::atomic<std::uint64_t> versionTag_;
  std::atomic<std::uint64_t> size_;
  std::atomic<int> descriptor_ = -1;
  std::atomic<bool> detached_ = false;
  std::atomic<bool> local_ = false;
  std::atomic<bool> shared_ = false;  // its file may have a second name, whose bytes must not change
  std::shared_mutex writeMutex_;      // shared by writes, held alone by what they must not meet
  mutable std::mutex mutex_;          // guards ranges_
  std::mutex takeOverMutex_;          // one delivery at a time
  RangeSet ranges_;
};

}  // namespace zelto
