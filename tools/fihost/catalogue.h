#ifndef FIHOST_CATALOGUE_H
#define FIHOST_CATALOGUE_H

#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace fihost {

// The snapshots taken on this host, so that fihost knows which snapshot a
// partner volume holds now. A partner holds one point in time: the next
// snapshot on it resynchronises it from the source and destroys the one
// before. The catalogue records that the moment it is about to happen, so a
// state file or restore point whose partner has been overwritten since is
// recognised as stale, even when the later run failed before make.
//
// Kept in SQLite (one file, every change one transaction): a run killed at
// any point leaves each entry either as it was or as it became, never half
// written. Several fihost processes may use it at once.

// One snapshot of one source device on one partner.
struct CatalogueEntry {
  long long id = 0;           // set by begin(); rising, never reused
  std::string session;        // the framework session that took it
  std::string started;        // UTC ISO 8601: when the run set out to overwrite the partner
  std::string taken;          // UTC ISO 8601: when make split the pair; "" while not made
  std::string device;         // as given on the command line
  std::string source;         // source UDID
  std::string method;         // snapshot method
  std::string targetArray;    // the partner's array serial
  std::string targetLdev;     // the partner's LDEV: with targetArray, what identifies the partner
  std::string target;         // the partner's UDID as make named the snapshot; "" while not made
  int mirrorUnit = -1;        // the pair's mirror unit, -1 when not known
  std::string providerState;  // the plugin's provider state after make, verbatim; "" while not made
  std::string stateFile;      // absolute path of the state file written with it, "" when none
  long long replacedBy = 0;   // the later entry that overwrote the partner, 0 while this one holds it

  bool made() const { return !taken.empty(); }
  bool intact() const { return made() && replacedBy == 0; }
};

class Catalogue {
 public:
  // HITACHIFI_CACHE_DIR (default /var/cache/hitachifi) + "/fihost/catalogue.db".
  static std::string defaultPath();

  // Opens the catalogue, creating it and its folder (0755) when missing.
  // Throws Problem naming the file and the reason when it cannot be opened,
  // created or read.
  explicit Catalogue(const std::string& path = defaultPath());
  ~Catalogue();
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;
  const std::string& path() const { return m_path; }

  // Records, before the first call that may overwrite the partners, one
  // unmade entry per partner, and marks every earlier entry of the same
  // partner replaced by it. One transaction; sets each entry's id and
  // `started`. Throws Problem.
  void begin(std::vector<CatalogueEntry>& entries);

  // Records what make gave: each entry's `taken`, `target`, `providerState`,
  // `stateFile` and `mirrorUnit`, by id. One transaction. Throws Problem.
  void complete(const std::vector<CatalogueEntry>& entries);

  std::optional<CatalogueEntry> find(long long id) const;

  // The made entry of a session's snapshot on a partner (its UDID), the
  // way a state file names it.
  std::optional<CatalogueEntry> findSnapshot(const std::string& session, const std::string& target) const;

  // The newest entry on a partner, made or not: what the partner holds now
  // as far as this host knows. None when no snapshot was ever recorded on it.
  std::optional<CatalogueEntry> latestOn(const std::string& targetArray, const std::string& targetLdev) const;

  // Made entries, newest first; only those of one source UDID when given.
  std::vector<CatalogueEntry> list(const std::string& source = "") const;

 private:
  std::vector<CatalogueEntry> query(const std::string& where, const std::vector<std::string>& args) const;
  // The first entry `where` selects, if any.
  std::optional<CatalogueEntry> first(const std::string& where, const std::vector<std::string>& args) const;
  std::string m_path;
  sqlite3* m_db = nullptr;
};

// The current UTC time as the catalogue and the state files write it.
std::string utcNow();

}  // namespace fihost

#endif
