#include <cstring>

#include "hostapp/FolderSnapshot.h"

namespace zelto {

namespace {

// One entry on disk: this record, then the name's bytes. Host byte order: the file never leaves the
// machine.
struct Record {
  std::uint64_t size;
  std::int64_t modifiedSeconds;
  std::int64_t changedSeconds;
  std::uint64_t inode;
  std::uint32_t modifiedNanoseconds;
  std::uint32_t changedNanoseconds;
  std::uint16_t nameLength;
  std::uint8_t kind;
  std::uint8_t flags;
  std::uint32_t checkout;  // 0 in files of earlier versions
};
static_assert(sizeof(Record) == 48);

constexpr std::uint8_t kWritable = 1;
constexpr std::uint8_t kSettled = 2;
constexpr std::string_view kMagic = "zfs1";

bool isSound(const Record& record, std::size_t rest) {
  return record.nameLength > 0 && record.nameLength <= rest && record.kind <= 2 &&
         record.modifiedNanoseconds < 1'000'000'000 && record.changedNanoseconds < 1'000'000'000;
}

}  // namespace

std::string FolderSnapshot::encoded() const {
  std::string bytes(kMagic);
  bytes.reserve(entries_.size() * (sizeof(Record) + 16));
  for (const auto& entry : entries_) {
    const auto& stat = entry.stat;
    const int flags = (stat.writable ? kWritable : 0) | (entry.settled ? kSettled : 0);
    const Record record{.size = stat.size,
                        .modifiedSeconds = stat.modified.tv_sec,
                        .changedSeconds = stat.changed.tv_sec,
                        .inode = stat.inode,
                        .modifiedNanoseconds = static_cast<std::uint32_t>(stat.modified.tv_nsec),
                        .changedNanoseconds = static_cast<std::uint32_t>(stat.changed.tv_nsec),
                        .nameLength = static_cast<std::uint16_t>(entry.name.size()),
                        .kind = static_cast<std::uint8_t>(stat.kind),
                        .flags = static_cast<std::uint8_t>(flags),
                        .checkout = stat.checkout};
    bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
    bytes.append(entry.name);
  }
  return bytes;
}

std::optional<FolderSnapshot> FolderSnapshot::decoded(std::string_view bytes) {
  if (!bytes.starts_with(kMagic)) return std::nullopt;
  bytes.remove_prefix(kMagic.size());
  FolderSnapshot snapshot;
  while (!bytes.empty()) {
    Record record;
    if (bytes.size() < sizeof record) return std::nullopt;
    std::memcpy(&record, bytes.data(), sizeof record);
    bytes.remove_prefix(sizeof record);
    if (!isSound(record, bytes.size())) return std::nullopt;
    Entry entry{std::string(bytes.substr(0, record.nameLength)), {}, (record.flags & kSettled) != 0};
    bytes.remove_prefix(record.nameLength);
    entry.stat = {.kind = static_cast<EntryKind>(record.kind),
                  .writable = (record.flags & kWritable) != 0,
                  .size = record.size,
                  .modified = {record.modifiedSeconds, record.modifiedNanoseconds},
                  .changed = {record.changedSeconds, record.changedNanoseconds},
                  .inode = record.inode,
                  .checkout = record.checkout};
    const bool inOrder = snapshot.entries_.empty() || snapshot.entries_.back().name < entry.name;
    if (!inOrder) return std::nullopt;
    snapshot.entries_.push_back(std::move(entry));
  }
  return snapshot;
}

}  // namespace zelto
