#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace zelto {

// One prepared statement in use. Text and blobs are copied in and out.
// ERRORS: a failed step reads as "no row"; the database keeps the error's text.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);
  Statement(Statement&&) = default;

  Statement& bind(int position, std::int64_t value);
  Statement& bind(int position, double value);
  Statement& bind(int position, std::string_view value);  // as text; bytes that are no text stay as they are
  Statement& bindBlob(int position, std::string_view value);
  // True while there is a row.
  bool step();
  // Runs to the end; false when it failed.
  bool run();
  void reset();

  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string bytes(int column) const;

 private:
  struct Finalise {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalise> statement_;
};

// A SQLite file in write-ahead mode.
// THREAD: one at a time.
class Database {
 public:
  // ERRORS: SQLite's text. A file that is no sound database is an error as well.
  static std::expected<Database, std::string> open(const std::string& path);

  Statement prepare(std::string_view sql) { return Statement(database_.get(), sql); }
  bool execute(const char* sql);
  std::string lastError() const;

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  explicit Database(sqlite3* database) : database_(database) {}
  std::unique_ptr<sqlite3, Close> database_;
};

// Groups changes; rolled back unless committed.
class Transaction {
 public:
  explicit Transaction(Database& database) : database_(database) { database_.execute("BEGIN IMMEDIATE"); }
  ~Transaction() {
    if (!committed_) database_.execute("ROLLBACK");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  bool commit() { return committed_ = database_.execute("COMMIT"); }

 private:
  Database& database_;
  bool committed_ = false;
};

}  // namespace zelto
