#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace zelto {

// A prepared statement. Parameters and columns count from 0; text and blobs are bytes alike.
// THREAD: one at a time.
class Statement {
 public:
  explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}

  // Bytes are not copied: they must live until the statement has been reset.
  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, std::uint64_t value) { return bind(index, static_cast<std::int64_t>(value)); }
  Statement& bind(int index, std::string_view bytes);
  Statement& bindNull(int index);

  // True while there is a row. Anything but a row or the end is the database's last error.
  bool step();
  // Runs a statement that gives no rows and makes it ready for the next time.
  bool run();
  void reset();

  std::int64_t integer(int column) const;
  std::uint64_t natural(int column) const { return static_cast<std::uint64_t>(integer(column)); }
  // Valid until the next step.
  std::string_view bytes(int column) const;
  bool isNull(int column) const;
  // The result of the last step: SQLITE_ROW, SQLITE_DONE or an error.
  int result() const { return result_; }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  int result_ = 0;
};

// One connection to a database file.
// THREAD: one at a time; its owner locks.
class Database {
 public:
  // ERRORS: SQLite's result code.
  static std::expected<Database, int> open(const std::string& path, int cacheKiB);

  // Runs statements without parameters. False on an error.
  bool execute(const char* sql);
  // A statement that cannot be prepared fails at each step.
  Statement prepare(const char* sql);
  // The first value of the first row, if there is one.
  std::optional<std::int64_t> integer(const char* sql);

  // The code and text of the last failure.
  int errorCode() const;
  std::string errorText() const;
  int changes() const;

 private:
  struct Close {
    void operator()(sqlite3* connection) const;
  };
  explicit Database(sqlite3* connection) : connection_(connection) {}

  std::unique_ptr<sqlite3, Close> connection_;
};

// True for what a database says when its file is no sound database.
bool meansDamage(int code);

}  // namespace zelto
