#ifndef RMSIM_SIM_DB_H
#define RMSIM_SIM_DB_H

// The simulator's state store: one SQLite file shared by every process that
// loads the simulator, the rmsim tool and the tests.

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace rmsim {

// A failure of the state store itself (not an array refusal).
class DbError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Thrown by Db::prepare when a statement would write inside a
// ReadTransaction: the caller runs the work again in a Transaction.
struct WriteNeeded {};

class Statement;
class WriteTurns;

// One connection. Opening creates the file and its tables when needed (WAL
// journal, so that readers never wait for a writer; 30 s busy timeout for the
// rare moments a reader must) and the writers' queue beside it (<path>-turns).
// A connection must not be used across fork.
class Db {
 public:
  explicit Db(const std::string& path);
  ~Db();
  Db(const Db&) = delete;
  Db& operator=(const Db&) = delete;

  void exec(const std::string& sql);
  Statement prepare(const std::string& sql);
  // Rows changed by the last INSERT, UPDATE or DELETE.
  int changes() const;
  // The rowid of the last INSERT on this connection.
  int64_t lastInsertId() const;
  const std::string& path() const { return m_path; }
  WriteTurns& turns() { return *m_turns; }
  // While set, prepare() refuses statements that write (WriteNeeded).
  void setReadOnly(bool readOnly) { m_readOnly = readOnly; }

  // $RMSIM_DB, else a state file in a folder of the user's own (defaultStatePath).
  static std::string defaultPath();

 private:
  void initSchema();

  sqlite3* m_db = nullptr;
  std::string m_path;
  std::unique_ptr<WriteTurns> m_turns;
  bool m_readOnly = false;
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
  Statement& bind(int value) { return bind(static_cast<int64_t>(value)); }
  Statement& bind(double value);
  Statement& bind(const std::string& value);
  Statement& bindBlob(const std::string& bytes);
  // True while there is a row to read.
  bool step();
  void run() {
    while (step()) {
    }
  }
  int64_t integer(int column) const;
  int number(int column) const { return static_cast<int>(integer(column)); }
  double real(int column) const;
  std::string text(int column) const;
  std::string blob(int column) const;
  // True when the statement cannot change the database.
  bool readOnly() const;

 private:
  sqlite3* m_db;
  sqlite3_stmt* m_stmt = nullptr;
  int m_next = 1;
};

// A write: waits for this connection's turn among the writers (WriteTurns),
// then BEGIN IMMEDIATE ... COMMIT takes the write lock at once, so that the
// work never reads a state that another process is about to change. Rolled
// back unless commit() was called; the turn ends with the transaction.
class Transaction {
 public:
  explicit Transaction(Db& db);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit();

 private:
  Db& m_db;
  bool m_done = false;
};

// A read: one consistent view of the state, taken at its first statement,
// that waits for no writer and holds none up (WAL). A statement that would
// write throws WriteNeeded.
class ReadTransaction {
 public:
  explicit ReadTransaction(Db& db);
  ~ReadTransaction();
  ReadTransaction(const ReadTransaction&) = delete;
  ReadTransaction& operator=(const ReadTransaction&) = delete;
  void commit();

 private:
  Db& m_db;
  bool m_done = false;
};

}  // namespace rmsim

#endif
