// Restore: copy snapshots back onto their sources and split them again.
#include <string>
#include <vector>

#include "cfiudid.h"
#include "hitachi_exception.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_guard.h"
#include "hitachi_rmlib_records.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

// Entry `i` of one of the framework's object lists; null when the list or
// the entry is missing.
frim_objid* entryOf(frim_objid** list, long i) { return list == nullptr ? nullptr : list[i]; }

// The UDID text of an object; a missing object reads as an empty text, which
// the UDID parser refuses.
std::string udidTextOf(const frim_objid* object) {
  return object != nullptr && object->name != nullptr ? object->name : "";
}

[[noreturn]] void throwInvalidInput(const std::string& reason, const char* file, int line) {
  CHitachiException e;
  e.m_kind = HITACHI_EXC_INVALID_INPUT;
  e.m_errorNumber = -1;
  e.m_apiName = "restore";
  e.m_reason = reason;
  e.m_file = file;
  e.m_line = line;
  throw e;
}

// Working record `i`. The working lists hold one record per entry that was
// not skipped, so after a skipped entry an index can lie beyond them; that
// is refused rather than read.
SHitachiVirtualDisk& workingRecord(std::vector<SHitachiVirtualDisk>& list, long i) {
  if (i < 0 || static_cast<size_t>(i) >= list.size()) {
    HITACHI_TRACE(FI_TRACE_ERROR, "CHitachiPlugin::restore : no device record at index %ld", i);
    throwInvalidInput("no device record at index " + std::to_string(i) + " after a skipped entry", __FILE__,
                      __LINE__);
  }
  return list[static_cast<size_t>(i)];
}

}  // namespace

int CHitachiPlugin::restore(frim_objid** sources, frim_objid** snapshots, long count, char*, char*, char***,
                            long*, long flags, long*) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::restore");
  if (flags != ZFI_RESTORE_DEFAULT && (flags & (ZFI_RESTORE_START | ZFI_RESTORE_PARTIAL)) == 0) {
    HITACHI_TRACE(FI_TRACE_ERROR,
                  "Restore flags (%lx) do not include ZFI_RESTORE_START, ZFI_RESTORE_PARTIAL or "
                  "ZFI_RESTORE_DEFAULT",
                  flags);
    return ZFI_E_INVALID;
  }
  return HITACHI_GUARDED({
    std::vector<SHitachiVirtualDisk> vdisks;
    std::vector<SHitachiVirtualDisk> vdiskCopies;

    // Start: a reverse resync of every pair.
    for (long i = 0; i < count; ++i) {
      frim_objid* source = entryOf(sources, i);
      frim_objid* snapshot = entryOf(snapshots, i);
      if (source == nullptr || snapshot == nullptr || source->name == nullptr || snapshot->name == nullptr)
        continue;
      CFiUdid a(source->name);
      CFiUdid b(snapshot->name);
      vdisks.push_back(
          m_cmdIntf.getLUNInfo(commandDeviceOf(a.getEnclosureId()), a.getDeviceId(), b.getDeviceId()));
      vdiskCopies.push_back(
          m_cmdIntf.getLUNInfo(commandDeviceOf(b.getEnclosureId()), b.getDeviceId(), false));
      // Kept: the working records are taken by entry index, not by how many
      // were read; callers pass no null entries.
      const int rc = syncPair(commandDeviceOf(a.getEnclosureId()), workingRecord(vdisks, i),
                              workingRecord(vdiskCopies, i), true);
      if (rc != 0) {
        HITACHI_TRACE(FI_TRACE_ERROR, "syncPair failed");
        return ZFI_E_REPORTED;
      }
    }

    // Completion: wait for each reverse copy to end and split the pair again.
    // Kept: the poll has no delay and no limit. The framework counts on
    // restore returning only once every snapshot is split again; a pair
    // that never gets there keeps it polling until an array call fails.
    for (long j = 0; j < count;) {
      CFiUdid udid;
      udid.parse(udidTextOf(entryOf(sources, j)));
      CFiSmartPtr<SCmdInfo> cmd = commandDeviceOf(udid.getEnclosureId());
      SHitachiVirtualDisk& vdisk = workingRecord(vdisks, j);
      SHitachiVirtualDisk& vdiskCopy = workingRecord(vdiskCopies, j);
      const int status = m_cmdIntf.getPairStatus(cmd, vdisk, vdiskCopy, true);
      if (status == PAIR_PAIR) {
        m_cmdIntf.splitPair(cmd, vdisk, vdiskCopy);
      } else if (status == PAIR_PSUS) {
        ++j;
      }
    }
    return ZFI_OK;
  });
}
