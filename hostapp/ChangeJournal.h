#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hostapp/HostStore.h"

namespace zelto {

// The changes that the extension has not taken yet, one for each identifier, in the store as well. What
// has been handed out stays until the same connection asks again, since only that says that it arrived;
// another connection gets it once more.
// THREAD: any.
class ChangeJournal {
 public:
  explicit ChangeJournal(std::shared_ptr<HostStore> store);

  void add(const std::vector<StoredChange>& changes);
  // Forgets everything and begins with these.
  void replaceAll(const std::vector<StoredChange>& changes);

  struct Batch {
    std::vector<StoredChange> changes;  // in the order of the identifiers: parents come first
    bool more = false;                  // there are others that have not been handed out
  };
  Batch handOut(std::uint64_t connection, std::size_t limit);
  std::size_t size() const;

 private:
  struct Entry {
    std::optional<ChangeKind> taken;    // handed out, not known to have arrived
    std::optional<ChangeKind> waiting;  // since then
    ChangeKind whole() const;
  };

  std::vector<std::string> settleTakenLocked(bool arrived);

  const std::shared_ptr<HostStore> store_;
  mutable std::mutex mutex_;
  std::mutex writing_;  // keeps the store's order the same as the memory's
  std::map<std::string, Entry> entries_;
  std::uint64_t connection_ = 0;
};

}  // namespace zelto
