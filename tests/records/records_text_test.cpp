// Finding nodes in the private-data text, and the device records in it:
// their text, reading it back, and the reading rules.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "hitachi_pdparser.h"
#include "hitachi_vdisk.h"

namespace {

using P = CPrivateDataParser;

std::string contentsOf(const std::string& name, const char* text) {
  const char* contents = nullptr;
  int length = -1;
  if (P::getNodeContents(name, text, &contents, &length) != 0) return "<missing>";
  return std::string(contents, static_cast<size_t>(length));
}

TEST(PrivateDataText, FirstNodeOfANameIsFoundAtAnyDepthNeverByALongerNameAndOnlyWhenClosed) {
  char nested[] = "pre<A><B>x</B></A><B>y</B>";
  char* start = nullptr;
  char* end = nullptr;
  ASSERT_EQ(0, P::getNode("B", nested, &start, &end));
  EXPECT_EQ("<B>x</B>", std::string(start, end));
  EXPECT_EQ("2", contentsOf("Port", "<PortNo>1</PortNo><Port>2</Port>"));
  EXPECT_EQ("a</PortNo>b", contentsOf("Port", "<Port>a</PortNo>b</Port>"));
  EXPECT_EQ("", contentsOf("Port", "<Port></Port>"));
  for (const char* missing : {"<PortNo>1</PortNo>", "<Port>open", "</Port><Port>"})
    EXPECT_EQ("<missing>", contentsOf("Port", missing)) << missing;
  const char* contents = "set";
  int length = 77;  // left as it was
  EXPECT_EQ(1, P::getNodeContents("A", nullptr, &contents, &length));
  EXPECT_TRUE(contents == nullptr && length == 77);
}

const std::string kReference =
    "<Vdisk><DeviceId>12</DeviceId><EnclosureId>410</EnclosureId>"
    "<IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</SupportTrueCopy>"
    "<SupportShadowImage>1</SupportShadowImage><SupportSnapshot>0</SupportSnapshot><IsSnap>0</IsSnap>"
    "<HostInfo><PortNo>0</PortNo><HostGroupNo>1</HostGroupNo><HostGroupName>G1</HostGroupName></HostInfo>"
    "<PairList><SnapPair><MUN>0</MUN><LUN>40</LUN><Status>3</Status><SerialNo>410</SerialNo></SnapPair>"
    "</PairList></Vdisk>";

template <class Record>
std::string text(const Record& record) {
  return record.serialize().c_str();
}

// Device 12 of array 410, ShadowImage only, host group 1 "G1", one pair.
SHitachiVirtualDisk referenceDisk() {
  SHitachiVirtualDisk disk;
  disk.m_deviceId = "12";
  disk.m_enclosureId = "410";
  disk.m_supportShadowImage = true;
  disk.m_hostInfo = {0, 1, "G1"};
  disk.m_pairList.push_back({0, 3, 40, 0, 410});
  return disk;
}

TEST(DeviceRecords, VdiskWritesTheReferenceLineByteForByte) { EXPECT_EQ(kReference, text(referenceDisk())); }

TEST(DeviceRecords, EveryRecordRoundTripsNegativeNumbersAndEmptyTextsFromInsideLongerTexts) {
  SHitachiSnapPair pair{INT_MIN, -3, 65535, 0, INT_MAX}, pairBack;
  pairBack.deserialize(("lead" + text(pair) + "<MUN>9</MUN>").c_str());
  EXPECT_EQ(text(pair), text(pairBack));
  pairBack.deserialize("<SnapPair><MUN>4294967298</MUN><LUN>65537</LUN></SnapPair>");
  EXPECT_EQ(2, pairBack.m_muNumber);  // numbers are cut to 32 bits, the LUN to 16
  EXPECT_EQ(1, pairBack.m_lun);

  SHitachiVirtualDisk::SHostInfo host{-2, 254, "db backup"}, hostBack;
  hostBack.deserialize(("lead" + text(host) + "<PortNo>9</PortNo>").c_str());
  EXPECT_EQ(text(host), text(hostBack));

  SHitachiVirtualDisk disk = referenceDisk(), back;
  disk.m_isCmdDevice = disk.m_supportTrueCopy = disk.m_supportSnapshot = disk.m_isSnap = true;
  disk.m_supportShadowImage = false;
  disk.m_pairList.push_back({-1, 255, 65535, 0, -410});
  disk.m_reserved = 5;
  back.m_reserved = 99;
  back.deserialize(text(disk).c_str());
  EXPECT_EQ(99u, back.m_reserved);  // never written: the reader's value stays
  EXPECT_EQ(text(disk), text(back));

  const std::string empty = text(SHitachiVirtualDisk());
  SHitachiVirtualDisk stale;
  stale.m_deviceId = stale.m_enclosureId = stale.m_hostInfo.m_hostGroupName = "stale";
  stale.deserialize(empty.c_str());
  EXPECT_EQ(empty, text(stale));
}

TEST(DeviceRecords, FirstOfTwoVdisksAlsoReceivesTheSecondsPairsAndReadPairsAreAppended) {
  SHitachiVirtualDisk second = referenceDisk(), a, b;
  second.m_deviceId = "13";
  second.m_pairList[0] = {2, 4, 41, 0, 410};
  const std::string both = kReference + text(second);
  a.deserialize(both.c_str());
  EXPECT_EQ("12", a.m_deviceId);
  ASSERT_EQ(2u, a.m_pairList.size());
  EXPECT_EQ(text(referenceDisk().m_pairList[0]) + text(second.m_pairList[0]),
            text(a.m_pairList[0]) + text(a.m_pairList[1]));
  b.deserialize(both.c_str() + kReference.size());
  EXPECT_EQ("13", b.m_deviceId);
  EXPECT_EQ(1u, b.m_pairList.size());
  b.deserialize(text(second).c_str());
  EXPECT_EQ(2u, b.m_pairList.size());
}

// Our choice where a node is missing: its field is left as it was. A bad
// truth value throws with the record filled up to it.
TEST(DeviceRecords, TextsNotWrittenBySerializeAreReadSafely) {
  SHitachiVirtualDisk disk = referenceDisk();
  for (const char* partial : {"no nodes at all", "<Vdisk><DeviceId>99</DeviceId>", ""})
    disk.deserialize(partial);
  EXPECT_EQ(kReference, text(disk));
  disk.deserialize("<Vdisk><EnclosureId>9</EnclosureId><HostInfo><PortNo>4</PortNo></HostInfo></Vdisk>");
  SHitachiVirtualDisk expected = referenceDisk();
  expected.m_enclosureId = "9";
  expected.m_hostInfo.m_portNo = 4;
  EXPECT_EQ(text(expected), text(disk));

  SHitachiVirtualDisk noList;  // pairs are read only after a "PairList"
  noList.deserialize("<Vdisk><DeviceId>1</DeviceId></Vdisk><SnapPair><MUN>1</MUN></SnapPair>");
  EXPECT_EQ("1", noList.m_deviceId);
  EXPECT_TRUE(noList.m_pairList.empty());
  EXPECT_THROW(noList.deserialize("<Vdisk><DeviceId>5</DeviceId><IsCmdDevice>10</IsCmdDevice></Vdisk>"),
               invalidData);
  EXPECT_EQ("5", noList.m_deviceId);
  EXPECT_THROW(noList.deserialize("<Vdisk><IsSnap></IsSnap></Vdisk>"), invalidData);
}

}  // namespace
