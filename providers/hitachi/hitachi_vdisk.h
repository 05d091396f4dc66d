#ifndef HITACHI_VDISK_H
#define HITACHI_VDISK_H

#include <ace/SString.h>

#include <cstdint>
#include <string>
#include <vector>

// One copy pair a device takes part in.
struct SHitachiSnapPair {
  int m_muNumber = 0;     // "MUN"
  int m_status = 0;       // "Status": pair status code
  uint16_t m_lun = 0;     // "LUN"
  uint8_t m_ctgid = 0;    // the consistency group (the byte after the LUN); not written
  int m_serialNo = 0;     // "SerialNo"

  ACE_CString serialize() const;
  // Fills the record from the first "SnapPair" node of the text. A field
  // whose node is missing keeps its value.
  void deserialize(const char* text);
};

// One array logical device (a vdisk): what the array says about it, the
// host port and host group it is seen through, and its pairs.
//
// Reading is lenient where the text is incomplete: a node that is missing
// leaves its field as it was (and a missing "Vdisk" node leaves the whole
// record), rather than reading from nowhere. Texts written by serialize()
// always hold every node.
struct SHitachiVirtualDisk {
  struct SHostInfo {
    int m_portNo = 0;             // "PortNo"
    int m_hostGroupNo = 0;        // "HostGroupNo"
    std::string m_hostGroupName;  // "HostGroupName"

    ACE_CString serialize() const;
    void deserialize(const char* text);
  };

  std::string m_deviceId;           // "DeviceId": the LDEV number, decimal
  std::string m_enclosureId;        // "EnclosureId": the array's serial
  bool m_isCmdDevice = false;       // "IsCmdDevice"
  bool m_supportTrueCopy = false;   // "SupportTrueCopy"
  bool m_supportShadowImage = false;  // "SupportShadowImage"
  bool m_supportSnapshot = false;   // "SupportSnapshot"
  bool m_isSnap = false;            // "IsSnap": the snapshot (secondary) side
  uint64_t m_reserved = 0;          // copied with the record, never written
  std::vector<SHitachiSnapPair> m_pairList;  // "PairList"
  SHostInfo m_hostInfo;             // "HostInfo"
  int m_deviceNumber = 0;           // the LDEV (or LUN) used in library calls; not written

  ACE_CString serialize() const;
  // Fills the record from the first "Vdisk" node of the text. Kept: the
  // pair loop takes every "SnapPair" node to the end of the whole text, so
  // a vdisk followed by others also receives their pairs. A truth value
  // that is not "0" or "1" throws invalidData with the record partly filled.
  void deserialize(const char* text);
};

#endif
