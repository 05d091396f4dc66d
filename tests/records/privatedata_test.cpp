// The plugin's per-node private data, the factory that shares it between
// nodes, and the configured snapshot targets it reads.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfiprivatedatamgr.h"
#include "hitachi_privatedata.h"

using namespace frim_pdk_4_4;

namespace {

const char kSource[] = "UDID##HITACHI##HDS##410##12";

// A framework node named after a device.
struct Node {
  explicit Node(const std::string& name) : m_name(name) {
    objid.name = &m_name[0];
    domain.objid = &objid;
    domain.name = &m_name[0];
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

TEST_F(PrivateDataFactory, NodesOfOneNameShareOneObject) {
  CFiPrivateDataPtr a = factory->allocate(&first.domain, false);
  CFiPrivateDataPtr b = factory->allocate(&second.domain, false);
  ASSERT_NE(nullptr, hitachi(a));
  EXPECT_EQ(a.get(), b.get());
  EXPECT_EQ(a.get(), factory->allocate(&first.domain, false).get());  // already attached
  EXPECT_EQ(a.get(), factory->access(&second.domain).get());
  EXPECT_EQ(a.get(), factory->accessByName(kSource, false).get());
  EXPECT_EQ(&first.objid, a->getObjectId());
}

TEST_F(PrivateDataFactory, AlternateNodeOfTheSameNameIsSeparate) {
  CFiPrivateDataPtr ordinary = factory->allocate(&first.domain, false);
  CFiPrivateDataPtr alt = factory->allocate(&alternate.domain, true);
  EXPECT_NE(ordinary.get(), alt.get());
  EXPECT_TRUE(alt->getIsAltNode());
  EXPECT_FALSE(ordinary->getIsAltNode());
  EXPECT_EQ(alt.get(), factory->accessByName(kSource, true).get());
  std::vector<CFiPrivateDataPtr> all = factory->getPrivateDataList();
  ASSERT_EQ(2u, all.size());
  EXPECT_EQ(ordinary.get(), all[0].get());  // ordinary ones first
}

TEST_F(PrivateDataFactory, DeallocatingOneNodeLeavesTheObjectToTheOther) {
  hitachi(factory->allocate(&first.domain, false))->m_vdisk.m_deviceId = "12";
  factory->allocate(&second.domain, false);
  EXPECT_EQ(0, factory->deallocate(&first.domain));
  EXPECT_EQ(nullptr, first.domain.private_data);
  EXPECT_TRUE(factory->access(&first.domain).isNull());
  EXPECT_EQ("12", hitachi(factory->access(&second.domain))->m_vdisk.m_deviceId);
  EXPECT_EQ("12", hitachi(factory->accessByName(kSource, false))->m_vdisk.m_deviceId);
}

TEST_F(PrivateDataFactory, LastNodeDeallocatedDropsTheObject) {
  hitachi(factory->allocate(&first.domain, false))->m_vdisk.m_deviceId = "12";
  EXPECT_EQ(0, factory->deallocate(&first.domain));
  EXPECT_TRUE(factory->accessByName(kSource, false).isNull());
  EXPECT_EQ("", hitachi(factory->allocate(&second.domain, false))->m_vdisk.m_deviceId);  // a fresh one
}

TEST_F(PrivateDataFactory, DeallocatingNothingReturnsMinusOneAndChangesNothing) {
  CFiPrivateDataPtr held = factory->allocate(&first.domain, false);
  EXPECT_EQ(-1, factory->deallocate(&second.domain));
  EXPECT_EQ(-1, factory->deallocate(nullptr));
  EXPECT_EQ(held.get(), factory->access(&first.domain).get());
  EXPECT_EQ(held.get(), factory->accessByName(kSource, false).get());
  EXPECT_EQ(1u, factory->getPrivateDataList().size());
  EXPECT_EQ(0, factory->deallocate(&first.domain));
  EXPECT_EQ(-1, factory->deallocate(&first.domain));
}

TEST_F(PrivateDataFactory, NullNodeOrNodeWithoutObjectIsHandled) {
  EXPECT_TRUE(factory->allocate(nullptr, false).isNull());
  EXPECT_TRUE(factory->access(nullptr).isNull());
  first.domain.objid = nullptr;  // kept under the node's own name
  CFiPrivateDataPtr data = factory->allocate(&first.domain, false);
  EXPECT_EQ(data.get(), factory->accessByName(kSource, false).get());
  EXPECT_EQ("", data->getObjName());
}

TEST(HitachiPrivateData, StartsEmptyApartFromObjectAndAlternateFlag) {
  Node node(kSource);
  CHitachiPrivateData data(&node.objid, true);
  EXPECT_EQ(kSource, data.getObjName());
  EXPECT_TRUE(data.getIsAltNode());
  EXPECT_EQ("", data.getSessionId());
  EXPECT_EQ("", data.getSplitType());
  EXPECT_TRUE(data.getTargets().empty());
  EXPECT_FALSE(data.getTransportable());
  EXPECT_EQ(ZFI_INTENT_NONE, data.getIntent());
  EXPECT_EQ(0, data.getSubObjectListLength());
  EXPECT_EQ(nullptr, data.getHostList());
  data.setSplitType(nullptr);
  EXPECT_EQ("", data.getSplitType());
  for (const SHitachiVirtualDisk* disk : {&data.m_vdisk, &data.m_vdiskCopy}) {
    EXPECT_EQ("", disk->m_deviceId);
    EXPECT_FALSE(disk->m_isSnap || disk->m_supportSnapshot || disk->m_supportShadowImage);
    EXPECT_TRUE(disk->m_pairList.empty());
    EXPECT_EQ(0, disk->m_hostInfo.m_portNo);
    EXPECT_EQ("", disk->m_hostInfo.m_hostGroupName);
  }
}

// The targets come from the manager's "snapshot_resource_spec".
class ConfiguredTargets : public ::testing::Test {
 protected:
  void TearDown() override { CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true); }
  static CFiPrivateDataManagerPtr manager() {
    return CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  }
};

TEST_F(ConfiguredTargets, ConfiguredDeviceTakesTheConfigPathWithTargetsInOrder) {
  manager()->setSnapshotResourceSpec(std::string(kSource) + " = UDID##HITACHI##HDS##410##600, x##601\n");
  Node node(kSource);
  CFiPrivateData data(&node.objid, false);
  EXPECT_EQ("", data.getConfiguredTarget());
  EXPECT_EQ(0, data.selectTargetFromConfigData());
  EXPECT_EQ("UDID##HITACHI##HDS##410##600", data.getConfiguredTarget());
  EXPECT_EQ((std::vector<std::string>{"600", "601"}), data.getTargets());
  EXPECT_EQ(0, data.selectTargetFromConfigData());  // a second selection adds nothing twice
  EXPECT_EQ(2u, data.getTargets().size());
}

TEST_F(ConfiguredTargets, NodeNameIsMatchedByItsUdid) {
  manager()->setSnapshotResourceSpec(std::string(kSource) + " = t##7");
  Node marked(std::string("<hitachifi>") + kSource);
  CFiPrivateData data(&marked.objid, false);
  EXPECT_EQ(0, data.selectTargetFromConfigData());
  EXPECT_EQ("t##7", data.getConfiguredTarget());
}

TEST_F(ConfiguredTargets, UnconfiguredDeviceIsDiscovered) {
  manager()->setSnapshotResourceSpec(std::string(kSource) + " = t##7");
  Node other("UDID##HITACHI##HDS##410##13");
  CFiPrivateData data(&other.objid, false);
  EXPECT_EQ(1, data.selectTargetFromConfigData());
  EXPECT_EQ("", data.getConfiguredTarget());
  EXPECT_TRUE(data.getTargets().empty());
  CFiPrivateData nameless(nullptr, false);
  EXPECT_EQ(1, nameless.selectTargetFromConfigData());
}

TEST_F(ConfiguredTargets, ValueComesFromThePluginsParameter) {
  CFiConfigParamInfoList parameters;
  manager()->loadSnapshotResourceSpec(parameters);  // not declared: nothing configured
  EXPECT_TRUE(manager()->getTargetConfig().empty());
  CFiConfigParamInfo spec;
  spec.m_name = "snapshot_resource_spec";
  spec.m_value = std::string(kSource) + " = t##7";
  parameters.addParamInfo(spec);
  manager()->loadSnapshotResourceSpec(parameters);
  EXPECT_EQ((std::vector<std::string>{"t##7"}), manager()->getTargetConfig().targetsFor(kSource));
}

TEST_F(ConfiguredTargets, MalformedValueIsRefusedAndTheOldTargetsStay) {
  manager()->setSnapshotResourceSpec(std::string(kSource) + " = t##7");
  EXPECT_THROW(manager()->setSnapshotResourceSpec("broken"), CFiTargetConfigError);
  EXPECT_EQ((std::vector<std::string>{"t##7"}), manager()->getTargetConfig().targetsFor(kSource));
}

}  // namespace
