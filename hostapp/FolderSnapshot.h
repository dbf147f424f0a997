#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostapp/ServerBackend.h"

namespace zelto {

enum class ChangeKind : std::uint8_t {
  update = 1,
  deletion = 2,
  replacement = 3,  // another item under the same name: the old one is deleted, then the new one appears
};

struct NamedChange {
  std::string name;
  ChangeKind kind;

  friend bool operator==(const NamedChange&, const NamedChange&) = default;
};

// What a folder looked like when it was last reported: enough of every entry to see that it has changed.
class FolderSnapshot {
 public:
  // `now` is the system's time at which the entries were read: an entry that changed only just before may
  // change again without a sign, so its next comparison counts as a change.
  static FolderSnapshot ofEntries(const std::vector<BackendEntry>& entries, std::timespec now);

  std::size_t size() const { return entries_.size(); }

  // What has changed on the way to `later`, in the order of the names.
  std::vector<NamedChange> changesTo(const FolderSnapshot& later) const;
  // Takes over what the named entries look like now and returns what changed. REQUIRES: `names` sorted,
  // without repetition, as long as `found`.
  std::vector<NamedChange> apply(const std::vector<std::string>& names,
                                 const std::vector<std::optional<BackendEntry>>& found, std::timespec now);

  // Forgets an entry if it is the one that was looked at, at the system's time `now`; whether it was. False
  // also when it had changed so shortly before that it may have been another by then.
  bool forget(const std::string& name, const EntryStat& seen, std::timespec now);

  std::string encoded() const;
  // Nothing for bytes that are not an encoded snapshot.
  static std::optional<FolderSnapshot> decoded(std::string_view bytes);

 private:
  struct Entry {
    std::string name;
    EntryStat stat;
    bool settled = true;
  };

  static Entry entryOf(const BackendEntry& entry, std::timespec now);
  static std::optional<ChangeKind> changeBetween(const Entry& before, const Entry& after);

  std::vector<Entry> entries_;  // sorted by name
};

}  // namespace zelto
