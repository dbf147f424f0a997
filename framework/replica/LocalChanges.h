#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "framework/replica/LocalEntry.h"
#include "framework/replica/LocalLog.h"

namespace zelto {

// The local changes of a replica, in memory and in their log.
// THREAD: the owner locks.
class LocalChanges {
 public:
  explicit LocalChanges(std::string logPath) : log_(std::move(logPath)) {}

  // ---- at the start
  std::expected<std::vector<LocalEntry>, int> read() { return log_.read(); }
  // Takes what an earlier process left and is still of use, and begins the log anew; numbers go on after
  // `lastNumber`. ERRORS: errno values.
  int begin(std::vector<LocalEntry> entries, std::uint64_t lastNumber);

  // ---- looking
  bool empty() const { return entries_.empty(); }
  const LocalEntry* find(Inode inode) const;
  // The moved or removed node that the server has under this identifier, or soon will.
  const LocalEntry* elsewhereFor(std::string_view identifier) const;
  // The node that the server may have under this identifier by a request whose end is not known.
  const LocalEntry* attemptedAt(std::string_view identifier) const;
  // Some such node below a folder's identifier, or one that the server may have there; null for none.
  const LocalEntry* elsewhereBelow(std::string_view identifier) const;
  std::vector<Inode> oldestFirst() const;
  template <typename Visit>
  void forEach(const Visit& visit) const {
    for (const auto& [inode, entry] : entries_) visit(entry);
  }

  // ---- changing: first the log, then memory. ERRORS: errno values, 0 for none; nothing has changed then.
  struct Edit {
    std::vector<LocalEntry> put;
    std::vector<Inode> drop;
  };
  int apply(Edit edit);
  // What concerns this run only.
  LocalEntry* running(Inode inode);
  std::uint64_t nextNumber() { return nextNumber_++; }
  // The server is about to have the node under this identifier.
  void expectAs(Inode inode, const std::string& identifier);

  // Nothing of it is pending; the log keeps the entry until the database has this chunk.
  void forgetAfter(Inode inode, std::uint64_t chunk) { late_.insert_or_assign(inode, chunk); }
  // The entries of which that is true by now, and that have not changed again.
  std::vector<Inode> takeLate(std::uint64_t writtenChunks);

  UniqueDescriptor logDescriptor() const { return log_.duplicate(); }

  // ---- what settled lately, so that a listing asked for before is not believed about it
  std::uint64_t settledSoFar() const { return settled_; }
  void noteSettled(Inode inode, const std::string& identifier);
  bool settledSince(std::uint64_t asked, Inode inode) const;
  bool settledSince(std::uint64_t asked, std::string_view identifier) const;

 private:
  void place(LocalEntry entry);
  void forgetIdentifier(LocalEntry& entry);
  void erase(Inode inode);
  int rewriteWhenLong();

  LocalLog log_;
  std::unordered_map<Inode, LocalEntry> entries_;
  std::map<std::string, Inode, std::less<>> elsewhere_;  // by the server's identifier
  std::map<std::string, Inode, std::less<>> attempts_;   // by where the server may have it
  std::unordered_map<Inode, std::uint64_t> late_;        // by the chunk after which the log may forget them
  std::uint64_t nextNumber_ = 1;  // of changes by their age, and of what the database is told
  std::uint64_t settled_ = 0;
  std::unordered_map<Inode, std::uint64_t> settledNodes_;
  std::map<std::string, std::uint64_t, std::less<>> settledIdentifiers_;
};

}  // namespace zelto
