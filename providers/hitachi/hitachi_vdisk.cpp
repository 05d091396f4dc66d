#include "hitachi_vdisk.h"

#include "hitachi_pdfields.h"
#include "hitachi_pdparser.h"

using hitachi_pdfields::readBool;
using hitachi_pdfields::readInt;
using hitachi_pdfields::readString;
using P = CPrivateDataParser;

ACE_CString SHitachiVirtualDisk::SHostInfo::serialize() const {
  ACE_CString contents = P::createNode("PortNo", m_portNo);
  contents += P::createNode("HostGroupNo", m_hostGroupNo);
  contents += P::createNode("HostGroupName", m_hostGroupName);
  return P::createNode("HostInfo", contents);
}

void SHitachiVirtualDisk::SHostInfo::deserialize(const char* text) {
  const char* contents = nullptr;
  int length = 0;
  if (P::getNodeContents("HostInfo", text, &contents, &length) != 0) return;
  readInt(contents, "PortNo", m_portNo);
  readInt(contents, "HostGroupNo", m_hostGroupNo);
  readString(contents, "HostGroupName", m_hostGroupName);
}

ACE_CString SHitachiVirtualDisk::serialize() const {
  ACE_CString contents = P::createNode("DeviceId", m_deviceId);
  contents += P::createNode("EnclosureId", m_enclosureId);
  contents += P::createNode("IsCmdDevice", m_isCmdDevice);
  contents += P::createNode("SupportTrueCopy", m_supportTrueCopy);
  contents += P::createNode("SupportShadowImage", m_supportShadowImage);
  contents += P::createNode("SupportSnapshot", m_supportSnapshot);
  contents += P::createNode("IsSnap", m_isSnap);
  contents += m_hostInfo.serialize();
  ACE_CString pairs;
  for (const SHitachiSnapPair& pair : m_pairList) pairs += pair.serialize();
  contents += P::createNode("PairList", pairs);
  return P::createNode("Vdisk", contents);
}

void SHitachiVirtualDisk::deserialize(const char* text) {
  // 1. The vdisk's own fields, each searched from the start of its contents.
  const char* contents = nullptr;
  int length = 0;
  if (P::getNodeContents("Vdisk", text, &contents, &length) != 0) return;
  readString(contents, "DeviceId", m_deviceId);
  readString(contents, "EnclosureId", m_enclosureId);
  readBool(contents, "IsCmdDevice", m_isCmdDevice);
  readBool(contents, "SupportTrueCopy", m_supportTrueCopy);
  readBool(contents, "SupportShadowImage", m_supportShadowImage);
  readBool(contents, "SupportSnapshot", m_supportSnapshot);
  readBool(contents, "IsSnap", m_isSnap);

  // 2. The host info, from the start of the whole "HostInfo" node.
  const char* start = nullptr;
  const char* end = nullptr;
  if (P::getNode("HostInfo", contents, &start, &end) == 0) m_hostInfo.deserialize(start);

  // 3. The pairs, from the start of the "PairList" contents. Kept: the loop
  // is not bounded by the end of "PairList" (see the declaration).
  const char* cursor = nullptr;
  int pairListLength = 0;
  if (P::getNodeContents("PairList", contents, &cursor, &pairListLength) != 0) return;
  while (P::getNode("SnapPair", cursor, &start, &end) == 0) {
    SHitachiSnapPair pair;
    pair.deserialize(start);
    m_pairList.push_back(pair);
    cursor = end;
  }
}
