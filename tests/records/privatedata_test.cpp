// Device ids ("UDID##<vendor>##<product>[##<enclosure>]##<device>"), the
// "snapshot_resource_spec" text built from them, and the per-node private
// data and the factory that shares it between nodes. The targets the
// manager reads from the environment or a file it names are pinned through
// the plugin by the lifecycle scenarios.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfiprivatedatamgr.h"
#include "cfitargetconfig.h"
#include "cfiudid.h"
#include "hitachi_privatedata.h"

using namespace frim_pdk_4_4;

namespace {

const char kSource[] = "UDID##HITACHI##HDS##410##12";
using Targets = std::vector<std::string>;

// The reason and text of each malformed id are pinned through the plugin by
// the lifecycle scenarios (SelectRefusesANodeNameThatIsNoUdid, and a null
// one by RestoreRefusesNullLists).
TEST(Udid, ParsesPartsAndEachParseStartsAfresh) {
  CFiUdid udid("<hitachifi>UDID##HITACHI##HDS##410##12");  // the prefix may stand anywhere
  EXPECT_EQ("HITACHI|HDS|410|12", udid.getVendor() + "|" + udid.getProduct() + "|" + udid.getEnclosureId() +
                                      "|" + udid.getDeviceId());
  udid.parse("UDID##A##B##C##D##E");  // the device keeps further separators
  EXPECT_EQ("C|D##E", udid.getEnclosureId() + "|" + udid.getDeviceId());
  udid.parse("UDID##A##B##C");  // a lone last part is the device
  EXPECT_EQ("C", udid.getDeviceId());
  EXPECT_FALSE(udid.hasEnclosureId());
  EXPECT_THROW(udid.parse("UDID##A"), CFiUdidException);
  EXPECT_EQ("", udid.getVendor() + udid.getDeviceId());
  EXPECT_NO_THROW(udid.parse("UDID######1"));  // empty vendor and product are allowed
}

// Each malformed text's line and fault are pinned through the plugin by the
// lifecycle scenarios (AMalformedTargetListIsRefusedByItsLine).
TEST(TargetConfig, ReadsTargetsInOrderPastCommentsAndAMalformedTextChangesNothing) {
  CFiTargetConfig config;
  config.parse(
      "  # administrator's targets\r\n"
      "UDID##HP##XP##520002##300 = UDID##HP##XP##520002##600, UDID##HP ##XP##520002##601  # db\r\n"
      "\n"
      "node UDID##A##B##1##2 = t##3\n"
      "UDID##A##B##1##2 = t##4; UDID##A##B##1##5 = t##6");
  EXPECT_EQ((Targets{"UDID##HP##XP##520002##600", "UDID##HP ##XP##520002##601"}),
            config.targetsFor("UDID##HP##XP##520002##300"));
  EXPECT_EQ((Targets{"t##3", "t##4"}), config.targetsFor("<hitachifi>UDID##A##B##1##2"));
  EXPECT_EQ((Targets{"t##6"}), config.targetsFor("UDID##A##B##1##5"));
  EXPECT_TRUE(config.targetsFor("UDID##A##B##1##22").empty());
  EXPECT_THROW(config.parse("UDID##A##B##1##2 = t##3\nbroken"), CFiTargetConfigError);
  EXPECT_EQ((Targets{"t##6"}), config.targetsFor("UDID##A##B##1##5"));  // the previous text still holds
  config.parse(" \n# nothing\n;;\n");
  EXPECT_TRUE(config.empty());
}

struct Node {
  explicit Node(const std::string& name) : m_name(name) {
    objid.name = domain.name = &m_name[0];
    domain.objid = &objid;
  }
  std::string m_name;
  frim_objid objid{};
  zfi_domain domain{};
};

CHitachiPrivateData* hitachi(const CFiPrivateDataPtr& data) {
  return dynamic_cast<CHitachiPrivateData*>(data.get());
}

class PrivateDataFactory : public ::testing::Test {
 protected:
  CFiPrivateDataFactoryPtr factory{new CFiPrivateDataConcreteFactory<CHitachiPrivateData>()};
  Node first{kSource}, second{kSource}, alternate{kSource};
};

// One object for every node of a name until the last of them goes; the
// alternate has its own; deallocating what is not there gives -1.
TEST_F(PrivateDataFactory, NodesOfOneNameShareOneObjectThatLivesUntilTheLastOfThemGoes) {
  CFiPrivateDataPtr a = factory->allocate(&first.domain, false);
  ASSERT_NE(nullptr, hitachi(a));
  hitachi(a)->m_vdisk.m_deviceId = "12";
  EXPECT_EQ(a.get(), factory->allocate(&second.domain, false).get());
  EXPECT_EQ(a.get(), factory->accessByName(kSource, false).get());
  EXPECT_EQ(-1, factory->deallocate(&alternate.domain));
  CFiPrivateDataPtr alt = factory->allocate(&alternate.domain, true);
  EXPECT_NE(a.get(), alt.get());
  EXPECT_EQ(alt.get(), factory->accessByName(kSource, true).get());
  std::vector<CFiPrivateDataPtr> all = factory->getPrivateDataList();
  ASSERT_EQ(2u, all.size());
  EXPECT_EQ(a.get(), all[0].get());  // ordinary ones first
  a.release();
  all.clear();
  EXPECT_EQ(-1, factory->deallocate(nullptr));
  EXPECT_EQ(0, factory->deallocate(&first.domain));
  EXPECT_EQ(-1, factory->deallocate(&first.domain));
  EXPECT_EQ(nullptr, first.domain.private_data);
  EXPECT_EQ("12", hitachi(factory->access(&second.domain))->m_vdisk.m_deviceId);
  EXPECT_EQ(0, factory->deallocate(&second.domain));
  EXPECT_TRUE(factory->accessByName(kSource, false).isNull());
  EXPECT_EQ("", hitachi(factory->allocate(&first.domain, false))->m_vdisk.m_deviceId);  // a fresh one
}

TEST_F(PrivateDataFactory, NullNodeAndSlotsItDidNotFillAreHandled) {
  EXPECT_TRUE(factory->allocate(nullptr, false).isNull());
  EXPECT_TRUE(factory->access(nullptr).isNull());
  CFiPrivateDataPtr data = factory->allocate(&first.domain, false);
  char foreign[4] = {};
  second.domain.private_data = foreign;
  EXPECT_TRUE(factory->access(&second.domain).isNull());
  EXPECT_EQ(-1, factory->deallocate(&second.domain));
  EXPECT_EQ(data.get(), factory->allocate(&second.domain, false).get());

  // Slots left by a factory that is gone are empty to the next one; the
  // sanitizer build shows the first released what it held.
  {
    CFiPrivateDataFactoryPtr(new CFiPrivateDataConcreteFactory<CHitachiPrivateData>())
        ->allocate(&alternate.domain, true);
  }
  EXPECT_TRUE(factory->access(&alternate.domain).isNull());
}

}  // namespace
