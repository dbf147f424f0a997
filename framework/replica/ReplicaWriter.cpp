#include "framework/replica/ReplicaWriter.h"

#include <algorithm>

#include <fmt/format.h>
#include <pthread.h>
#include <sqlite3.h>
#include <unistd.h>

#include "framework/replica/ReplicaDatabase.h"
#include "platform/foundation/KillPoint.h"

namespace zelto {
namespace {

constexpr std::size_t kRowsPerTransaction = 20000;
constexpr std::size_t kRowsGivenUp = 2000000;  // waiting for a disk that does not take them
constexpr std::chrono::milliseconds kFirstPause{1000}, kLongestPause{60000};
constexpr unsigned kContentFolders = 256;

}  // namespace

ReplicaWriter::ReplicaWriter(Database database, const Surroundings& surroundings, std::uint64_t nextInode)
    : around_(surroundings),
      database_(std::move(database)),
      putNode_(database_.prepare(
          "INSERT OR REPLACE INTO node VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
      putListed_(database_.prepare("UPDATE node SET listed = 1 WHERE inode = ?")),
      putDetached_(database_.prepare("UPDATE node SET parent = 0 WHERE inode = ?")),
      below_(database_.prepare(
          "WITH RECURSIVE below(inode) AS (VALUES(?) UNION SELECT node.inode FROM node JOIN below "
          "ON node.parent = below.inode) SELECT node.inode, node.kind, content.inode IS NOT NULL "
          "FROM below JOIN node USING(inode) LEFT JOIN content USING(inode)")),
      dropNode_(database_.prepare("DELETE FROM node WHERE inode = ?")),
      dropContents_(database_.prepare("DELETE FROM content WHERE inode = ?")),
      putContent_(database_.prepare("INSERT OR REPLACE INTO content VALUES(?, ?, ?, ?, ?)")),
      dropContent_(database_.prepare("DELETE FROM content WHERE inode = ? AND generation = ?")),
      putSettled_(database_.prepare("UPDATE session SET settled = ?")),
      putTraits_(database_.prepare("INSERT OR REPLACE INTO traits VALUES(?, ?)")),
      templateWritten_(around_.templates.current() != nullptr),
      traitsWritten_(around_.traits.last()),
      pause_(kFirstPause),
      nextInode_(nextInode),
      reservedInodes_(nextInode + kInodeBlock) {
  thread_ = std::thread([this] { run(); });
  pthread_setname_np(thread_.native_handle(), "replica");
}

ReplicaWriter::~ReplicaWriter() { finish(); }

void ReplicaWriter::finish() {
  around_.journal.stop();
  if (thread_.joinable()) thread_.join();
}

void ReplicaWriter::reserveInodes(std::uint64_t count) {
  constexpr std::uint64_t kSlack = kInodeBlock / 2;  // for others who reserve at the same time
  if (nextInode_ + count + kSlack <= reservedInodes_) return;
  const std::lock_guard lock(databaseMutex_);
  const std::uint64_t wanted = nextInode_ + count + kInodeBlock;
  if (wanted <= reservedInodes_) return;
  if (!recordInodes(database_, wanted)) reportLine("inode numbers cannot be reserved");
  reservedInodes_ = wanted;
}

void ReplicaWriter::run() {
  bool complete = false;
  around_.contents.readIn([&](const auto& take) { complete = around_.reader.contents(take); });
  if (!complete) {
    around_.health.condemn("what contents there are cannot be read");
    swept_ = kContentFolders;  // what is stray is not known either
  }
  for (;;) {
    const auto wait = swept_ < kContentFolders ? Journal::Wait::no : Journal::Wait::forWork;
    // Asked before: what is taken in until the end is said is written.
    const bool stopping = around_.journal.stopping();
    const auto chunks = around_.journal.take(kRowsPerTransaction, wait);
    if (chunks.empty()) {
      if (stopping) break;
      if (swept_ < kContentFolders) around_.contents.sweep(swept_++);
      continue;
    }
    if (!write(chunks) && stopping) break;
  }
  end();
}

bool ReplicaWriter::write(const std::vector<Journal::Chunk>& chunks) {
  std::unique_lock lock(databaseMutex_);
  goneContents_.clear();
  goneItems_ = goneFolders_ = 0;
  templateInBatch_ = false;
  traitsInBatch_ = traitsWritten_;
  const bool done = database_.execute("BEGIN IMMEDIATE") && writeAll(chunks) && database_.execute("COMMIT");
  if (!done) {
    const int code = database_.errorCode();
    const std::string reason = database_.errorText();
    database_.execute("ROLLBACK");
    lock.unlock();
    failed(reason, meansDamage(code));
    return false;
  }
  lock.unlock();
  killPoint("replica.written");
  if (failing_) reportLine("what was learnt is being written again");
  failing_ = false;
  templateWritten_ = templateWritten_ || templateInBatch_;
  traitsWritten_ = traitsInBatch_;
  pause_ = kFirstPause;
  removeGone();
  around_.journal.written(chunks.size());
  around_.written();
  return true;
}

bool ReplicaWriter::writeAll(const std::vector<Journal::Chunk>& chunks) {
  return writeTemplate() && writeTraits() &&
         std::ranges::all_of(chunks, [this](const Journal::Chunk& chunk) { return chunk->read(*this); });
}

// Whoever made a row in a chunk had the template before: it is written with the first rows.
bool ReplicaWriter::writeTemplate() {
  const VersionTemplate* const known = around_.templates.current();
  if (templateWritten_ || known == nullptr) return true;
  templateInBatch_ = true;
  return database_.prepare("UPDATE session SET versionTemplate = ?").bind(0, known->bytes()).run();
}

// The same of the traits that rows tell of by number.
bool ReplicaWriter::writeTraits() {
  const auto last = around_.traits.last();
  for (; traitsInBatch_ < last; ++traitsInBatch_) {
    const std::string bytes = around_.traits.bytes(traitsInBatch_ + 1);
    if (!putTraits_.bind(0, std::int64_t{traitsInBatch_ + 1}).bind(1, bytes).run()) return false;
  }
  return true;
}

void ReplicaWriter::failed(const std::string& reason, bool damaged) {
  if (damaged) return around_.health.condemn(reason);
  if (around_.journal.queuedRows() > kRowsGivenUp) {
    return around_.health.condemn("too much waits to be written: " + reason);
  }
  if (!failing_) reportLine(fmt::format("what is learnt cannot be written ({}); it is tried again", reason));
  failing_ = true;
  around_.journal.failed(pause_);
  pause_ = std::min(pause_ * 2, kLongestPause);
}

void ReplicaWriter::removeGone() {
  around_.counters.items -= goneItems_;
  around_.counters.folders -= goneFolders_;
  for (const Inode inode : goneContents_) {
    if (const auto removed = around_.contents.removeFetched(inode)) ::unlink(removed->path.c_str());
  }
}

void ReplicaWriter::end() {
  if (around_.contents.wroteAny()) around_.contents.sync();
  const bool allWritten = around_.journal.queuedRows() == 0 && !around_.health.condemned();
  const std::lock_guard lock(databaseMutex_);
  if (allWritten) recordCleanEnd(database_, nextInode_);
  around_.journal.end();
}

bool ReplicaWriter::node(const NodeRow& row) {
  const NodeFields& fields = row.fields;
  putNode_.bind(0, row.inode).bind(1, row.parent).bind(2, static_cast<std::int64_t>(fields.kind));
  putNode_.bind(3, static_cast<std::int64_t>(row.listed)).bind(4, std::int64_t{fields.capabilities});
  putNode_.bind(5, std::int64_t{fields.flags}).bind(6, fields.size).bind(7, fields.modifiedNs);
  putNode_.bind(8, fields.versionTag).bind(9, row.name);
  const auto bindDate = [this, &fields](int index, std::int64_t date) {
    if (date == fields.modifiedNs) return putNode_.bindNull(index), void();
    putNode_.bind(index, date);
  };
  bindDate(10, fields.createdNs);
  bindDate(11, fields.accessedNs);
  const auto bindText = [this](int index, std::string_view text) {
    if (text.empty()) return putNode_.bindNull(index), void();
    putNode_.bind(index, text);
  };
  bindText(12, row.ownIdentifier);
  bindText(13, row.version);
  bindText(14, row.symlinkTarget);
  bindText(15, row.attributes);
  if (fields.here != 0) {
    putNode_.bind(16, std::int64_t{fields.here});
  } else {
    putNode_.bindNull(16);
  }
  putNode_.bind(17, std::int64_t{fields.traits});
  return putNode_.run();
}

bool ReplicaWriter::listed(Inode folder) { return putListed_.bind(0, folder).run(); }

bool ReplicaWriter::detached(Inode inode) { return putDetached_.bind(0, inode).run(); }

bool ReplicaWriter::removal(Inode inode, std::uint64_t items, std::uint64_t folders) {
  std::vector<Inode> nodes;
  goneItems_ -= static_cast<std::int64_t>(items);
  goneFolders_ -= static_cast<std::int64_t>(folders);
  below_.bind(0, inode);
  while (below_.step()) {
    nodes.push_back(below_.natural(0));
    ++goneItems_;
    if (below_.integer(1) == static_cast<std::int64_t>(NodeKind::folder)) ++goneFolders_;
    if (below_.integer(2) != 0) goneContents_.push_back(nodes.back());
  }
  const bool complete = below_.result() == SQLITE_DONE;
  below_.reset();
  return complete && std::ranges::all_of(nodes, [this](Inode gone) {
           return dropNode_.bind(0, gone).run() && dropContents_.bind(0, gone).run();
         });
}

bool ReplicaWriter::content(const ContentRow& row) {
  putContent_.bind(0, row.inode).bind(1, row.generation).bind(2, row.versionTag);
  return putContent_.bind(3, row.size).bind(4, row.ranges).run();
}

bool ReplicaWriter::contentGone(Inode inode, std::uint64_t generation) {
  return dropContent_.bind(0, inode).bind(1, generation).run();
}

bool ReplicaWriter::settled(std::uint64_t number) { return putSettled_.bind(0, number).run(); }

}  // namespace zelto
