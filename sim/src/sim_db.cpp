#include "sim_db.h"

#include <unistd.h>

#include <cstdlib>

#include "sim_schema.h"
#include "sim_state_path.h"
#include "sim_turns.h"

namespace rmsim {

Db::Db(const std::string& path) : m_path(path) {
  checkStateFile(path);

  if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                      nullptr) != SQLITE_OK) {
    std::string message = m_db ? sqlite3_errmsg(m_db) : "out of memory";
    if (m_db) sqlite3_close(m_db);
    m_db = nullptr;
    throw DbError("cannot open simulator state " + path + ": " + message);
  }
  try {
    m_turns.reset(new WriteTurns(path + "-turns"));
    sqlite3_busy_timeout(m_db, 30000);
    exec("PRAGMA synchronous=OFF");  // a disposable state: no fsync, still atomic between processes
    exec("PRAGMA journal_mode=WAL");
    initSchema();
  } catch (...) {
    sqlite3_close(m_db);
    m_db = nullptr;
    throw;
  }
}

Db::~Db() {
  if (m_db) sqlite3_close(m_db);
}

void Db::initSchema() {
  Transaction tx(*this);
  Statement version = prepare("PRAGMA user_version");
  int current = version.step() ? version.number(0) : 0;
  if (current != kSchemaVersion) {
    exec(kDropTables);
    exec(kCreateTables);
    exec("PRAGMA user_version = " + std::to_string(kSchemaVersion));
  }
  tx.commit();
}

void Db::exec(const std::string& sql) {
  char* error = nullptr;
  if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : sqlite3_errmsg(m_db);
    sqlite3_free(error);
    throw DbError("simulator state " + m_path + ": " + message);
  }
}

Statement Db::prepare(const std::string& sql) {
  Statement statement(m_db, sql);
  if (m_readOnly && !statement.readOnly()) throw WriteNeeded();
  return statement;
}

int Db::changes() const { return sqlite3_changes(m_db); }

int64_t Db::lastInsertId() const { return sqlite3_last_insert_rowid(m_db); }

std::string Db::defaultPath() { return defaultStatePath(); }

Statement::Statement(sqlite3* db, const std::string& sql) : m_db(db) {
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &m_stmt, nullptr) != SQLITE_OK) {
    throw DbError(std::string("simulator state: ") + sqlite3_errmsg(db) + " in: " + sql);
  }
}

Statement::~Statement() {
  if (m_stmt) sqlite3_finalize(m_stmt);
}

Statement::Statement(Statement&& other) noexcept
    : m_db(other.m_db), m_stmt(other.m_stmt), m_next(other.m_next) {
  other.m_stmt = nullptr;
}

Statement& Statement::bind(int64_t value) {
  sqlite3_bind_int64(m_stmt, m_next++, value);
  return *this;
}

Statement& Statement::bind(double value) {
  sqlite3_bind_double(m_stmt, m_next++, value);
  return *this;
}

Statement& Statement::bind(const std::string& value) {
  sqlite3_bind_text(m_stmt, m_next++, value.c_str(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::bindBlob(const std::string& bytes) {
  sqlite3_bind_blob(m_stmt, m_next++, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
  return *this;
}

bool Statement::step() {
  int rc = sqlite3_step(m_stmt);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  throw DbError(std::string("simulator state: ") + sqlite3_errmsg(m_db));
}

int64_t Statement::integer(int column) const { return sqlite3_column_int64(m_stmt, column); }

double Statement::real(int column) const { return sqlite3_column_double(m_stmt, column); }

std::string Statement::text(int column) const {
  const unsigned char* value = sqlite3_column_text(m_stmt, column);
  return value ? reinterpret_cast<const char*>(value) : "";
}

std::string Statement::blob(int column) const {
  const void* bytes = sqlite3_column_blob(m_stmt, column);
  const int size = sqlite3_column_bytes(m_stmt, column);
  return bytes ? std::string(static_cast<const char*>(bytes), static_cast<size_t>(size)) : std::string();
}

bool Statement::readOnly() const { return sqlite3_stmt_readonly(m_stmt) != 0; }

namespace {

void rollback(Db& db) {
  try {
    db.exec("ROLLBACK");
  } catch (...) {
    // Nothing to do: SQLite rolls back an open transaction when the connection closes.
  }
}

}  // namespace

Transaction::Transaction(Db& db) : m_db(db) {
  m_db.turns().begin();
  try {
    m_db.exec("BEGIN IMMEDIATE");
  } catch (...) {
    m_db.turns().end();
    throw;
  }
}

Transaction::~Transaction() {
  if (!m_done) rollback(m_db);
  try {
    m_db.turns().end();
  } catch (...) {
    // The lock goes with the connection's queue file at the latest.
  }
}

void Transaction::commit() {
  m_db.exec("COMMIT");
  m_done = true;
  m_db.turns().end();
}

ReadTransaction::ReadTransaction(Db& db) : m_db(db) {
  m_db.exec("BEGIN");
  m_db.setReadOnly(true);
}

ReadTransaction::~ReadTransaction() {
  m_db.setReadOnly(false);
  if (!m_done) rollback(m_db);
}

void ReadTransaction::commit() {
  m_db.setReadOnly(false);
  m_db.exec("COMMIT");
  m_done = true;
}

}  // namespace rmsim
