#include "framework/replica/ReplicaDatabase.h"

#include <cerrno>
#include <ctime>

#include <sqlite3.h>

namespace zelto {
namespace {

constexpr std::int64_t kVersion = 4;
constexpr std::int64_t kVersionWithoutTraits = 3;
constexpr int kWriterCacheKiB = 2048;
constexpr int kReaderCacheKiB = 512;

constexpr const char* kTables = R"(
CREATE TABLE session(one INTEGER PRIMARY KEY CHECK(one = 1), boot BLOB NOT NULL, clean INTEGER NOT NULL,
  number INTEGER NOT NULL, nextInode INTEGER NOT NULL, versionTemplate BLOB NOT NULL,
  settled INTEGER NOT NULL);
CREATE TABLE node(inode INTEGER PRIMARY KEY, parent INTEGER NOT NULL, kind INTEGER NOT NULL,
  listed INTEGER NOT NULL, capabilities INTEGER NOT NULL, flags INTEGER NOT NULL, size INTEGER NOT NULL,
  modified INTEGER NOT NULL, versionTag INTEGER NOT NULL, name BLOB NOT NULL,
  created INTEGER, accessed INTEGER, identifier BLOB, version BLOB, target BLOB, attributes BLOB, here INTEGER,
  traits INTEGER);
CREATE TABLE traits(number INTEGER PRIMARY KEY, bytes BLOB NOT NULL);
CREATE INDEX nodeByParent ON node(parent);
CREATE INDEX nodeByIdentifier ON node(identifier) WHERE identifier IS NOT NULL;
CREATE INDEX nodeFolder ON node(kind) WHERE kind = 1;
CREATE TABLE content(inode INTEGER PRIMARY KEY, generation INTEGER NOT NULL, versionTag INTEGER NOT NULL,
  size INTEGER NOT NULL, ranges BLOB NOT NULL);
INSERT INTO node VALUES(1, 0, 1, 0, 1, 3, 0, 0, 0, x'', NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
)";

NSError databaseError(const ReplicaFiles& files, const std::string& text) {
  return errorWithPOSIXCode(EIO, files.database() + ": " + text);
}

bool makeTables(Database& database, std::uint64_t firstInode) {
  const std::string session = "INSERT INTO session VALUES(1, x'', 1, 0, " + std::to_string(firstInode) +
                              ", x'', 0); PRAGMA user_version=" + std::to_string(kVersion) + ";";
  return database.execute("BEGIN") && database.execute(kTables) && database.execute(session.c_str()) &&
         database.execute("COMMIT");
}

// What was learnt before traits were kept is learnt again with the next listing.
bool addTraits(Database& database) {
  const std::string version = "PRAGMA user_version=" + std::to_string(kVersion);
  return database.execute("BEGIN") && database.execute("ALTER TABLE node ADD COLUMN traits INTEGER") &&
         database.execute("CREATE TABLE traits(number INTEGER PRIMARY KEY, bytes BLOB NOT NULL)") &&
         database.execute(version.c_str()) && database.execute("COMMIT");
}

bool readTraits(Database& database, ReplicaSession& session) {
  Statement row = database.prepare("SELECT number, bytes FROM traits");
  while (row.step()) {
    session.traits.emplace_back(static_cast<std::uint32_t>(row.natural(0)), row.bytes(1));
  }
  return row.result() == SQLITE_DONE;
}

bool readSession(Database& database, ReplicaSession& session) {
  Statement row = database.prepare("SELECT number, nextInode, versionTemplate, settled FROM session");
  if (!row.step()) return false;
  session.number = row.natural(0) + 1;
  session.nextInode = row.natural(1);
  session.versionTemplate = row.bytes(2);
  session.settled = row.natural(3);
  row.reset();
  const auto nodes = database.integer("SELECT count(*) FROM node");
  const auto folders = database.integer("SELECT count(*) FROM node WHERE kind = 1");
  const auto listed = database.integer("SELECT listed FROM node WHERE inode = 1 AND kind = 1");
  const auto own = database.integer("SELECT EXISTS(SELECT 1 FROM node WHERE identifier IS NOT NULL)");
  if (!nodes || !folders || !listed || !own || *nodes < 1 || *folders < 1) return false;
  session.items = static_cast<std::uint64_t>(*nodes) - 1;
  session.folders = static_cast<std::uint64_t>(*folders) - 1;
  session.rootListed = *listed != 0;
  session.anyOwnIdentifiers = *own != 0;
  return session.nextInode > 1 && readTraits(database, session);
}

bool beginSession(Database& database, const ReplicaSession& session, const std::string& bootId) {
  Statement lost = database.prepare(
      "DELETE FROM content WHERE EXISTS(SELECT 1 FROM session WHERE clean = 0 AND boot <> ?)");
  Statement begin = database.prepare("UPDATE session SET boot = ?, clean = 0, number = ?, nextInode = ?");
  if (!database.execute("BEGIN IMMEDIATE") || !lost.bind(0, bootId).run()) return false;
  begin.bind(0, bootId).bind(1, session.number).bind(2, session.nextInode + kInodeBlock);
  return begin.run() && database.execute("COMMIT");
}

// Nothing: the file is no sound database of this version.
std::optional<ReplicaSession> began(Database& database, std::uint64_t firstInode, const std::string& bootId) {
  const auto version = database.integer("PRAGMA user_version");
  const auto tables = database.integer("SELECT count(*) FROM sqlite_schema");
  if (!version || !tables) return {};
  if (*tables == 0 && !makeTables(database, firstInode)) return {};
  const bool older = *tables != 0 && *version == kVersionWithoutTraits;
  if (older && !addTraits(database)) return {};
  if (*tables != 0 && !older && *version != kVersion) return {};
  ReplicaSession session;
  if (!readSession(database, session) || !beginSession(database, session, bootId)) return {};
  return session;
}

// A full or failing disk is no reason to throw a replica away.
bool mayBeSetAside(int code) {
  const int primary = code & 0xff;
  return primary != SQLITE_FULL && primary != SQLITE_IOERR && primary != SQLITE_CANTOPEN &&
         primary != SQLITE_NOMEM && primary != SQLITE_BUSY && primary != SQLITE_READONLY;
}

// Numbers given by a lost database are not known: seconds grow faster than anybody lists.
std::uint64_t firstInodeAfterLoss() { return static_cast<std::uint64_t>(std::time(nullptr)) << 20; }

}  // namespace

std::expected<OpenedDatabase, NSError> openReplicaDatabase(const ReplicaFiles& files,
                                                           const std::string& bootId) {
  for (std::uint64_t firstInode : {std::uint64_t{kRootInode} + 1, firstInodeAfterLoss()}) {
    auto database = Database::open(files.database(), kWriterCacheKiB);
    int code = database ? SQLITE_OK : database.error();
    if (database) {
      if (auto session = began(*database, firstInode, bootId)) {
        return OpenedDatabase{std::move(*database), std::move(*session)};
      }
      code = database->errorCode();
    }
    if (!mayBeSetAside(code)) return std::unexpected(databaseError(files, sqlite3_errstr(code)));
    reportLine(files.database() + " is damaged or of another version; it is set aside and begun anew");
    database = std::unexpected(code);  // closed before its files are renamed
    files.setDatabaseAside();
  }
  return std::unexpected(databaseError(files, "cannot be made"));
}

std::expected<Database, NSError> openForReading(const ReplicaFiles& files) {
  auto database = Database::open(files.database(), kReaderCacheKiB);
  if (!database) return std::unexpected(databaseError(files, sqlite3_errstr(database.error())));
  return std::move(*database);
}

bool recordInodes(Database& database, std::uint64_t nextInode) {
  return database.prepare("UPDATE session SET nextInode = ?").bind(0, nextInode).run();
}

bool recordCleanEnd(Database& database, std::uint64_t nextInode) {
  return database.prepare("UPDATE session SET clean = 1, nextInode = ?").bind(0, nextInode).run();
}

}  // namespace zelto
