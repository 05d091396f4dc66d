#ifndef HITACHI_VDISK_H
#define HITACHI_VDISK_H

#include <ace/SString.h>

#include <cstdint>
#include <string>
#include <vector>

#include "hitachi_snappair.h"

// One array logical device (a vdisk): what the array says about it, the
// host port and host group it is seen through, and its pairs. The record
// owns its texts and its pair list; copies are member-wise.
//
// serialize() writes every node, always in the same order; deserialize()
// reads the texts serialize() wrote. For any other text the reader stays
// safe rather than strict: a node that is missing leaves its field as it
// was, a missing "Vdisk" node leaves the whole record, a missing "HostInfo"
// the host info and a missing "PairList" the pair list.
struct SHitachiVirtualDisk {
  struct SHostInfo {
    int m_portNo = 0;             // "PortNo": the array port the host sees the device through
    int m_hostGroupNo = 0;        // "HostGroupNo": the host group on that port
    std::string m_hostGroupName;  // "HostGroupName"

    // <HostInfo><PortNo>..</PortNo><HostGroupNo>..</HostGroupNo><HostGroupName>..</HostGroupName></HostInfo>
    ACE_CString serialize() const;
    // Fills the record from the first "HostInfo" node of the text.
    void deserialize(const char* text);
  };

  std::string m_deviceId;                    // "DeviceId": the LDEV number, decimal
  std::string m_enclosureId;                 // "EnclosureId": the array, third component of the UDID
  bool m_isCmdDevice = false;                // "IsCmdDevice"
  bool m_supportTrueCopy = false;            // "SupportTrueCopy"
  bool m_supportShadowImage = false;         // "SupportShadowImage"
  bool m_supportSnapshot = false;            // "SupportSnapshot"
  bool m_isSnap = false;                     // "IsSnap": the snapshot (secondary) side
  uint64_t m_reserved = 0;                   // zero when built; copied with the record, never written
  std::vector<SHitachiSnapPair> m_pairList;  // "PairList", in array order
  SHostInfo m_hostInfo;                      // "HostInfo"
  int m_deviceNumber = 0;                    // the device id as an integer, for RMLIB; never written

  // The record as one node "Vdisk": DeviceId, EnclosureId, the five truth
  // values, HostInfo, then PairList holding the pairs in list order.
  ACE_CString serialize() const;

  // Fills the record from the first "Vdisk" node of the zero-terminated text.
  // The pairs read are appended to the pair list, so read into a fresh
  // record. Kept: the pair loop takes every "SnapPair" node up to the end of
  // the whole text, not just those inside "PairList"; where several vdisks
  // follow one another (the provider-state list), an earlier one also
  // receives the pairs of those after it, and callers rely on that.
  // m_reserved and m_deviceNumber keep their values. A truth value that is
  // not exactly "0" or "1" throws invalidData with the record partly filled.
  void deserialize(const char* text);
};

#endif
