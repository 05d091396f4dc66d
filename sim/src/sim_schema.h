#ifndef RMSIM_SIM_SCHEMA_H
#define RMSIM_SIM_SCHEMA_H

// The tables of the simulator's state file. A file written with another
// schema version is rebuilt empty: the state is disposable, a model is
// loaded again with `rmsim init` or `rmsim load`.

namespace rmsim {

const int kSchemaVersion = 9;

const char kDropTables[] = R"SQL(
-- counters and journal: tables of older versions, now kept beside the file (sim_calllog.h).
DROP TABLE IF EXISTS arrays; DROP TABLE IF EXISTS cmddevs; DROP TABLE IF EXISTS ports;
DROP TABLE IF EXISTS hostgroups; DROP TABLE IF EXISTS ldevs; DROP TABLE IF EXISTS luns;
DROP TABLE IF EXISTS pairs; DROP TABLE IF EXISTS lasterr; DROP TABLE IF EXISTS faults;
DROP TABLE IF EXISTS counters; DROP TABLE IF EXISTS settings; DROP TABLE IF EXISTS attachments;
DROP TABLE IF EXISTS journal; DROP TABLE IF EXISTS ldev_data;
)SQL";

const char kCreateTables[] = R"SQL(
-- One simulated disk array.
CREATE TABLE arrays (serial INTEGER PRIMARY KEY, vendor TEXT NOT NULL, product TEXT NOT NULL,
  maxmmun INTEGER NOT NULL, unit_id INTEGER NOT NULL);
-- Command devices by the device path the host gives them; ldev -1 when the model names none.
CREATE TABLE cmddevs (path TEXT PRIMARY KEY, serial INTEGER NOT NULL, ldev INTEGER NOT NULL);
CREATE TABLE ports (serial INTEGER, port INTEGER, fibre INTEGER NOT NULL, PRIMARY KEY (serial, port));
-- On SCSI ports the host group number is the SCSI target id.
CREATE TABLE hostgroups (serial INTEGER, port INTEGER, number INTEGER, name TEXT NOT NULL,
  PRIMARY KEY (serial, port, number));
-- property: bit 0 command device, 1 TrueCopy, 2 ShadowImage, 3 Snapshot. The inq_* columns and
-- device are what a SCSI inquiry on this host reports and the host's disk name ("sdc").
CREATE TABLE ldevs (serial INTEGER, ldev INTEGER, emulation TEXT NOT NULL, size INTEGER NOT NULL,
  property INTEGER NOT NULL, ssid INTEGER NOT NULL, device TEXT NOT NULL, inq_vendor TEXT NOT NULL,
  inq_product TEXT NOT NULL, inq_serial TEXT NOT NULL, PRIMARY KEY (serial, ldev));
CREATE TABLE luns (serial INTEGER, port INTEGER, hostgroup INTEGER, lun INTEGER, ldev INTEGER NOT NULL,
  PRIMARY KEY (serial, port, hostgroup, lun));
-- Holds the path order too: a volume's paths "ORDER BY port, hostgroup, lun" would otherwise make
-- the planner walk every LUN of the array in key order to spare a sort, one scan per call.
CREATE INDEX luns_by_ldev ON luns (serial, ldev, port, hostgroup, lun);
-- A pair is keyed by its primary and mirror unit. While copying, reads_left counts the status
-- reads until completion and copy_started (seconds since the epoch) times it; suspend_at_end
-- makes the copy end in PSUE instead of PAIR, split_at_end (a ShadowImage split accepted while
-- copying) in PSUS.
CREATE TABLE pairs (serial INTEGER, pvol INTEGER, mu INTEGER, svol INTEGER NOT NULL, kind TEXT NOT NULL,
  status INTEGER NOT NULL, ctgid INTEGER NOT NULL, csize INTEGER NOT NULL, smod INTEGER NOT NULL,
  copyrate INTEGER NOT NULL, reads_left INTEGER NOT NULL, copy_started REAL NOT NULL,
  suspend_at_end INTEGER NOT NULL, split_at_end INTEGER NOT NULL DEFAULT 0, PRIMARY KEY (serial, pvol, mu));
CREATE INDEX pairs_by_svol ON pairs (serial, svol);
-- Armed faults, met in the order they were armed. after: matching calls still to succeed first;
-- remaining: calls still to fail once it triggers (-1: every one). serial and ldev (-1: any volume),
-- cmddev ('': any) and pid (0: any) narrow the calls it matches. text: what getrmerrmsg returns
-- while it triggers (0 the last failure's text, 1 null, 2 empty).
CREATE TABLE faults (id INTEGER PRIMARY KEY, func TEXT NOT NULL, errno INTEGER NOT NULL,
  message TEXT NOT NULL, remaining INTEGER NOT NULL, after INTEGER NOT NULL, serial INTEGER NOT NULL,
  ldev INTEGER NOT NULL, cmddev TEXT NOT NULL, pid INTEGER NOT NULL, carried_out INTEGER NOT NULL,
  text INTEGER NOT NULL);
CREATE TABLE settings (key TEXT PRIMARY KEY, value TEXT NOT NULL);
-- Who has which command device attached under which instance number; blocks: how many attach
-- blocks of that process do (each detach gives one back).
CREATE TABLE attachments (path TEXT, instance INTEGER, pid INTEGER, blocks INTEGER NOT NULL DEFAULT 1,
  PRIMARY KEY (path, instance, pid));
-- What each LDEV holds (at most a few KiB: enough to tell one point in time from another).
CREATE TABLE ldev_data (serial INTEGER, ldev INTEGER, bytes BLOB NOT NULL, PRIMARY KEY (serial, ldev));
)SQL";

}  // namespace rmsim

#endif
