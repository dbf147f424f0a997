#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/replica/Database.h"
#include "framework/replica/Journal.h"

namespace zelto {

// What is read from the database while it is being written behind.
// THREAD: any. BLOCKS: on the disk.
class ReplicaReader {
 public:
  ReplicaReader(Database database, bool anyOwnIdentifiers);

  // Calls `take` for each child of a folder, by ascending number. False when the database failed.
  bool children(Inode folder, const std::function<void(const NodeRow&)>& take);
  std::optional<Inode> parent(Inode inode);
  // Whether anything in the database has an identifier of its own, and who has this one.
  bool anyOwnIdentifiers() const { return anyOwnIdentifiers_; }
  std::optional<Inode> inodeForOwnIdentifier(std::string_view identifier);
  // The files with content below a folder.
  std::vector<Inode> contentsBelow(Inode folder);
  // False when not all could be read.
  bool contents(const std::function<void(const ContentRow&)>& take);

  enum class Text { version, symlinkTarget, attributes };
  std::string text(Inode inode, Text which);

 private:
  void readIdentifierDigests();

  std::mutex mutex_;
  Database database_;
  const bool anyOwnIdentifiers_;
  bool digestsRead_ = false;
  std::vector<std::uint64_t> identifierDigests_;  // sorted; most look-ups end here
  Statement children_;
  Statement parent_;
  Statement ownIdentifier_;
  Statement texts_;
};

}  // namespace zelto
