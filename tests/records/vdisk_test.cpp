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

class DeviceRecords : public ::testing::Test {
 protected:
  // Device 12 of array 410, ShadowImage only, port 0, host group 1 "G1",
  // one pair: MU 0, LUN 40, status 3 (PAIR), serial 410.
  static SHitachiVirtualDisk referenceDisk() {
    SHitachiVirtualDisk disk;
    disk.m_deviceId = "12";
    disk.m_enclosureId = "410";
    disk.m_supportShadowImage = true;
    disk.m_hostInfo.m_hostGroupNo = 1;
    disk.m_hostInfo.m_hostGroupName = "G1";
    disk.m_pairList.push_back(pair(0, 40, 3, 410));
    return disk;
  }
  static SHitachiSnapPair pair(int mu, uint16_t lun, int status, int serial) {
    SHitachiSnapPair p;
    p.m_muNumber = mu;
    p.m_lun = lun;
    p.m_status = status;
    p.m_serialNo = serial;
    return p;
  }
  static void expectSamePair(const SHitachiSnapPair& a, const SHitachiSnapPair& b) {
    EXPECT_EQ(text(a.serialize()), text(b.serialize()));
  }
};

TEST_F(DeviceRecords, VdiskWritesTheReferenceLineByteForByte) {
  EXPECT_EQ(kReference, text(referenceDisk().serialize()));
  SHitachiVirtualDisk disk = referenceDisk();
  disk.deserialize(kReference.c_str());
  EXPECT_EQ(2u, disk.m_pairList.size());  // read pairs are appended
}

TEST_F(DeviceRecords, PairAndHostInfoRoundTripNegativeNumbersFromInsideLongerTexts) {
  SHitachiSnapPair written = pair(INT_MIN, 65535, -3, INT_MAX), back;
  back.deserialize(("lead" + text(written.serialize()) + "<MUN>9</MUN>").c_str());
  expectSamePair(written, back);
  back.deserialize(
      "<SnapPair><MUN>1</MUN><LUN>65537</LUN><Status>3</Status><SerialNo>9</SerialNo></SnapPair>");
  EXPECT_EQ(1, back.m_lun);  // cut to 16 bits

  SHitachiVirtualDisk::SHostInfo host, hostBack;
  host.m_portNo = -2;
  host.m_hostGroupNo = 254;
  host.m_hostGroupName = "db backup";
  hostBack.deserialize(("lead" + text(host.serialize()) + "<PortNo>9</PortNo>").c_str());
  EXPECT_EQ(-2, hostBack.m_portNo);
  EXPECT_EQ(254, hostBack.m_hostGroupNo);
  EXPECT_EQ("db backup", hostBack.m_hostGroupName);
}

TEST_F(DeviceRecords, VdiskRoundTripsEveryWrittenField) {
  SHitachiVirtualDisk disk = referenceDisk();
  disk.m_isCmdDevice = disk.m_supportTrueCopy = disk.m_supportSnapshot = disk.m_isSnap = true;
  disk.m_supportShadowImage = false;
  disk.m_hostInfo.m_portNo = -3;
  disk.m_hostInfo.m_hostGroupNo = INT_MAX;
  disk.m_pairList.push_back(pair(-1, 65535, 255, -410));
  disk.m_reserved = 5;
  disk.m_deviceNumber = 12;
  SHitachiVirtualDisk back;
  back.m_reserved = 99;
  back.m_deviceNumber = 7;
  back.deserialize(disk.serialize().c_str());
  EXPECT_EQ(99u, back.m_reserved);  // never written: the reader's values stay
  EXPECT_EQ(7, back.m_deviceNumber);
  EXPECT_EQ(text(disk.serialize()), text(back.serialize()));  // every written field came back
}

TEST_F(DeviceRecords, EmptyTextsAndEmptyPairListRoundTrip) {
  SHitachiVirtualDisk empty;
  std::string written = text(empty.serialize());
  EXPECT_NE(std::string::npos, written.find("<DeviceId></DeviceId><EnclosureId></EnclosureId>"));
  EXPECT_NE(std::string::npos, written.find("<PairList></PairList>"));
  SHitachiVirtualDisk back;
  back.m_deviceId = "stale";
  back.m_enclosureId = "stale";
  back.m_hostInfo.m_hostGroupName = "stale";
  back.deserialize(written.c_str());
  EXPECT_EQ(written, text(back.serialize()));
}

TEST_F(DeviceRecords, FirstOfTwoVdisksAlsoReceivesTheSecondsPairs) {
  SHitachiVirtualDisk first = referenceDisk(), second = referenceDisk();
  second.m_deviceId = "13";
  second.m_pairList[0] = pair(2, 41, 4, 410);
  const std::string firstText = text(first.serialize());
  const std::string both = firstText + text(second.serialize());

  SHitachiVirtualDisk a;
  a.deserialize(both.c_str());
  EXPECT_EQ("12", a.m_deviceId);
  ASSERT_EQ(2u, a.m_pairList.size());
  expectSamePair(first.m_pairList[0], a.m_pairList[0]);
  expectSamePair(second.m_pairList[0], a.m_pairList[1]);

  SHitachiVirtualDisk b;
  b.deserialize(both.c_str() + firstText.size());
  EXPECT_EQ("13", b.m_deviceId);
  ASSERT_EQ(1u, b.m_pairList.size());
  expectSamePair(second.m_pairList[0], b.m_pairList[0]);
}

// Texts that serialize() did not write: what is missing is left alone.
TEST_F(DeviceRecords, MissingNodesLeaveTheirFieldsAlone) {
  SHitachiVirtualDisk disk = referenceDisk();
  disk.deserialize("no nodes at all");
  disk.deserialize("<Vdisk><DeviceId>99</DeviceId>");  // never closed
  disk.deserialize("");
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

TEST_F(DeviceRecords, BadTruthValueThrowsWithTheRecordPartlyFilled) {
  SHitachiVirtualDisk disk;
  EXPECT_THROW(disk.deserialize("<Vdisk><DeviceId>5</DeviceId><IsCmdDevice>10</IsCmdDevice></Vdisk>"),
               invalidData);
  EXPECT_EQ("5", disk.m_deviceId);
  EXPECT_THROW(disk.deserialize("<Vdisk><IsSnap></IsSnap></Vdisk>"), invalidData);
}

}  // namespace
