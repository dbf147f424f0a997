#include "hostapp/Database.h"

#include <sqlite3.h>

namespace zelto {

void Statement::Finalise::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &statement, nullptr);
  statement_.reset(statement);
}

Statement& Statement::bind(int position, std::int64_t value) {
  sqlite3_bind_int64(statement_.get(), position, value);
  return *this;
}

Statement& Statement::bind(int position, double value) {
  sqlite3_bind_double(statement_.get(), position, value);
  return *this;
}

Statement& Statement::bind(int position, std::string_view value) {
  sqlite3_bind_text64(statement_.get(), position, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  return *this;
}

Statement& Statement::bindBlob(int position, std::string_view value) {
  sqlite3_bind_blob64(statement_.get(), position, value.data(), value.size(), SQLITE_TRANSIENT);
  return *this;
}

bool Statement::step() { return statement_ && sqlite3_step(statement_.get()) == SQLITE_ROW; }

bool Statement::run() {
  if (!statement_) return false;
  int result = SQLITE_ROW;
  while (result == SQLITE_ROW) result = sqlite3_step(statement_.get());
  return result == SQLITE_DONE;
}

void Statement::reset() { sqlite3_reset(statement_.get()); }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

double Statement::real(int column) const { return sqlite3_column_double(statement_.get(), column); }

std::string Statement::bytes(int column) const {
  const void* data = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return data == nullptr ? "" : std::string(static_cast<const char*>(data), static_cast<std::size_t>(size));
}

void Database::Close::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

std::expected<Database, std::string> Database::open(const std::string& path) {
  sqlite3* raw = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int result = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
  Database database(raw);
  if (result != SQLITE_OK) return std::unexpected(database.lastError());
  sqlite3_busy_timeout(raw, 2000);
  // The power may fail between two commits; the order of commits is kept, which is all that is needed.
  const bool ready = database.execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;") &&
                     database.prepare("SELECT count(*) FROM sqlite_schema").step();
  if (!ready) return std::unexpected(database.lastError());
  return database;
}

bool Database::execute(const char* sql) {
  return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::string Database::lastError() const {
  return database_ ? sqlite3_errmsg(database_.get()) : "out of memory";
}

}  // namespace zelto
