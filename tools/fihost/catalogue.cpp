#include "catalogue.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "problem.h"

namespace fihost {

namespace {

// Raised when the layout changes; an older file is migrated, never emptied:
// it holds the only record of which partner holds which point in time.
constexpr int kSchemaVersion = 1;

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS snapshots("
    " id INTEGER PRIMARY KEY AUTOINCREMENT,"
    " session TEXT NOT NULL,"
    " started TEXT NOT NULL,"
    " taken TEXT NOT NULL DEFAULT '',"
    " device TEXT NOT NULL,"
    " source TEXT NOT NULL,"
    " method TEXT NOT NULL,"
    " target_array TEXT NOT NULL,"
    " target_ldev TEXT NOT NULL,"
    " target TEXT NOT NULL DEFAULT '',"
    " mirror_unit INTEGER NOT NULL DEFAULT -1,"
    " provider_state TEXT NOT NULL DEFAULT '',"
    " state_file TEXT NOT NULL DEFAULT '',"
    " replaced_by INTEGER NOT NULL DEFAULT 0);"
    "CREATE INDEX IF NOT EXISTS snapshots_partner ON snapshots(target_array, target_ldev);"
    "CREATE INDEX IF NOT EXISTS snapshots_source ON snapshots(source);";

constexpr char kColumns[] =
    "id, session, started, taken, device, source, method, target_array, target_ldev, target, mirror_unit, "
    "provider_state, state_file, replaced_by";

std::string cacheDirectory() {
  const char* dir = ::secure_getenv("HITACHIFI_CACHE_DIR");
  return dir && *dir ? dir : "/var/cache/hitachifi";
}

// A prepared statement, finalised on destruction.
class Statement {
 public:
  Statement(sqlite3* db, const std::string& sql, const std::string& path) : m_db(db), m_path(path) {
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &m_statement, nullptr) != SQLITE_OK) fail("prepare");
  }
  ~Statement() { sqlite3_finalize(m_statement); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int index, const std::string& text) {
    sqlite3_bind_text(m_statement, index, text.c_str(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Statement& bind(int index, long long number) {
    sqlite3_bind_int64(m_statement, index, number);
    return *this;
  }
  // True while a row is there to read.
  bool step() {
    int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) fail("step");
    return false;
  }
  std::string text(int column) const {
    const unsigned char* value = sqlite3_column_text(m_statement, column);
    return value ? reinterpret_cast<const char*>(value) : "";
  }
  long long number(int column) const { return sqlite3_column_int64(m_statement, column); }

 private:
  [[noreturn]] void fail(const char* what) const {
    throw Problem("the snapshot catalogue " + m_path + " cannot be used (" + what +
                  "): " + sqlite3_errmsg(m_db));
  }
  sqlite3* m_db;
  std::string m_path;
  sqlite3_stmt* m_statement = nullptr;
};

// BEGIN IMMEDIATE ... COMMIT, rolled back when an exception leaves first.
class Transaction {
 public:
  Transaction(sqlite3* db, const std::string& path) : m_db(db), m_path(path) { run("BEGIN IMMEDIATE"); }
  ~Transaction() {
    if (!m_done) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  void commit() {
    run("COMMIT");
    m_done = true;
  }

 private:
  void run(const char* sql) {
    char* error = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
      std::string why = error ? error : "unknown error";
      sqlite3_free(error);
      throw Problem("the snapshot catalogue " + m_path + " cannot be written: " + why);
    }
  }
  sqlite3* m_db;
  std::string m_path;
  bool m_done = false;
};

}  // namespace

std::string utcNow() {
  char text[32];
  std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string Catalogue::defaultPath() { return cacheDirectory() + "/fihost/catalogue.db"; }

Catalogue::Catalogue(const std::string& path) : m_path(path) {
  const std::string folder = path.substr(0, path.rfind('/'));
  if (!folder.empty() && ::mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST)
    throw Problem("cannot create the folder of the snapshot catalogue " + folder + ": " +
                  std::strerror(errno));
  // A link in its place could make fihost write where it was never meant to.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_FULLMUTEX;
  if (sqlite3_open_v2(path.c_str(), &m_db, flags, nullptr) != SQLITE_OK) {
    std::string why = m_db ? sqlite3_errmsg(m_db) : "out of memory";
    sqlite3_close(m_db);
    throw Problem("cannot open the snapshot catalogue " + path + ": " + why);
  }
  sqlite3_busy_timeout(m_db, 30000);  // another fihost recording its snapshot
  char* error = nullptr;
  if (sqlite3_exec(m_db, kSchema, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string why = error ? error : "unknown error";
    sqlite3_free(error);
    sqlite3_close(m_db);
    throw Problem("cannot open the snapshot catalogue " + path + ": " + why);
  }
  Statement version(m_db, "PRAGMA user_version", path);
  long long found = version.step() ? version.number(0) : 0;
  if (found > kSchemaVersion)
    throw Problem("the snapshot catalogue " + path + " was written by a newer fihost (layout " +
                  std::to_string(found) + ")");
  if (found < kSchemaVersion) sqlite3_exec(m_db, "PRAGMA user_version = 1", nullptr, nullptr, nullptr);
}

Catalogue::~Catalogue() { sqlite3_close(m_db); }

void Catalogue::begin(std::vector<CatalogueEntry>& entries) {
  Transaction transaction(m_db, m_path);
  const std::string now = utcNow();
  for (CatalogueEntry& e : entries) {
    e.started = now;
    Statement insert(m_db,
                     "INSERT INTO snapshots(session, started, device, source, method, target_array, "
                     "target_ldev, mirror_unit, state_file) VALUES(?,?,?,?,?,?,?,?,?)",
                     m_path);
    insert.bind(1, e.session).bind(2, e.started).bind(3, e.device).bind(4, e.source).bind(5, e.method);
    insert.bind(6, e.targetArray).bind(7, e.targetLdev).bind(8, static_cast<long long>(e.mirrorUnit));
    insert.bind(9, e.stateFile).step();
    e.id = sqlite3_last_insert_rowid(m_db);
    e.replacedBy = 0;
    Statement replace(m_db,
                      "UPDATE snapshots SET replaced_by = ? WHERE target_array = ? AND target_ldev = ? "
                      "AND id <> ? AND replaced_by = 0",
                      m_path);
    replace.bind(1, e.id).bind(2, e.targetArray).bind(3, e.targetLdev).bind(4, e.id).step();
  }
  transaction.commit();
}

void Catalogue::complete(const std::vector<CatalogueEntry>& entries) {
  Transaction transaction(m_db, m_path);
  for (const CatalogueEntry& e : entries) {
    Statement update(m_db,
                     "UPDATE snapshots SET taken = ?, target = ?, provider_state = ?, state_file = ?, "
                     "mirror_unit = ? WHERE id = ?",
                     m_path);
    update.bind(1, e.taken.empty() ? utcNow() : e.taken).bind(2, e.target).bind(3, e.providerState);
    update.bind(4, e.stateFile).bind(5, static_cast<long long>(e.mirrorUnit)).bind(6, e.id).step();
    if (sqlite3_changes(m_db) != 1)
      throw Problem("the snapshot catalogue " + m_path + " has no entry " + std::to_string(e.id));
  }
  transaction.commit();
}

std::vector<CatalogueEntry> Catalogue::query(const std::string& where,
                                             const std::vector<std::string>& args) const {
  Statement select(m_db, std::string("SELECT ") + kColumns + " FROM snapshots " + where, m_path);
  for (size_t i = 0; i < args.size(); ++i) select.bind(static_cast<int>(i + 1), args[i]);
  std::vector<CatalogueEntry> found;
  while (select.step()) {
    CatalogueEntry e;
    e.id = select.number(0);
    e.session = select.text(1);
    e.started = select.text(2);
    e.taken = select.text(3);
    e.device = select.text(4);
    e.source = select.text(5);
    e.method = select.text(6);
    e.targetArray = select.text(7);
    e.targetLdev = select.text(8);
    e.target = select.text(9);
    e.mirrorUnit = static_cast<int>(select.number(10));
    e.providerState = select.text(11);
    e.stateFile = select.text(12);
    e.replacedBy = select.number(13);
    found.push_back(e);
  }
  return found;
}

std::optional<CatalogueEntry> Catalogue::first(const std::string& where,
                                               const std::vector<std::string>& args) const {
  auto found = query(where, args);
  if (found.empty()) return std::nullopt;
  return found.front();
}

std::optional<CatalogueEntry> Catalogue::find(long long id) const {
  return first("WHERE id = ?", {std::to_string(id)});
}

std::optional<CatalogueEntry> Catalogue::findSnapshot(const std::string& session,
                                                      const std::string& target) const {
  return first("WHERE session = ? AND target = ? AND taken <> '' ORDER BY id DESC LIMIT 1",
               {session, target});
}

std::optional<CatalogueEntry> Catalogue::latestOn(const std::string& targetArray,
                                                  const std::string& targetLdev) const {
  return first("WHERE target_array = ? AND target_ldev = ? ORDER BY id DESC LIMIT 1",
               {targetArray, targetLdev});
}

std::vector<CatalogueEntry> Catalogue::list(const std::string& source) const {
  if (source.empty()) return query("WHERE taken <> '' ORDER BY id DESC", {});
  return query("WHERE taken <> '' AND source = ? ORDER BY id DESC", {source});
}

}  // namespace fihost
