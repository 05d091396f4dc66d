#include "hitachi_vdisk.h"

#include "hitachi_pdparser.h"

namespace {

using P = CPrivateDataParser;

// Each reader looks for its field from the start of the enclosing node's
// contents, as the format defines; a missing node leaves the field alone.
void readInt(const char* from, const char* name, int& field) {
  const char* contents = nullptr;
  int length = 0;
  if (P::getNodeContents(name, from, &contents, &length) == 0) field = P::toInteger(contents, length);
}

void readString(const char* from, const char* name, std::string& field) {
  const char* contents = nullptr;
  int length = 0;
  if (P::getNodeContents(name, from, &contents, &length) == 0) field = P::toString(contents, length);
}

void readBool(const char* from, const char* name, bool& field) {
  const char* contents = nullptr;
  int length = 0;
  if (P::getNodeContents(name, from, &contents, &length) == 0) field = P::toBool(contents, length);
}

}  // namespace

ACE_CString SHitachiSnapPair::serialize() const {
  ACE_CString contents = P::createNode("MUN", m_muNumber);
  contents += P::createNode("LUN", static_cast<int>(m_lun));
  contents += P::createNode("Status", m_status);
  contents += P::createNode("SerialNo", m_serialNo);
  return P::createNode("SnapPair", contents);
}

void SHitachiSnapPair::deserialize(const char* text) {
  const char* contents = nullptr;
  int length = 0;
  if (P::getNodeContents("SnapPair", text, &contents, &length) != 0) return;
  readInt(contents, "MUN", m_muNumber);
  readInt(contents, "Status", m_status);
  int lun = m_lun;
  readInt(contents, "LUN", lun);
  m_lun = static_cast<uint16_t>(lun);
  readInt(contents, "SerialNo", m_serialNo);
}

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

  const char* start = nullptr;
  const char* end = nullptr;
  if (P::getNode("HostInfo", contents, &start, &end) == 0) m_hostInfo.deserialize(start);

  const char* pairList = nullptr;
  int pairListLength = 0;
  if (P::getNodeContents("PairList", contents, &pairList, &pairListLength) != 0) return;
  // Kept: not bounded by the end of PairList.
  const char* cursor = pairList;
  while (P::getNode("SnapPair", cursor, &start, &end) == 0) {
    SHitachiSnapPair pair;
    pair.deserialize(start);
    m_pairList.push_back(pair);
    cursor = end;
  }
}
