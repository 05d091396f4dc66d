#include "hitachi_snappair.h"

#include "hitachi_pdfields.h"
#include "hitachi_pdparser.h"

using hitachi_pdfields::readInt;

ACE_CString SHitachiSnapPair::serialize() const {
  ACE_CString contents = CPrivateDataParser::createNode("MUN", m_muNumber);
  contents += CPrivateDataParser::createNode("LUN", static_cast<int>(m_lun));
  contents += CPrivateDataParser::createNode("Status", m_status);
  contents += CPrivateDataParser::createNode("SerialNo", m_serialNo);
  return CPrivateDataParser::createNode("SnapPair", contents);
}

void SHitachiSnapPair::deserialize(const char* text) {
  const char* contents = nullptr;
  int length = 0;
  if (CPrivateDataParser::getNodeContents("SnapPair", text, &contents, &length) != 0) return;
  // Read in this order: MUN, Status, LUN, SerialNo.
  readInt(contents, "MUN", m_muNumber);
  readInt(contents, "Status", m_status);
  int lun = m_lun;
  readInt(contents, "LUN", lun);
  m_lun = static_cast<uint16_t>(lun);
  readInt(contents, "SerialNo", m_serialNo);
}
