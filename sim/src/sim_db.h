#ifndef RMSIM_SIM_DB_H
#define RMSIM_SIM_DB_H

#include <sqlite3.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace rmsim {

// A failure of the state store itself (not an array refusal).
class DbError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Statement;

// One SQLite connection to the simulator's state. Every process that loads
// the simulator opens the same file (RMSIM_DB), so they all see one array.
class Db {
 public:
  // Opens (creating if needed) the database at `path` and its schema.
  explicit Db(const std::string& path);
  ~Db();
  Db(const Db&) = delete;
  Db& operator=(const Db&) = delete;

  void exec(const std::string& sql);
  Statement prepare(const std::string& sql);
  sqlite3* handle() const { return m_db; }
  const std::string& path() const { return m_path; }

  // The database named by RMSIM_DB, or /tmp/rmsim-<uid>.db when unset.
  static std::string defaultPath();

 private:
  sqlite3* m_db = nullptr;
  std::string m_path;
};

// A prepared statement with positional binding (1-based, in bind order).
class Statement {
 public:
  Statement(sqlite3* db, const std::string& sql);
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int64_t value);
  Statement& bind(const std::string& value);
  // True while there is a row to read.
  bool step();
  void run() {
    while (step()) {
    }
  }
  int64_t integer(int column) const;
  std::string text(int column) const;
  bool isNull(int column) const;

 private:
  sqlite3* m_db;
  sqlite3_stmt* m_stmt = nullptr;
  int m_next = 1;
};

// BEGIN IMMEDIATE ... COMMIT; rolled back unless commit() was called.
class Transaction {
 public:
  explicit Transaction(Db& db);
  ~Transaction();
  void commit();

 private:
  Db& m_db;
  bool m_done = false;
};

}  // namespace rmsim

#endif
