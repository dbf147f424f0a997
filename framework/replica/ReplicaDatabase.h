#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "framework/replica/Database.h"
#include "framework/replica/ItemTraits.h"
#include "framework/replica/Node.h"
#include "framework/replica/ReplicaFiles.h"

namespace zelto {

// What the database says of itself, and of the process that had it before.
struct ReplicaSession {
  std::uint64_t number = 0;     // one more at each opening
  std::uint64_t nextInode = 0;  // no number below is free
  std::uint64_t items = 0;      // without the root
  std::uint64_t folders = 0;
  std::uint64_t settled = 0;  // by this number and lower ones the log calls what is in the database
  bool rootListed = false;
  bool anyOwnIdentifiers = false;
  std::string versionTemplate;
  ItemTraitsPool::Stored traits;
};

// Numbers are reserved in the database in blocks, so that none is given twice even when the rows that hold
// them were never written.
inline constexpr std::uint64_t kInodeBlock = 1 << 20;

// Opens the database for writing, makes its tables, begins a session: the numbers of a first block are
// reserved. A database that is damaged or of another version is set aside and begun anew. When the
// machine went down (another boot, no clean end) what was known of contents is dropped, since nobody ever
// waited for them to reach the disk.
// ERRORS: the disk's.
struct OpenedDatabase {
  Database database;
  ReplicaSession session;
};
std::expected<OpenedDatabase, NSError> openReplicaDatabase(const ReplicaFiles& files,
                                                           const std::string& bootId);

// A second connection, for reading. ERRORS: as above.
std::expected<Database, NSError> openForReading(const ReplicaFiles& files);

bool recordInodes(Database& database, std::uint64_t nextInode);
// The last thing written: everything learnt is in the database.
bool recordCleanEnd(Database& database, std::uint64_t nextInode);

}  // namespace zelto
