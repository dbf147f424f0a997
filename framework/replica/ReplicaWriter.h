#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "framework/replica/ContentStore.h"
#include "framework/replica/Database.h"
#include "framework/replica/ItemTraits.h"
#include "framework/replica/Journal.h"
#include "framework/replica/ReplicaHealth.h"
#include "framework/replica/ReplicaReader.h"
#include "framework/replica/VersionTemplates.h"

namespace zelto {

// The replica's own thread: reads in what contents there are, writes what is learnt in batches of one
// transaction, and in between clears away stray files. Asleep when there is nothing to do.
class ReplicaWriter final : private JournalChunk::Reader {
 public:
  // What the writer works for. OWNER: the replica; all outlive the writer.
  struct Surroundings {
    Journal& journal;
    ContentStore& contents;
    ReplicaReader& reader;
    VersionTemplates& templates;
    ItemTraitsPool& traits;
    ReplicaHealth& health;
    ReplicaCounters& counters;
    std::function<void()> written;  // called on the writer's thread after each batch
  };
  // Numbers from `nextInode` on are free, the first block of them is reserved.
  ReplicaWriter(Database database, const Surroundings& surroundings, std::uint64_t nextInode);
  // Writes what is outstanding, and that the end was a clean one; nothing is written after that.
  void finish();
  ~ReplicaWriter() override;

  // Gives the next free number. REQUIRES: `reserveInodes` with room for it.
  Inode nextInode() { return nextInode_++; }
  // Makes sure that so many numbers can be given. BLOCKS: once in about a million on the database.
  void reserveInodes(std::uint64_t count);

 private:
  void run();
  bool write(const std::vector<Journal::Chunk>& chunks);
  bool writeAll(const std::vector<Journal::Chunk>& chunks);
  bool writeTemplate();
  bool writeTraits();
  void failed(const std::string& reason, bool damaged);
  void removeGone();
  void end();

  bool node(const NodeRow& row) override;
  bool listed(Inode folder) override;
  bool detached(Inode inode) override;
  bool removal(Inode inode, std::uint64_t items, std::uint64_t folders) override;
  bool content(const ContentRow& row) override;
  bool contentGone(Inode inode, std::uint64_t generation) override;
  bool settled(std::uint64_t number) override;

  const Surroundings around_;
  std::mutex databaseMutex_;  // guards database_ and the statements
  Database database_;
  Statement putNode_, putListed_, putDetached_, below_, dropNode_, dropContents_, putContent_, dropContent_,
      putSettled_, putTraits_;
  bool templateWritten_;
  ItemTraitsPool::Number traitsWritten_;
  bool failing_ = false;
  std::chrono::milliseconds pause_;
  unsigned swept_ = 0;
  // Of the transaction at hand:
  bool templateInBatch_ = false;
  ItemTraitsPool::Number traitsInBatch_ = 0;
  std::vector<Inode> goneContents_;
  std::int64_t goneItems_ = 0, goneFolders_ = 0;
  std::atomic<std::uint64_t> nextInode_;
  std::atomic<std::uint64_t> reservedInodes_;
  std::thread thread_;
};

}  // namespace zelto
