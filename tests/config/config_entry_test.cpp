// The framework's config operation on the parameter list itself, which no
// entry point shows: a value is taken with the plugin's own attributes, a
// name not declared is not added, refused input changes nothing, and only
// the set mode is served. What reaches the framework and the targets is
// pinned through the plugin by config.scenarios.
#include <gtest/gtest.h>

#include <string>

#include "cfipluginbase.h"
#include "cfiprivatedatamgr.h"

using namespace frim_pdk_4_4;

namespace {

const char kParameter[] = "snapshot_resource_spec";

std::string parameterXml(const std::string& name, const std::string& value) {
  CFiConfigParamInfoList list;
  CFiConfigParamInfo parameter;
  parameter.m_name = name;
  parameter.m_value = value;
  list.addParamInfo(parameter);
  return list.getXML();
}

TEST(ConfigOperation, ValuesKeepThePluginsAttributesAndRefusedInputChangesNothing) {
  CFiPluginBase plugin;
  CFiConfigParamInfo declared;
  declared.m_name = kParameter;
  declared.m_firstAttribute = 0;  // the plugin's own attributes must survive a new value
  plugin.getConfigParamList().addParamInfo(declared);
  plugin.registerPrivateDataManager(CFiPrivateDataManagerPtr(new CFiPrivateDataManager()));
  auto config = [&](std::string xml) { return plugin.config(nullptr, ZFI_CONFIG_SET, &xml[0], nullptr); };
  const std::string good = "UDID##HITACHI##HDS##410001##256 = t##7";
  ASSERT_EQ(ZFI_OK, config(parameterXml(kParameter, good)));
  EXPECT_EQ(ZFI_OK, config(parameterXml("some_other_providers_option", "1")));
  EXPECT_EQ(ZFI_E_INVALID, config(parameterXml(kParameter, "no equals sign here")));
  std::string withDoctype = parameterXml(kParameter, "UDID##A##B##1##2 = t##8");
  withDoctype.insert(withDoctype.find("<parameters"), "<!DOCTYPE parameters []>");
  EXPECT_EQ(ZFI_E_INVALID, config(withDoctype));
  EXPECT_EQ(ZFI_E_INVALID, plugin.config(nullptr, ZFI_CONFIG_SET, nullptr, nullptr));
  EXPECT_EQ(ZFI_E_NOT_SUPPORTED, plugin.config(nullptr, 0, nullptr, nullptr));
  const CFiConfigParamInfo* taken = plugin.getConfigParamList().find(kParameter);
  EXPECT_EQ(good + " 0", taken->m_value + " " + std::to_string(taken->m_firstAttribute));
  EXPECT_EQ(nullptr, plugin.getConfigParamList().find("some_other_providers_option"));
}

}  // namespace
