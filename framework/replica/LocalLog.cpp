#include "framework/replica/LocalLog.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <unordered_map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/replica/ByteRecord.h"
#include "framework/replica/Digest.h"

namespace zelto {
namespace {

constexpr std::string_view kMagic = "zelto-local-3\n";

// What is noted together counts as a whole or not at all.
struct BatchHead {
  std::uint64_t length;  // of its records
  std::uint64_t digest;
};

struct RecordHead {
  std::uint64_t length;  // of the entry's bytes; 0: there is none
  Inode inode;
};

void putBatch(std::string& to, std::span<const LocalLog::Record> records) {
  std::string bytes;
  for (const LocalLog::Record& record : records) {
    const std::string entry = record.entry != nullptr ? record.entry->encoded() : std::string();
    putPlain(bytes, RecordHead{entry.size(), record.inode});
    bytes += entry;
  }
  putPlain(to, BatchHead{bytes.size(), digestOfBytes(bytes)});
  to += bytes;
}

// errno, 0 for none.
int writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count < 0 ? errno : EIO;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

using Entries = std::unordered_map<Inode, LocalEntry>;

void takeBatch(std::string_view bytes, Entries& entries) {
  ByteReader reader(bytes);
  while (!reader.atEnd()) {
    const auto head = reader.plain<RecordHead>();
    auto entry = LocalEntry::decoded(reader.bytes(head.length));
    if (entry && entry->inode == head.inode) {
      entries.insert_or_assign(head.inode, std::move(*entry));
    } else {
      entries.erase(head.inode);
    }
  }
}

Entries entriesIn(std::string_view bytes) {
  Entries entries;
  if (!bytes.starts_with(kMagic)) return entries;
  ByteReader reader(bytes.substr(kMagic.size()));
  while (!reader.atEnd()) {
    const auto head = reader.plain<BatchHead>();
    const std::string_view batch = reader.bytes(head.length);
    if (reader.failed() || digestOfBytes(batch) != head.digest) break;
    takeBatch(batch, entries);
  }
  return entries;
}

}  // namespace

std::expected<std::vector<LocalEntry>, int> LocalLog::read() {
  errno = 0;
  std::ifstream in(path_, std::ios::binary);
  if (!in) {
    if (errno == ENOENT) return {};
    return std::unexpected(errno != 0 ? errno : EIO);
  }
  const std::string bytes((std::istreambuf_iterator<char>(in)), {});
  std::multimap<std::uint64_t, LocalEntry> ordered;
  for (auto& [inode, entry] : entriesIn(bytes)) ordered.emplace(entry.order, std::move(entry));
  std::vector<LocalEntry> entries;
  for (auto& [order, entry] : ordered) entries.push_back(std::move(entry));
  return entries;
}

int LocalLog::rewrite(const std::vector<const LocalEntry*>& entries) {
  std::string bytes(kMagic);
  for (const LocalEntry* entry : entries) putBatch(bytes, {{{entry->inode, entry}}});
  const std::string fresh = path_ + ".new";
  UniqueDescriptor file(
      ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return errno;
  int code = writeAll(file.get(), bytes);
  // The old file may have been brought to the disk: the new one must not be less safe.
  if (code == 0 && !entries.empty() && ::fdatasync(file.get()) != 0) code = errno;
  if (code == 0 && ::rename(fresh.c_str(), path_.c_str()) != 0) code = errno;
  if (code != 0) {
    ::unlink(fresh.c_str());
    return code;
  }
  file_ = std::move(file);
  bytes_ = bytes.size();
  damagedEnd_ = false;
  return 0;
}

int LocalLog::append(std::span<const Record> records) {
  if (damagedEnd_ && ::ftruncate(file_.get(), static_cast<off_t>(bytes_)) != 0) return errno;
  damagedEnd_ = false;
  std::string bytes;
  putBatch(bytes, records);
  if (const int code = writeAll(file_.get(), bytes)) {
    damagedEnd_ = ::ftruncate(file_.get(), static_cast<off_t>(bytes_)) != 0;
    return code;
  }
  bytes_ += bytes.size();
  return 0;
}

UniqueDescriptor LocalLog::duplicate() const {
  return UniqueDescriptor(::fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
}

}  // namespace zelto
