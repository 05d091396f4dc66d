// The private-data text, the device records, the plugin's private data and
// device ids.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "cfiprivatedatamgr.h"
#include "cfitargetconfig.h"
#include "cfiudid.h"
#include "hitachi_pdparser.h"
#include "hitachi_privatedata.h"
#include "hitachi_vdisk.h"

using namespace frim_pdk_4_4;
using P = CPrivateDataParser;

namespace {

const char kReference[] =
    "<Vdisk><DeviceId>12</DeviceId><EnclosureId>410</EnclosureId><IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</"
    "SupportTrueCopy><SupportShadowImage>1</SupportShadowImage><SupportSnapshot>0</SupportSnapshot><IsSnap>0</"
    "IsSnap><HostInfo><PortNo>0</PortNo><HostGroupNo>1</HostGroupNo><HostGroupName>G1</HostGroupName></"
    "HostInfo><PairList><SnapPair><MUN>0</MUN><LUN>40</LUN><Status>3</Status><SerialNo>410</SerialNo></SnapPair></"
    "PairList></Vdisk>";

SHitachiVirtualDisk referenceDisk() {
  SHitachiVirtualDisk disk;
  disk.m_deviceId = "12";
  disk.m_enclosureId = "410";
  disk.m_supportShadowImage = true;
  disk.m_hostInfo.m_portNo = 0;
  disk.m_hostInfo.m_hostGroupNo = 1;
  disk.m_hostInfo.m_hostGroupName = "G1";
  SHitachiSnapPair pair;
  pair.m_muNumber = 0;
  pair.m_lun = 40;
  pair.m_status = 3;
  pair.m_serialNo = 410;
  disk.m_pairList.push_back(pair);
  return disk;
}

std::string contentsOf(const std::string& name, const std::string& text, int* length = nullptr) {
  const char* contents = nullptr;
  int n = -1;
  if (P::getNodeContents(name, text.c_str(), &contents, &n) != 0) return "<missing>";
  if (length) *length = n;
  return std::string(contents, n);
}

TEST(PrivateDataText, NodesForEachValueType) {
  EXPECT_STREQ("<Status>7</Status>", P::createNode("Status", 7).c_str());
  EXPECT_STREQ("<IsSnap>0</IsSnap>", P::createNode("IsSnap", false).c_str());
  EXPECT_STREQ("<N>-2147483648</N>", P::createNode("N", INT_MIN).c_str());
  EXPECT_STREQ("<C>x</C>", P::createNode("C", 'x').c_str());
  EXPECT_STREQ("<C></C>", P::createNode("C", '\0').c_str());
  EXPECT_STREQ("<T>a b</T>", P::createNode("T", std::string("a b")).c_str());
  EXPECT_STREQ("<T></T>", P::createNode("T", ACE_CString("")).c_str());
}

TEST(PrivateDataText, FindsFirstNodeAtAnyDepthAndNeverALongerName) {
  EXPECT_EQ("x", contentsOf("B", "<A><B>x</B></A><B>y</B>"));
  EXPECT_EQ("2", contentsOf("Port", "<PortNo>1</PortNo><Port>2</Port>"));
  const char* start = nullptr;
  const char* end = nullptr;
  const char text[] = "pre<A>1</A>post";
  ASSERT_EQ(0, P::getNode("A", text, &start, &end));
  EXPECT_EQ(std::string("<A>1</A>"), std::string(start, end));
}

TEST(PrivateDataText, MissingOrUnclosedNodesAreNotFound) {
  const char* start = reinterpret_cast<const char*>(1);
  const char* end = reinterpret_cast<const char*>(1);
  EXPECT_EQ(1, P::getNode("A", "<A>open", &start, &end));
  EXPECT_EQ(nullptr, start);
  EXPECT_EQ(nullptr, end);
  const char* contents = reinterpret_cast<const char*>(1);
  int length = 77;
  EXPECT_EQ(1, P::getNodeContents("A", "</A><A>", &contents, &length));
  EXPECT_EQ(nullptr, contents);
  EXPECT_EQ(77, length);
  EXPECT_EQ(1, P::getNodeContents("A", nullptr, &contents, &length));
}

TEST(PrivateDataText, ConversionsWorkOnExactlyTheGivenLength) {
  int length = -1;
  EXPECT_EQ("", contentsOf("Status", "<Status></Status>", &length));
  EXPECT_EQ(0, length);
  EXPECT_EQ(0, P::toInteger("", 0));
  EXPECT_THROW(P::toBool("", 0), invalidData);
  EXPECT_THROW(P::toBool("10", 2), invalidData);
  EXPECT_TRUE(P::toBool("1</X>", 1));
  EXPECT_FALSE(P::toBool("0", 1));
  EXPECT_EQ(12, P::toInteger("12ab", 4));
  EXPECT_EQ(-5, P::toInteger("-5", 2));
  EXPECT_EQ(12, P::toInteger("123", 2));
  EXPECT_EQ('q', P::toChar("q", 1));
  EXPECT_THROW(P::toChar("qq", 2), invalidData);
  EXPECT_EQ("ab", P::toString("abcdef", 2));
  try {
    P::toBool("yes", 3);
  } catch (const invalidData& e) {
    EXPECT_STREQ("yes", e.getContents().c_str());
  }
}

TEST(VdiskRecord, WritesTheReferenceLineByteForByte) {
  EXPECT_STREQ(kReference, referenceDisk().serialize().c_str());
}

TEST(VdiskRecord, RoundTripsEveryWrittenField) {
  SHitachiVirtualDisk disk = referenceDisk();
  disk.m_isCmdDevice = true;
  disk.m_supportTrueCopy = true;
  disk.m_supportSnapshot = true;
  disk.m_isSnap = true;
  disk.m_hostInfo.m_portNo = -3;
  disk.m_hostInfo.m_hostGroupNo = INT_MAX;
  SHitachiSnapPair second;
  second.m_muNumber = -1;
  second.m_lun = 65535;
  second.m_status = 255;
  second.m_serialNo = -410;
  disk.m_pairList.push_back(second);
  SHitachiVirtualDisk back;
  back.m_reserved = 99;
  back.m_deviceNumber = 7;
  back.deserialize(disk.serialize().c_str());
  EXPECT_EQ(disk.serialize(), back.serialize());
  EXPECT_EQ(99u, back.m_reserved);  // never written
  EXPECT_EQ(7, back.m_deviceNumber);
  ASSERT_EQ(2u, back.m_pairList.size());
  EXPECT_EQ(65535, back.m_pairList[1].m_lun);
  EXPECT_EQ(-410, back.m_pairList[1].m_serialNo);
}

TEST(VdiskRecord, EmptyTextsAndPairListRoundTrip) {
  SHitachiVirtualDisk empty;
  std::string text = empty.serialize().c_str();
  EXPECT_NE(std::string::npos, text.find("<PairList></PairList>"));
  EXPECT_NE(std::string::npos, text.find("<DeviceId></DeviceId>"));
  SHitachiVirtualDisk back;
  back.m_deviceId = "stale";
  back.deserialize(text.c_str());
  EXPECT_EQ("", back.m_deviceId);
  EXPECT_EQ("", back.m_hostInfo.m_hostGroupName);
  EXPECT_TRUE(back.m_pairList.empty());
}

TEST(VdiskRecord, FirstOfTwoVdisksAlsoReceivesTheSecondsPairs) {
  SHitachiVirtualDisk first = referenceDisk(), second = referenceDisk();
  second.m_deviceId = "13";
  second.m_pairList[0].m_muNumber = 2;
  std::string text = std::string(first.serialize().c_str()) + second.serialize().c_str();
  SHitachiVirtualDisk a;
  a.deserialize(text.c_str());
  EXPECT_EQ("12", a.m_deviceId);
  ASSERT_EQ(2u, a.m_pairList.size());
  EXPECT_EQ(2, a.m_pairList[1].m_muNumber);
  SHitachiVirtualDisk b;
  b.deserialize(text.c_str() + std::string(first.serialize().c_str()).size());
  EXPECT_EQ("13", b.m_deviceId);
  EXPECT_EQ(1u, b.m_pairList.size());
}

TEST(VdiskRecord, IncompleteTextsLeaveMissingFieldsAlone) {
  SHitachiVirtualDisk disk;
  disk.m_deviceId = "keep";
  disk.deserialize("no nodes at all");
  EXPECT_EQ("keep", disk.m_deviceId);
  disk.deserialize("<Vdisk><EnclosureId>9</EnclosureId></Vdisk>");
  EXPECT_EQ("keep", disk.m_deviceId);
  EXPECT_EQ("9", disk.m_enclosureId);
  EXPECT_TRUE(disk.m_pairList.empty());
  EXPECT_THROW(disk.deserialize("<Vdisk><IsSnap>yes</IsSnap></Vdisk>"), invalidData);
}

TEST(Udid, ParsesVendorProductEnclosureAndDevice) {
  CFiUdid udid("UDID##HITACHI##HDS##410##12");
  EXPECT_EQ("HITACHI", udid.getVendor());
  EXPECT_EQ("HDS", udid.getProduct());
  EXPECT_EQ("410", udid.getEnclosureId());
  EXPECT_EQ("12", udid.getDeviceId());
  EXPECT_TRUE(udid.hasEnclosureId());
  udid.parse("UDID##A##B##C");
  EXPECT_EQ("C", udid.getDeviceId());
  EXPECT_EQ("", udid.getEnclosureId());
  EXPECT_FALSE(udid.hasEnclosureId());
  udid.parse("prefix UDID##A##B##C##D##E");
  EXPECT_EQ("C", udid.getEnclosureId());
  EXPECT_EQ("D##E", udid.getDeviceId());
}

TEST(Udid, MalformedTextsGiveTheirReason) {
  auto reason = [](const char* text) {
    try {
      CFiUdid udid(text);
    } catch (const CFiUdidException& e) {
      return e.getReason();
    }
    return 0;
  };
  EXPECT_EQ(1, reason("UDID##HP##XP##"));
  EXPECT_EQ(2, reason("HITACHI##HDS##1##2"));
  EXPECT_EQ(3, reason("UDID##HITACHI"));
  EXPECT_EQ(4, reason("UDID##HITACHI##HDS"));
  EXPECT_EQ(2, reason(nullptr));
}

struct Node {
  explicit Node(const char* name) : m_name(name) {
    objid.name = &m_name[0];
    domain.objid = &objid;
    domain.name = &m_name[0];
  }
  std::string m_name;
  frim_objid objid{};
  zfi_domain domain{};
};

TEST(PrivateDataFactory, NodesOfOneNameShareAndAlternatesAreSeparate) {
  CFiSmartPtr<CFiPrivateDataFactory> factory(new CFiPrivateDataConcreteFactory<CHitachiPrivateData>());
  Node first("UDID##HITACHI##HDS##410##12"), second("UDID##HITACHI##HDS##410##12"), alt("UDID##HITACHI##HDS##410##12");
  CFiPrivateDataPtr a = factory->allocate(&first.domain, false);
  CFiPrivateDataPtr b = factory->allocate(&second.domain, false);
  CFiPrivateDataPtr c = factory->allocate(&alt.domain, true);
  EXPECT_EQ(a.get(), b.get());
  EXPECT_NE(a.get(), c.get());
  EXPECT_TRUE(c->getIsAltNode());
  EXPECT_EQ(a.get(), factory->allocate(&first.domain, false).get());  // already attached
  EXPECT_EQ(a.get(), factory->access(&second.domain).get());
  EXPECT_EQ(a.get(), factory->accessByName("UDID##HITACHI##HDS##410##12", false).get());
  EXPECT_EQ(2u, factory->getPrivateDataList().size());

  dynamic_cast<CHitachiPrivateData*>(a.get())->m_vdisk.m_deviceId = "12";
  a.release();
  b.release();
  c.release();
  EXPECT_EQ(0, factory->deallocate(&first.domain));
  EXPECT_EQ(nullptr, first.domain.private_data);
  CFiPrivateDataPtr kept = factory->accessByName("UDID##HITACHI##HDS##410##12", false);
  ASSERT_FALSE(kept.isNull());  // the second node still holds it
  EXPECT_EQ("12", dynamic_cast<CHitachiPrivateData*>(kept.get())->m_vdisk.m_deviceId);
  kept.release();
  EXPECT_EQ(0, factory->deallocate(&second.domain));
  EXPECT_TRUE(factory->accessByName("UDID##HITACHI##HDS##410##12", false).isNull());
  EXPECT_EQ(-1, factory->deallocate(&second.domain));
  EXPECT_EQ(-1, factory->deallocate(nullptr));
  EXPECT_EQ(0, factory->deallocate(&alt.domain));
}

TEST(PrivateData, StartsEmptyAndKeepsTargetsInOrder) {
  Node node("UDID##HP##XP##520002##300");
  CHitachiPrivateData data(&node.objid, false);
  EXPECT_EQ("UDID##HP##XP##520002##300", data.getObjName());
  EXPECT_TRUE(data.m_vdisk.m_pairList.empty());
  EXPECT_FALSE(data.m_vdiskCopy.m_isSnap);
  data.addTarget("b");
  data.addTarget("a");
  EXPECT_EQ((std::vector<std::string>{"b", "a"}), data.getTargets());
  data.setSplitType("HPXP_Snapshot");
  EXPECT_EQ("HPXP_Snapshot", data.getSplitType());
}

TEST(TargetConfig, ConfiguredTargetsSelectTheConfigPath) {
  CFiTargetConfig::current().parse(
      "# administrator's targets\n"
      "UDID##HP##XP##520002##300 = UDID##HP##XP##520002##600, UDID##HP##XP##520002##601\n"
      "UDID##HITACHI##HDS##410001##256 = UDID##HITACHI##HDS##410001##512; x##1 = y##2\n");
  Node configured("UDID##HP##XP##520002##300"), other("UDID##HP##XP##520002##301");
  CFiPrivateData data(&configured.objid, false);
  EXPECT_EQ(0, data.selectTargetFromConfigData());
  EXPECT_EQ("UDID##HP##XP##520002##600", data.getConfiguredTarget());
  EXPECT_EQ(2u, data.getTargets().size());
  CFiPrivateData none(&other.objid, false);
  EXPECT_EQ(1, none.selectTargetFromConfigData());
  EXPECT_EQ((std::vector<std::string>{"y##2"}), CFiTargetConfig::current().targetsFor("x##1"));
  CFiTargetConfig::current().parse("");
}

TEST(TargetConfig, MalformedEntriesNameTheLineAndKeepTheOldConfig) {
  CFiTargetConfig config;
  config.parse("a = b##1");
  auto error = [&](const char* text) -> std::string {
    try {
      config.parse(text);
    } catch (const CFiTargetConfigError& e) {
      return e.what();
    }
    return "";
  };
  EXPECT_EQ("snapshot_resource_spec line 2: expected '<source> = <target>[, <target>...]'", error("a = b##1\nbroken"));
  EXPECT_EQ("snapshot_resource_spec line 1: target 'b##x' does not end in '##<device id>'", error("a = b##x"));
  EXPECT_EQ("snapshot_resource_spec line 2: source 'a' is listed twice", error("a = b##1\na = c##2"));
  EXPECT_EQ("snapshot_resource_spec line 1: no source device before '='", error(" = b##1"));
  EXPECT_EQ((std::vector<std::string>{"b##1"}), config.targetsFor("a"));
}

}  // namespace
