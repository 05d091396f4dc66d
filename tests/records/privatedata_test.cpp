// The plugin's per-node private data, the factory that shares it between
// nodes, and the configured snapshot targets it reads.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfiprivatedatamgr.h"
#include "hitachi_privatedata.h"

using namespace frim_pdk_4_4;

namespace {

const char kSource[] = "UDID##HITACHI##HDS##410##12";
using Targets = std::vector<std::string>;

// A framework node named after a device.
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

TEST_F(PrivateDataFactory, NodesOfOneNameShareOneObjectAndTheAlternateHasItsOwn) {
  CFiPrivateDataPtr a = factory->allocate(&first.domain, false);
  ASSERT_NE(nullptr, hitachi(a));
  EXPECT_EQ(a.get(), factory->allocate(&second.domain, false).get());
  EXPECT_EQ(a.get(), factory->access(&second.domain).get());
  EXPECT_EQ(a.get(), factory->accessByName(kSource, false).get());
  CFiPrivateDataPtr alt = factory->allocate(&alternate.domain, true);
  EXPECT_NE(a.get(), alt.get());
  EXPECT_TRUE(alt->getIsAltNode());
  EXPECT_EQ(alt.get(), factory->accessByName(kSource, true).get());
  std::vector<CFiPrivateDataPtr> all = factory->getPrivateDataList();
  ASSERT_EQ(2u, all.size());
  EXPECT_EQ(a.get(), all[0].get());  // ordinary ones first
}

TEST_F(PrivateDataFactory, ObjectLivesUntilTheLastNodeOfItsNameGoesAndDeallocatingNothingGivesMinusOne) {
  hitachi(factory->allocate(&first.domain, false))->m_vdisk.m_deviceId = "12";
  factory->allocate(&second.domain, false);
  EXPECT_EQ(-1, factory->deallocate(&alternate.domain));
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

// The targets come from the manager's "snapshot_resource_spec".
class ConfiguredTargets : public ::testing::Test {
 protected:
  void TearDown() override {
    ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
    CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
  }
  CFiPrivateDataManagerPtr manager =
      CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
};

TEST_F(ConfiguredTargets, ConfiguredDeviceGetsItsTargetsOnceAndOthersAreDiscovered) {
  manager->setSnapshotResourceSpec(std::string(kSource) + " = UDID##HITACHI##HDS##410##600, x##601\n");
  Node node(kSource), other("UDID##HITACHI##HDS##410##13");
  CFiPrivateData data(&node.objid, false), otherData(&other.objid, false), nameless(nullptr, false);
  EXPECT_EQ(0, data.selectTargetFromConfigData());
  EXPECT_EQ(0, data.selectTargetFromConfigData());
  EXPECT_EQ("UDID##HITACHI##HDS##410##600", data.getConfiguredTarget());
  EXPECT_EQ((Targets{"600", "601"}), data.getTargets());
  EXPECT_EQ(1, otherData.selectTargetFromConfigData());
  EXPECT_EQ(1, nameless.selectTargetFromConfigData());
  EXPECT_EQ("", otherData.getConfiguredTarget());
  EXPECT_TRUE(otherData.getTargets().empty());
}

TEST_F(ConfiguredTargets, UnsetValueIsTakenFromTheEnvironmentOrItsFile) {
  const std::string file = ::testing::TempDir() + "records_targets.txt";
  std::ofstream(file) << kSource << " = t##7\n";
  ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", ("@" + file).c_str(), 1);
  EXPECT_EQ((Targets{"t##7"}), CFiPrivateDataManager().getTargetConfig().targetsFor(kSource));
  std::remove(file.c_str());
  EXPECT_THROW(CFiPrivateDataManager().getTargetConfig(), CFiTargetConfigError);  // unreadable
  ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", "broken", 1);
  EXPECT_THROW(CFiPrivateDataManager().getTargetConfig(), CFiTargetConfigError);
}

}  // namespace
