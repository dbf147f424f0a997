#include "framework/replica/Database.h"

#include <sqlite3.h>

namespace zelto {

Statement& Statement::bind(int index, std::int64_t value) {
  sqlite3_bind_int64(statement_.get(), index + 1, value);
  return *this;
}

Statement& Statement::bind(int index, std::string_view bytes) {
  const char* data = bytes.empty() ? "" : bytes.data();
  sqlite3_bind_blob64(statement_.get(), index + 1, data, bytes.size(), SQLITE_STATIC);
  return *this;
}

Statement& Statement::bindNull(int index) {
  sqlite3_bind_null(statement_.get(), index + 1);
  return *this;
}

bool Statement::step() {
  result_ = statement_ ? sqlite3_step(statement_.get()) : SQLITE_ERROR;
  return result_ == SQLITE_ROW;
}

bool Statement::run() {
  step();
  const int result = result_;
  reset();
  return result == SQLITE_DONE || result == SQLITE_ROW;
}

void Statement::reset() { sqlite3_reset(statement_.get()); }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

std::string_view Statement::bytes(int column) const {
  const void* data = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  if (data == nullptr || size <= 0) return {};
  return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

void Statement::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

void Database::Close::operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }

std::expected<Database, int> Database::open(const std::string& path, int cacheKiB) {
  sqlite3* connection = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int result = sqlite3_open_v2(path.c_str(), &connection, flags, nullptr);
  Database database(connection);
  if (result != SQLITE_OK) return std::unexpected(result);
  sqlite3_busy_timeout(connection, 5000);
  const std::string pragmas = "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA cache_size=-" +
                              std::to_string(cacheKiB) + ";PRAGMA wal_autocheckpoint=4000;";
  if (!database.execute(pragmas.c_str())) return std::unexpected(database.errorCode());
  return database;
}

bool Database::execute(const char* sql) {
  return sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement Database::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(connection_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  return Statement(statement);
}

std::optional<std::int64_t> Database::integer(const char* sql) {
  Statement statement = prepare(sql);
  if (!statement.step()) return {};
  return statement.integer(0);
}

int Database::errorCode() const { return sqlite3_errcode(connection_.get()); }
std::string Database::errorText() const { return sqlite3_errmsg(connection_.get()); }
int Database::changes() const { return sqlite3_changes(connection_.get()); }

bool meansDamage(int code) {
  const int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_SCHEMA ||
         primary == SQLITE_FORMAT || primary == SQLITE_MISMATCH;
}

}  // namespace zelto
