#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/replica/ByteRecord.h"
#include "framework/replica/NodeTable.h"

namespace zelto {

// A node as the database keeps it; the texts belong to whoever made the record.
struct NodeRow {
  Inode inode = 0;
  Inode parent = 0;
  bool listed = false;
  NodeFields fields;
  std::string_view name;
  std::string_view ownIdentifier;  // "" for none
  std::string_view version;        // the compact form; "" for none
  std::string_view symlinkTarget;
  std::string_view attributes;  // as ItemBatch writes them
};

// One file's content as the database keeps it.
struct ContentRow {
  Inode inode = 0;
  std::uint64_t generation = 0;
  std::uint64_t versionTag = 0;
  std::uint64_t size = 0;
  std::string_view ranges;
};

// What one call learnt, as a string of records in the order in which they happened. It is written as a
// whole or not at all.
class JournalChunk {
 public:
  void putNode(const NodeRow& row);
  void putListed(Inode folder);
  // The node has left its folder, and what is below goes with it; where it stands then a row says later in
  // the same chunk. Else a removal of that folder in between would take it along.
  void putDetached(Inode inode);
  // The node with all that is below; `items` and `folders` are what memory knew of that subtree.
  void putRemoval(Inode inode, std::uint64_t items, std::uint64_t folders);
  void putContent(const ContentRow& row);
  // Only the row of this generation.
  void putContentGone(Inode inode, std::uint64_t generation);
  // What the log of local changes calls by this number, and by the ones before, is in the database with this.
  void putSettled(std::uint64_t number);

  void reserve(std::size_t bytes) { bytes_.reserve(bytes); }
  std::size_t rows() const { return rows_; }
  bool empty() const { return rows_ == 0; }

  // Who applies a chunk. Each gives false to stop.
  class Reader {
   public:
    virtual ~Reader() = default;
    virtual bool node(const NodeRow& row) = 0;
    virtual bool listed(Inode folder) = 0;
    virtual bool detached(Inode inode) = 0;
    virtual bool removal(Inode inode, std::uint64_t items, std::uint64_t folders) = 0;
    virtual bool content(const ContentRow& row) = 0;
    virtual bool contentGone(Inode inode, std::uint64_t generation) = 0;
    virtual bool settled(std::uint64_t number) = 0;
  };
  bool read(Reader& reader) const;
  // The last row of this node in the chunk.
  std::optional<NodeRow> find(Inode inode) const;

 private:
  enum class Kind : std::uint32_t { node, listed, detached, removal, content, contentGone, settled };
  void begin(Kind kind, std::size_t bytes);
  static bool readOne(Kind kind, std::string_view record, Reader& reader);

  std::string bytes_;
  std::size_t rows_ = 0;
};

// The queue between whoever learns and the thread that writes.
// THREAD: any.
class Journal {
 public:
  using Chunk = std::shared_ptr<const JournalChunk>;
  explicit Journal(std::size_t rowLimit) : rowLimit_(rowLimit) {}

  // BLOCKS: while more rows wait than the limit and the disk takes them.
  void waitForRoom();
  // Takes a chunk in; nothing after `abandon`.
  void push(JournalChunk chunk);
  // Counts of the chunks ever taken in, and of those ever written or dropped.
  std::uint64_t pushedSoFar() const;
  std::uint64_t finishedSoFar() const;
  std::optional<NodeRow> find(Inode inode, Chunk& keepsAlive) const;

  // ---- the writer's side
  // Chunks to write, up to so many rows but at least one; they stay in the queue until `written`. None
  // when there are none and the end has come, or it was not to wait.
  enum class Wait { forWork, no };
  std::vector<Chunk> take(std::size_t rows, Wait wait);
  void written(std::size_t chunks);
  // The disk refuses: nobody waits for room until something is written again. Waits for the pause, a
  // flush or the end.
  void failed(std::chrono::milliseconds pause);
  // Nothing is taken in from now on, and what waits is dropped.
  void abandon();
  std::size_t queuedRows() const;
  // Called last, when nothing more will be written.
  void end();

  // ---- the end and flushing
  void stop();
  bool stopping() const;
  // BLOCKS: until all that is queued now is written, or an attempt after now has failed.
  void flush();

 private:
  const std::size_t rowLimit_;
  mutable std::mutex mutex_;
  std::condition_variable work_;   // for the writer
  std::condition_variable space_;  // for learners and flushes
  std::deque<Chunk> chunks_;
  std::size_t rows_ = 0;
  std::uint64_t pushed_ = 0;      // chunks ever taken in
  std::uint64_t finished_ = 0;    // chunks ever written or dropped
  std::uint64_t wakes_ = 0;       // flushes asked for
  std::uint64_t takenWake_ = 0;   // those asked for when the writer last took chunks
  std::uint64_t failedWake_ = 0;  // the same for its last attempt that failed
  bool failing_ = false;
  bool abandoned_ = false;
  bool stopping_ = false;
  bool ended_ = false;
};

}  // namespace zelto
