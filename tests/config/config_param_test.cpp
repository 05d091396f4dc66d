// Configuration parameters, their XML description, and the cache location.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cficonfigparam.h"

using namespace frim_pdk_4_4;

namespace {

CFiConfigParamInfo parameter(const std::string& name, const std::string& value = "") {
  CFiConfigParamInfo param;
  param.m_name = name;
  param.m_value = value;
  return param;
}

TEST(ConfigParamList, ParametersKeepTheirOrderASameNameReplacesAndTheXmlRoundTrips) {
  CFiConfigParamInfoList list;
  CFiConfigParamInfo a =
      parameter("snapshot_resource_spec", "UDID##A##B##1##2=UDID##A##B##1##3 <&> \"q\" 'a'");
  a.m_description = "tab\there, ]]> and a line\nbreak, del\x7f, Z\xC3\xBCrich \xE6\x9D\xB1\xE4\xBA\xAC";
  a.m_allowedValues = {"a<b", "]]>", "", "\xC3\xA9t\xC3\xA9"};
  CFiConfigParamInfo b = parameter("second");
  b.m_flag = true;
  b.m_minimum = 1;
  list.addParamInfo(parameter("snapshot_resource_spec", "first"));
  list.addParamInfo(b);
  list.addParamInfo(a);
  ASSERT_EQ(2u, list.getParams().size());
  EXPECT_EQ(nullptr, list.find("absent"));
  std::vector<CFiConfigParamInfo> back = CFiConfigParamInfoList::parseXML(list.getXML());
  ASSERT_EQ(2u, back.size());
  EXPECT_TRUE(back[0] == a);
  EXPECT_TRUE(back[1] == b);
}

TEST(ConfigParamList, MalformedXmlAndTextXmlCannotCarryAreClearErrorsThatChangeNothing) {
  for (const char* xml :
       {"<parameters><oops/></parameters>", "<parameters><parameter", "", "<parameters>\xff\xfe</parameters>",
        "<parameters><parameter name=\"n\" first=\"six\"/></parameters>",
        "<parameters><parameter name=\"n\" minimum=\"99999999999\"/></parameters>"}) {
    EXPECT_THROW(CFiConfigParamInfoList::parseXML(xml), CFiConfigXmlError) << xml;
  }
  CFiConfigParamInfoList list;
  list.addParamInfo(parameter("snapshot_resource_spec"));
  const std::string before = list.getXML();
  CFiConfigParamInfo bad = parameter("bad");
  bad.m_allowedValues = {"\x01"};
  for (const CFiConfigParamInfo& refused :
       {parameter("bad", "bell\x07"), parameter("snapshot_resource_spec", "\xc3"), bad}) {
    EXPECT_THROW(list.addParamInfo(refused), CFiConfigXmlError);
  }
  EXPECT_TRUE(list.getParams() == std::vector<CFiConfigParamInfo>{parameter("snapshot_resource_spec")});
  EXPECT_EQ(before, list.getXML());
}

// The plugin tests move it with HITACHIFI_CACHE_DIR.
TEST(CacheLocation, DefaultIsVarCache) {
  ::unsetenv("HITACHIFI_CACHE_DIR");
  EXPECT_EQ("/var/cache/hitachifi", CFiConfigurationPathTool::getCacheLocationInfo());
}

}  // namespace
