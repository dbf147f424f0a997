#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/replica/ContentFile.h"
#include "framework/replica/Journal.h"

namespace zelto {

// Which contents are here, and the files that hold them: content/XX/INODE-GENERATION, where XX is the
// low byte of the inode in hexadecimal. A generation is never used twice, so that a row that outlives its
// file cannot speak for another file.
// THREAD: any. Calls wait until what the database knows has been read in.
class ContentStore : public std::enable_shared_from_this<ContentStore> {
 public:
  // OWNER: the journal is shared; files in use keep the store alive beyond the replica's end.
  ContentStore(std::string directory, std::string localDirectory, std::uint64_t session,
               std::shared_ptr<Journal> journal);

  // Called once, by the replica's own thread, before it writes anything.
  void readIn(const std::function<void(const std::function<void(const ContentRow&)>&)>& rows);

  // The content of a file's present version; another version's is detached. No disk work: see `opened`.
  std::shared_ptr<ContentFile> file(Inode inode, std::uint64_t versionTag, std::uint64_t size);
  // Opens what is there from an earlier time. Null when its file is gone: it is forgotten then.
  // ERRORS: the system's, where nothing says that the file is gone (no descriptor is left, say).
  std::expected<std::shared_ptr<ContentFile>, NSError> opened(std::shared_ptr<ContentFile> file);
  std::vector<NSRange> ranges(Inode inode, std::uint64_t versionTag, std::uint64_t size);

  // ---- contents that programs write to: local/INODE, until the server has them
  // A new file's. ERRORS: errno values.
  std::expected<std::shared_ptr<ContentFile>, int> makeLocal(Inode inode);
  // Turns the content into a local one; as ContentFile::becomeLocal.
  int becomeLocal(const std::shared_ptr<ContentFile>& file, bool keep);
  // A local content that an earlier process left. False when its file is not there.
  bool findLocal(Inode inode, std::uint64_t versionTag);
  // Its size, and its date where that is the newer knowledge.
  void localAttributes(Inode inode, NodeFields& fields, bool withDate) const;
  // The server has these bytes now, as this version.
  void taken(Inode inode, std::uint64_t versionTag, std::uint64_t size);
  // What was taken lies with the others from now on. BLOCKS: on the disk.
  void comeBack(Inode inode);
  // ERRORS: errno values, 0 for none.
  int exportTo(Inode inode, const std::string& path);
  // Removes every file of local contents but these.
  void sweepLocal(const std::function<bool(Inode)>& isKnown);

  // Forgets a content, and gives the path of its file for the caller to remove once it holds no lock.
  struct Removed {
    std::string path;
    std::uint64_t bytes;
    std::shared_ptr<ContentFile> live;  // may be the last holder: destroyed outside the store's lock
  };
  std::optional<Removed> remove(Inode inode);
  // The same, but for local ones: what the database knew of such a content is older.
  std::optional<Removed> removeFetched(Inode inode);
  // The same, but for a content that is open and not complete: its reader would lose what is still to come.
  std::optional<Removed> evict(Inode inode);

  struct Totals {
    std::uint64_t files, bytes;
  };
  Totals totals();
  // True once anything was written since the start.
  bool wroteAny() const { return wroteAny_.load(); }

  // Removes files that nothing knows of from one of the 256 folders, and forgets contents whose file is
  // gone. BLOCKS: on the disk.
  void sweep(unsigned folder);
  // BLOCKS: until the contents' bytes are on the disk.
  void sync() const;

 private:
  friend class ContentFile;

  struct Record {
    std::uint64_t generation = 0;
    std::uint64_t versionTag = 0;
    std::uint64_t size = 0;
    std::uint64_t bytes = 0;
    std::string ranges;
    std::weak_ptr<ContentFile> live;
    bool local = false;
  };
  using Records = std::unordered_map<Inode, Record>;

  std::string folderPath(unsigned folder) const;
  std::string path(Inode inode, std::uint64_t generation) const;
  std::string localPath(Inode inode) const { return localDirectory_ + "/" + std::to_string(inode); }
  std::shared_ptr<ContentFile> liveOrMade(Inode inode, Record& record);
  // The same, with its folder made.
  std::string madePath(Inode inode, std::uint64_t generation) const;
  void learn(const ContentRow& row);
  void waitUntilRead(std::unique_lock<std::mutex>& lock);
  std::optional<Removed> removeLocked(Records::iterator at);
  // What a file has now, after more of it came.
  void record(const ContentFile& file, const RangeSet& ranges);
  // A file object is gone; without bytes it leaves no record behind.
  void released(const ContentFile& file);
  bool fromThisSession(std::uint64_t generation) const { return generation >> 32 == session_; }
  std::vector<std::pair<Inode, std::uint64_t>> keptBefore(unsigned folder) const;
  void forgetIfStill(Inode inode, std::uint64_t generation);

  const std::string directory_;
  const std::string localDirectory_;
  const std::uint64_t session_;
  const std::shared_ptr<Journal> journal_;
  std::atomic<bool> wroteAny_ = false;
  mutable std::mutex mutex_;
  std::condition_variable read_;
  bool isRead_ = false;
  std::uint64_t nextGeneration_;
  std::uint64_t totalBytes_ = 0;
  Records records_;
};

}  // namespace zelto
