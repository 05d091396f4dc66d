// The plugin's per-node private data, the factory that shares it between
// nodes, and the configured snapshot targets it reads.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
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

// Counts the objects alive, so a test can see what the factory lets go.
struct CountedData : CHitachiPrivateData {
  CountedData(frim_objid* id, bool alt) : CHitachiPrivateData(id, alt) { ++alive; }
  ~CountedData() override { --alive; }
  static int alive;
};
int CountedData::alive = 0;

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
  EXPECT_EQ(&first.objid, a->getObjectId());
  EXPECT_EQ(a.get(), factory->allocate(&second.domain, false).get());
  EXPECT_EQ(a.get(), factory->allocate(&first.domain, false).get());  // already attached
  EXPECT_EQ(a.get(), factory->access(&second.domain).get());
  EXPECT_EQ(a.get(), factory->accessByName(kSource, false).get());

  CFiPrivateDataPtr alt = factory->allocate(&alternate.domain, true);
  EXPECT_NE(a.get(), alt.get());
  EXPECT_TRUE(alt->getIsAltNode());
  EXPECT_FALSE(a->getIsAltNode());
  EXPECT_EQ(alt.get(), factory->accessByName(kSource, true).get());
  std::vector<CFiPrivateDataPtr> all = factory->getPrivateDataList();
  ASSERT_EQ(2u, all.size());
  EXPECT_EQ(a.get(), all[0].get());  // ordinary ones first
}

TEST_F(PrivateDataFactory, ObjectLivesUntilTheLastNodeOfItsNameIsDeallocated) {
  hitachi(factory->allocate(&first.domain, false))->m_vdisk.m_deviceId = "12";
  factory->allocate(&second.domain, false);
  EXPECT_EQ(0, factory->deallocate(&first.domain));
  EXPECT_EQ(nullptr, first.domain.private_data);
  EXPECT_TRUE(factory->access(&first.domain).isNull());
  EXPECT_EQ("12", hitachi(factory->access(&second.domain))->m_vdisk.m_deviceId);

  EXPECT_EQ(0, factory->deallocate(&second.domain));
  EXPECT_TRUE(factory->accessByName(kSource, false).isNull());
  EXPECT_EQ("", hitachi(factory->allocate(&first.domain, false))->m_vdisk.m_deviceId);  // a fresh one
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

TEST_F(PrivateDataFactory, NullNodeNamelessNodeAndForeignSlotAreHandled) {
  EXPECT_TRUE(factory->allocate(nullptr, false).isNull());
  EXPECT_TRUE(factory->access(nullptr).isNull());
  first.domain.objid = nullptr;  // kept under the node's own name
  CFiPrivateDataPtr data = factory->allocate(&first.domain, false);
  EXPECT_EQ(data.get(), factory->accessByName(kSource, false).get());
  EXPECT_EQ("", data->getObjName());

  // A slot this factory did not fill is never read through.
  char foreign[4] = {};
  second.domain.private_data = foreign;
  EXPECT_TRUE(factory->access(&second.domain).isNull());
  EXPECT_EQ(-1, factory->deallocate(&second.domain));
  EXPECT_EQ(data.get(), factory->allocate(&second.domain, false).get());
  EXPECT_NE(static_cast<void*>(foreign), second.domain.private_data);
}

TEST(PrivateDataFactoryLifetime, FactoryReleasesNodesNeverDeallocated) {
  Node node(kSource), alt(kSource);
  {
    CFiPrivateDataFactoryPtr factory(new CFiPrivateDataConcreteFactory<CountedData>());
    factory->allocate(&node.domain, false);
    factory->allocate(&alt.domain, true);
    EXPECT_EQ(2, CountedData::alive);
  }
  EXPECT_EQ(0, CountedData::alive);
  // A later factory of the process treats the stale slots as empty.
  CFiPrivateDataFactoryPtr next(new CFiPrivateDataConcreteFactory<CountedData>());
  EXPECT_TRUE(next->access(&node.domain).isNull());
  EXPECT_FALSE(next->allocate(&node.domain, false).isNull());
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
  EXPECT_EQ(0, data.selectTargetFromConfigData());
  EXPECT_EQ("UDID##HITACHI##HDS##410##600", data.getConfiguredTarget());
  EXPECT_EQ((std::vector<std::string>{"600", "601"}), data.getTargets());
  EXPECT_EQ(0, data.selectTargetFromConfigData());  // a second selection adds nothing twice
  EXPECT_EQ(2u, data.getTargets().size());

  Node marked(std::string("<hitachifi>") + kSource);  // matched by its UDID
  CFiPrivateData markedData(&marked.objid, false);
  EXPECT_EQ(0, markedData.selectTargetFromConfigData());
}

TEST_F(ConfiguredTargets, UnconfiguredDeviceIsDiscovered) {
  manager()->setSnapshotResourceSpec(std::string(kSource) + " = t##7");
  Node other("UDID##HITACHI##HDS##410##13");
  CFiPrivateData data(&other.objid, false), nameless(nullptr, false);
  EXPECT_EQ(1, data.selectTargetFromConfigData());
  EXPECT_EQ(1, nameless.selectTargetFromConfigData());
  EXPECT_EQ("", data.getConfiguredTarget());
  EXPECT_TRUE(data.getTargets().empty());
}

TEST_F(ConfiguredTargets, ValueComesFromTheParameterAndABadOneKeepsTheOld) {
  CFiConfigParamInfoList parameters;
  manager()->loadSnapshotResourceSpec(parameters);  // not declared: nothing configured
  EXPECT_TRUE(manager()->getTargetConfig().empty());
  CFiConfigParamInfo parameter;
  parameter.m_name = "snapshot_resource_spec";
  parameter.m_value = std::string(kSource) + " = t##7";
  parameters.addParamInfo(parameter);
  manager()->loadSnapshotResourceSpec(parameters);
  EXPECT_EQ((std::vector<std::string>{"t##7"}), manager()->getTargetConfig().targetsFor(kSource));
  EXPECT_THROW(manager()->setSnapshotResourceSpec("broken"), CFiTargetConfigError);
  EXPECT_EQ((std::vector<std::string>{"t##7"}), manager()->getTargetConfig().targetsFor(kSource));
}

TEST_F(ConfiguredTargets, UnsetValueIsTakenFromTheEnvironmentOrItsFile) {
  const std::string file = ::testing::TempDir() + "records_targets.txt";
  {
    std::unique_ptr<FILE, int (*)(FILE*)> out(std::fopen(file.c_str(), "w"), &std::fclose);
    ASSERT_TRUE(out);
    std::fputs((std::string(kSource) + " = t##7\n").c_str(), out.get());
  }
  ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", ("@" + file).c_str(), 1);
  CFiPrivateDataManager fromFile;
  EXPECT_EQ((std::vector<std::string>{"t##7"}), fromFile.getTargetConfig().targetsFor(kSource));

  ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", "broken", 1);
  CFiPrivateDataManager malformed;
  EXPECT_THROW(malformed.getTargetConfig(), CFiTargetConfigError);
  EXPECT_THROW(malformed.getTargetConfig(), CFiTargetConfigError);  // still refused
  malformed.setSnapshotResourceSpec("");
  EXPECT_TRUE(malformed.getTargetConfig().empty());

  ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", ("@" + file + ".missing").c_str(), 1);
  CFiPrivateDataManager unreadable;
  EXPECT_THROW(unreadable.getTargetConfig(), CFiTargetConfigError);
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
  std::remove(file.c_str());
}

}  // namespace
