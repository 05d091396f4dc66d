// The device records: their text, reading it back, and the reading rules
// for lists and for texts that serialize() did not write.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "hitachi_pdparser.h"
#include "hitachi_vdisk.h"

namespace {

// clang-format off
const std::string kReference =
    "<Vdisk><DeviceId>12</DeviceId><EnclosureId>410</EnclosureId>"
    "<IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</SupportTrueCopy>"
    "<SupportShadowImage>1</SupportShadowImage><SupportSnapshot>0</SupportSnapshot><IsSnap>0</IsSnap>"
    "<HostInfo><PortNo>0</PortNo><HostGroupNo>1</HostGroupNo><HostGroupName>G1</HostGroupName></HostInfo>"
    "<PairList><SnapPair><MUN>0</MUN><LUN>40</LUN><Status>3</Status><SerialNo>410</SerialNo></SnapPair>"
    "</PairList></Vdisk>";
// clang-format on

std::string text(const ACE_CString& s) { return std::string(s.c_str(), s.length()); }

SHitachiSnapPair pair(int mu, uint16_t lun, int status, int serial) {
  return SHitachiSnapPair{mu, status, lun, 0, serial};
}

// Device 12 of array 410, ShadowImage only, host group 1 "G1", one pair.
SHitachiVirtualDisk referenceDisk() {
  SHitachiVirtualDisk disk;
  disk.m_deviceId = "12";
  disk.m_enclosureId = "410";
  disk.m_supportShadowImage = true;
  disk.m_hostInfo.m_hostGroupNo = 1;
  disk.m_hostInfo.m_hostGroupName = "G1";
  disk.m_pairList.push_back(pair(0, 40, 3, 410));
  return disk;
}

TEST(DeviceRecords, VdiskWritesTheReferenceLineByteForByte) {
  EXPECT_EQ(kReference, text(referenceDisk().serialize()));
}

TEST(DeviceRecords, EveryRecordRoundTripsNegativeNumbersFromInsideLongerTexts) {
  SHitachiSnapPair written = pair(INT_MIN, 65535, -3, INT_MAX), back;
  back.deserialize(("lead" + text(written.serialize()) + "<MUN>9</MUN>").c_str());
  EXPECT_EQ(text(written.serialize()), text(back.serialize()));
  back.deserialize("<SnapPair><LUN>65537</LUN></SnapPair>");
  EXPECT_EQ(1, back.m_lun);  // cut to 16 bits

  SHitachiVirtualDisk::SHostInfo host, hostBack;
  host.m_portNo = -2;
  host.m_hostGroupName = "db backup";
  hostBack.deserialize(("lead" + text(host.serialize()) + "<PortNo>9</PortNo>").c_str());
  EXPECT_EQ(text(host.serialize()), text(hostBack.serialize()));

  SHitachiVirtualDisk disk = referenceDisk();
  disk.m_isCmdDevice = disk.m_supportTrueCopy = disk.m_supportSnapshot = disk.m_isSnap = true;
  disk.m_supportShadowImage = false;
  disk.m_hostInfo.m_portNo = -3;
  disk.m_pairList.push_back(pair(-1, 65535, 255, -410));
  disk.m_reserved = 5;
  SHitachiVirtualDisk diskBack;
  diskBack.m_reserved = 99;
  diskBack.deserialize(disk.serialize().c_str());
  EXPECT_EQ(99u, diskBack.m_reserved);  // never written: the reader's value stays
  EXPECT_EQ(text(disk.serialize()), text(diskBack.serialize()));
}

TEST(DeviceRecords, EmptyTextsAndEmptyPairListRoundTripOverStaleValues) {
  const std::string written = text(SHitachiVirtualDisk().serialize());
  EXPECT_NE(std::string::npos, written.find("<DeviceId></DeviceId><EnclosureId></EnclosureId>"));
  EXPECT_NE(std::string::npos, written.find("<PairList></PairList>"));
  SHitachiVirtualDisk back;
  back.m_deviceId = back.m_enclosureId = back.m_hostInfo.m_hostGroupName = "stale";
  back.deserialize(written.c_str());
  EXPECT_EQ(written, text(back.serialize()));
}

TEST(DeviceRecords, FirstOfTwoVdisksAlsoReceivesTheSecondsPairs) {
  SHitachiVirtualDisk second = referenceDisk();
  second.m_deviceId = "13";
  second.m_pairList[0] = pair(2, 41, 4, 410);
  const std::string firstText = text(referenceDisk().serialize());
  const std::string both = firstText + text(second.serialize());

  SHitachiVirtualDisk a, b;
  a.deserialize(both.c_str());
  EXPECT_EQ("12", a.m_deviceId);
  ASSERT_EQ(2u, a.m_pairList.size());
  EXPECT_EQ(40, a.m_pairList[0].m_lun);
  EXPECT_EQ(41, a.m_pairList[1].m_lun);
  b.deserialize(both.c_str() + firstText.size());
  EXPECT_EQ("13", b.m_deviceId);
  ASSERT_EQ(1u, b.m_pairList.size());
  EXPECT_EQ(text(second.m_pairList[0].serialize()), text(b.m_pairList[0].serialize()));
  b.deserialize(text(second.serialize()).c_str());
  EXPECT_EQ(2u, b.m_pairList.size());  // read pairs are appended
}

// Our choice where a node is missing: its field is left as it was.
TEST(DeviceRecords, MissingNodesLeaveTheirFieldsAlone) {
  SHitachiVirtualDisk disk = referenceDisk();
  for (const char* partial : {"no nodes at all", "<Vdisk><DeviceId>99</DeviceId>", ""})
    disk.deserialize(partial);
  EXPECT_EQ(kReference, text(disk.serialize()));

  disk.deserialize("<Vdisk><EnclosureId>9</EnclosureId><HostInfo><PortNo>4</PortNo></HostInfo></Vdisk>");
  SHitachiVirtualDisk expected = referenceDisk();
  expected.m_enclosureId = "9";
  expected.m_hostInfo.m_portNo = 4;
  EXPECT_EQ(text(expected.serialize()), text(disk.serialize()));

  SHitachiVirtualDisk noList;  // pairs are read only after a "PairList"
  noList.deserialize("<Vdisk><DeviceId>1</DeviceId></Vdisk><SnapPair><MUN>1</MUN></SnapPair>");
  EXPECT_EQ("1", noList.m_deviceId);
  EXPECT_TRUE(noList.m_pairList.empty());
}

TEST(DeviceRecords, BadTruthValueThrowsWithTheRecordPartlyFilled) {
  SHitachiVirtualDisk disk;
  EXPECT_THROW(disk.deserialize("<Vdisk><DeviceId>5</DeviceId><IsCmdDevice>10</IsCmdDevice></Vdisk>"),
               invalidData);
  EXPECT_EQ("5", disk.m_deviceId);
  EXPECT_THROW(disk.deserialize("<Vdisk><IsSnap></IsSnap></Vdisk>"), invalidData);
}

}  // namespace
