#include "sim_luns.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "sim_call.h"
#include "sim_db.h"

namespace rmsim {

namespace {

void putBe16(unsigned char* at, unsigned value) {
  at[0] = static_cast<unsigned char>(value >> 8);
  at[1] = static_cast<unsigned char>(value);
}

void putBe32(unsigned char* at, uint32_t value) {
  at[0] = static_cast<unsigned char>(value >> 24);
  at[1] = static_cast<unsigned char>(value >> 16);
  at[2] = static_cast<unsigned char>(value >> 8);
  at[3] = static_cast<unsigned char>(value);
}

void putText(unsigned char* at, const std::string& text, size_t field) {
  std::memcpy(at, text.data(), std::min(text.size(), field - 1));  // always NUL-terminated within the field
}

// The host groups through which the LDEV is seen, in port and group order.
unsigned putHostGroups(Db& db, int serial, int ldev, unsigned char* buffer) {
  Statement groups = db.prepare(
      "SELECT l.port, p.fibre, l.hostgroup, h.name, "
      "(SELECT COUNT(*) FROM luns c WHERE c.serial = l.serial AND c.port = l.port AND c.hostgroup = "
      "l.hostgroup) "
      "FROM luns l JOIN ports p ON p.serial = l.serial AND p.port = l.port "
      "JOIN hostgroups h ON h.serial = l.serial AND h.port = l.port AND h.number = l.hostgroup "
      "WHERE l.serial = ? AND l.ldev = ? GROUP BY l.port, l.hostgroup ORDER BY l.port, l.hostgroup");
  groups.bind(serial).bind(ldev);
  unsigned count = 0;
  while (count < RMSIM_RMINFO_HG_MAX && groups.step()) {
    unsigned char* entry = buffer + RMSIM_RMINFO_HG_OFFSET + count * RMSIM_RMINFO_HG_SIZE;
    entry[0] = static_cast<unsigned char>(groups.number(0));
    entry[1] = groups.number(1) ? 1 : 0;
    entry[2] = static_cast<unsigned char>(groups.number(2));
    entry[3] = static_cast<unsigned char>(std::min(groups.number(4), 127));  // a signed byte
    putText(entry + 4, groups.text(3), RMSIM_RMINFO_HG_SIZE - 4);
    ++count;
  }
  return count;
}

}  // namespace

int ldevAt(Db& db, int serial, int port, int hostgroup, int lun) {
  Statement q =
      db.prepare("SELECT ldev FROM luns WHERE serial = ? AND port = ? AND hostgroup = ? AND lun = ?");
  q.bind(serial).bind(port).bind(hostgroup).bind(lun);
  return q.step() ? q.number(0) : -1;
}

bool firstPath(Db& db, int serial, int ldev, LuPath& path) {
  Statement q = db.prepare(
      "SELECT port, hostgroup, lun FROM luns WHERE serial = ? AND ldev = ? ORDER BY port, hostgroup, lun "
      "LIMIT 1");
  q.bind(serial).bind(ldev);
  if (!q.step()) return false;
  path.port = q.number(0);
  path.hostgroup = q.number(1);
  path.lun = q.number(2);
  return true;
}

int getLdev(Call& call, targdev* targ) {
  if (!call.attached()) return RMSIM_E_NOCMD;
  if (targ == nullptr) return call.fail(RMSIM_E_INVAL, "no target volume record");
  Statement port = call.db().prepare("SELECT fibre FROM ports WHERE serial = ? AND port = ?");
  port.bind(call.serial()).bind(targ->port);
  if (!port.step()) {
    return call.fail(RMSIM_E_NODEV,
                     "no port " + std::to_string(targ->port) + " on array " + std::to_string(call.serial()));
  }
  targ->serial = call.serial();
  targ->fibre = port.number(0) ? 1 : 0;
  int ldev = ldevAt(call.db(), call.serial(), targ->port, targ->targid, targ->lun);
  targ->ldevno = static_cast<uint16_t>(ldev >= 0 ? ldev : 0xFFFF);
  targ->numldev = ldev >= 0 ? 1 : 0;
  return 0;
}

int getRmInfo(Call& call, int ope, int ldev, int /*port: every LU path is reported*/, void* out) {
  if (!call.attached()) return RMSIM_E_NOCMD;
  if (ope != RMSIM_OPE_LUINFO) {
    return call.fail(RMSIM_E_INVOPE, "operation code " + std::to_string(ope) + " is not supported");
  }
  if (out == nullptr) return call.fail(RMSIM_E_INVAL, "no answer buffer");
  Db& db = call.db();
  unsigned char* buffer = static_cast<unsigned char*>(out);
  std::memset(buffer, 0, RMSIM_RMINFO_SIZE);
  Statement array = db.prepare("SELECT unit_id FROM arrays WHERE serial = ?");
  array.bind(call.serial());
  buffer[RMSIM_RMINFO_UNIT_OFFSET] = array.step() ? static_cast<unsigned char>(array.number(0)) : 0;
  putBe32(buffer + RMSIM_RMINFO_SERIAL_OFFSET, static_cast<uint32_t>(call.serial()));

  Statement q = db.prepare("SELECT emulation, size, property FROM ldevs WHERE serial = ? AND ldev = ?");
  q.bind(call.serial()).bind(ldev);
  if (!q.step()) {
    putText(buffer + RMSIM_RMINFO_EMULATION_OFFSET, "NOT DEFINE", RMSIM_RMINFO_EMULATION_SIZE);
    return 0;
  }
  putText(buffer + RMSIM_RMINFO_EMULATION_OFFSET, q.text(0), RMSIM_RMINFO_EMULATION_SIZE);
  putBe32(buffer + RMSIM_RMINFO_SIZE_OFFSET, static_cast<uint32_t>(q.integer(1)));
  const int property = q.number(2);
  buffer[RMSIM_RMINFO_PROPERTY_OFFSET] = static_cast<unsigned char>(property & RMSIM_PROP0_CMDDEV);
  buffer[RMSIM_RMINFO_PROPERTY_OFFSET + 1] = static_cast<unsigned char>(
      property & (RMSIM_PROP1_TRUECOPY | RMSIM_PROP1_SHADOWIMAGE | RMSIM_PROP1_SNAPSHOT));
  LuPath path;
  putBe16(buffer + RMSIM_RMINFO_LUN_OFFSET,
          firstPath(db, call.serial(), ldev, path) ? static_cast<unsigned>(path.lun) : 0xFFFFu);
  putBe16(buffer + RMSIM_RMINFO_HG_COUNT_OFFSET, putHostGroups(db, call.serial(), ldev, buffer));
  return 0;
}

int getDkcLimit(Call& call, dkc_limit* out) {
  if (!call.attached()) return RMSIM_E_NOCMD;
  if (out == nullptr) return call.fail(RMSIM_E_INVAL, "no limits record");
  std::memset(out, 0, sizeof(*out));
  Statement ports = call.db().prepare("SELECT COUNT(*) FROM ports WHERE serial = ?");
  ports.bind(call.serial());
  out->maxldev = 0xFF00;
  out->maxport = ports.step() ? ports.number(0) : 0;
  out->maxmmun = call.maxMirrorUnits();
  return 0;
}

}  // namespace rmsim
