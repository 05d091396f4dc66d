#ifndef HITACHI_SNAPPAIR_H
#define HITACHI_SNAPPAIR_H

#include <ace/SString.h>

#include <cstdint>

// One copy pair a device takes part in, as RMLIB reported it. A plain value
// record, copied by value and kept in its vdisk's pair list.
struct SHitachiSnapPair {
  int m_muNumber = 0;   // "MUN": the mirror unit number
  int m_status = 0;     // "Status": the pair status code (1 SMPL .. 7 RCPY, 255 UNKN)
  uint16_t m_lun = 0;   // "LUN"
  uint8_t m_ctgid = 0;  // the pair's consistency group (the byte after the LUN); never written
  int m_serialNo = 0;   // "SerialNo": the array serial reported for the pair

  // The record as one node:
  // <SnapPair><MUN>..</MUN><LUN>..</LUN><Status>..</Status><SerialNo>..</SerialNo></SnapPair>
  ACE_CString serialize() const;
  // Fills the record from the first "SnapPair" node of the zero-terminated
  // text (which may begin before the node and go on after it). The LUN is
  // cut to 16 bits. A missing node, or a missing field node, leaves what it
  // would have set unchanged.
  void deserialize(const char* text);
};

#endif
