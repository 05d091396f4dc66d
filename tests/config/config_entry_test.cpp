// The framework's config operation: parameter values reach the plugin's
// list and the configured snapshot targets, all or nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfipluginbase.h"
#include "cfiprivatedatamgr.h"

using namespace frim_pdk_4_4;

namespace {

const char kSource[] = "UDID##HITACHI##HDS##410001##256";
const char kParameter[] = "snapshot_resource_spec";

std::string parameterXml(const std::string& name, const std::string& value) {
  CFiConfigParamInfoList list;
  CFiConfigParamInfo parameter;
  parameter.m_name = name;
  parameter.m_value = value;
  list.addParamInfo(parameter);
  return list.getXML();
}

class ConfigOperation : public ::testing::Test {
 protected:
  void SetUp() override {
    CFiConfigParamInfo declared;
    declared.m_name = kParameter;
    declared.m_firstAttribute = 0;  // the plugin's own attributes must survive a new value
    plugin.getConfigParamList().addParamInfo(declared);
    plugin.registerPrivateDataManager(CFiPrivateDataManagerPtr(new CFiPrivateDataManager()));
  }
  int config(std::string xml) { return plugin.config(nullptr, ZFI_CONFIG_SET, &xml[0], nullptr); }
  std::vector<std::string> targets() {
    return plugin.getPrivateDataManager()->getTargetConfig().targetsFor(kSource);
  }
  std::string value() { return plugin.getConfigParamList().find(kParameter)->m_value; }

  CFiPluginBase plugin;
};

TEST_F(ConfigOperation, ValueReachesTheParameterAndTheTargets) {
  const std::string targetsText = std::string(kSource) + " = UDID##HITACHI##HDS##410001##512";
  ASSERT_EQ(ZFI_OK, config(parameterXml(kParameter, targetsText)));
  EXPECT_EQ(targetsText, value());
  EXPECT_EQ(0, plugin.getConfigParamList().find(kParameter)->m_firstAttribute);
  EXPECT_EQ((std::vector<std::string>{"UDID##HITACHI##HDS##410001##512"}), targets());
  EXPECT_EQ(ZFI_OK, config(parameterXml("some_other_providers_option", "1")));  // ignored
  EXPECT_EQ(nullptr, plugin.getConfigParamList().find("some_other_providers_option"));
  EXPECT_EQ(targetsText, value());
}

TEST_F(ConfigOperation, RefusedInputChangesNothing) {
  const std::string good = std::string(kSource) + " = t##7";
  ASSERT_EQ(ZFI_OK, config(parameterXml(kParameter, good)));
  EXPECT_EQ(ZFI_E_INVALID, config(parameterXml(kParameter, "no equals sign here")));
  EXPECT_EQ(ZFI_E_INVALID, config("<parameters><parameter"));
  std::string withDoctype = parameterXml(kParameter, good + "; UDID##A##B##1##2 = t##8");
  withDoctype.insert(withDoctype.find("<parameters"), "<!DOCTYPE parameters []>");
  EXPECT_EQ(ZFI_E_INVALID, config(withDoctype));
  EXPECT_EQ(ZFI_E_INVALID, plugin.config(nullptr, ZFI_CONFIG_SET, nullptr, nullptr));
  EXPECT_EQ(ZFI_E_NOT_SUPPORTED, plugin.config(nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(good, value());
  EXPECT_EQ((std::vector<std::string>{"t##7"}), targets());
}

}  // namespace
