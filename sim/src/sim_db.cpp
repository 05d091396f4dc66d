#include "sim_db.h"

#include <unistd.h>

namespace rmsim {

namespace {

const char kSchema[] = R"SQL(
CREATE TABLE IF NOT EXISTS arrays (serial INTEGER PRIMARY KEY, vendor TEXT NOT NULL, product TEXT NOT NULL,
  maxmmun INTEGER NOT NULL, unit_id INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS cmddevs (path TEXT PRIMARY KEY, serial INTEGER NOT NULL, ldev INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS ports (serial INTEGER, port INTEGER, fibre INTEGER NOT NULL, PRIMARY KEY (serial, port));
CREATE TABLE IF NOT EXISTS hostgroups (serial INTEGER, port INTEGER, number INTEGER, name TEXT NOT NULL,
  PRIMARY KEY (serial, port, number));
CREATE TABLE IF NOT EXISTS ldevs (serial INTEGER, ldev INTEGER, emulation TEXT NOT NULL, size INTEGER NOT NULL,
  property INTEGER NOT NULL, device TEXT NOT NULL DEFAULT '', PRIMARY KEY (serial, ldev));
CREATE TABLE IF NOT EXISTS luns (serial INTEGER, port INTEGER, hostgroup INTEGER, lun INTEGER, ldev INTEGER NOT NULL,
  PRIMARY KEY (serial, port, hostgroup, lun));
CREATE TABLE IF NOT EXISTS pairs (serial INTEGER, pvol INTEGER, mu INTEGER, svol INTEGER NOT NULL, kind TEXT NOT NULL,
  status INTEGER NOT NULL, ctgid INTEGER NOT NULL DEFAULT 0, csize INTEGER NOT NULL DEFAULT 3,
  copyrate INTEGER NOT NULL DEFAULT 100, reads_left INTEGER NOT NULL DEFAULT 0, copy_started REAL NOT NULL DEFAULT 0,
  PRIMARY KEY (serial, pvol, mu));
CREATE TABLE IF NOT EXISTS lasterr (path TEXT PRIMARY KEY, func TEXT NOT NULL, errno INTEGER NOT NULL,
  message TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS faults (func TEXT PRIMARY KEY, errno INTEGER NOT NULL, message TEXT NOT NULL,
  remaining INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS counters (func TEXT PRIMARY KEY, count INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS settings (key TEXT PRIMARY KEY, value TEXT NOT NULL);
)SQL";

}  // namespace

Db::Db(const std::string& path) : m_path(path) {
  if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                      nullptr) != SQLITE_OK) {
    std::string message = m_db ? sqlite3_errmsg(m_db) : "out of memory";
    if (m_db) sqlite3_close(m_db);
    m_db = nullptr;
    throw DbError("cannot open simulator state " + path + ": " + message);
  }
  sqlite3_busy_timeout(m_db, 30000);
  exec("PRAGMA journal_mode=WAL");
  exec("PRAGMA synchronous=NORMAL");
  exec(kSchema);
}

Db::~Db() {
  if (m_db) sqlite3_close(m_db);
}

void Db::exec(const std::string& sql) {
  char* error = nullptr;
  if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : "unknown error";
    sqlite3_free(error);
    throw DbError("simulator state: " + message);
  }
}

Statement Db::prepare(const std::string& sql) { return Statement(m_db, sql); }

std::string Db::defaultPath() {
  const char* path = std::getenv("RMSIM_DB");
  if (path && *path) return path;
  return "/tmp/rmsim-" + std::to_string(::getuid()) + ".db";
}

Statement::Statement(sqlite3* db, const std::string& sql) : m_db(db) {
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &m_stmt, nullptr) != SQLITE_OK) {
    throw DbError(std::string("simulator state: ") + sqlite3_errmsg(db) + " in: " + sql);
  }
}

Statement::~Statement() {
  if (m_stmt) sqlite3_finalize(m_stmt);
}

Statement::Statement(Statement&& other) noexcept : m_db(other.m_db), m_stmt(other.m_stmt), m_next(other.m_next) {
  other.m_stmt = nullptr;
}

Statement& Statement::bind(int64_t value) {
  sqlite3_bind_int64(m_stmt, m_next++, value);
  return *this;
}

Statement& Statement::bind(const std::string& value) {
  sqlite3_bind_text(m_stmt, m_next++, value.c_str(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  return *this;
}

bool Statement::step() {
  int rc = sqlite3_step(m_stmt);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  throw DbError(std::string("simulator state: ") + sqlite3_errmsg(m_db));
}

int64_t Statement::integer(int column) const { return sqlite3_column_int64(m_stmt, column); }

std::string Statement::text(int column) const {
  const unsigned char* value = sqlite3_column_text(m_stmt, column);
  return value ? reinterpret_cast<const char*>(value) : "";
}

bool Statement::isNull(int column) const { return sqlite3_column_type(m_stmt, column) == SQLITE_NULL; }

Transaction::Transaction(Db& db) : m_db(db) { m_db.exec("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  if (!m_done) {
    try {
      m_db.exec("ROLLBACK");
    } catch (...) {
    }
  }
}

void Transaction::commit() {
  m_db.exec("COMMIT");
  m_done = true;
}

}  // namespace rmsim
