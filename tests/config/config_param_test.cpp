// Configuration parameters, their XML description, and the cache location.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cficonfigparam.h"

using namespace frim_pdk_4_4;

namespace {

CFiConfigParamInfo targetsParameter() {
  CFiConfigParamInfo param;
  param.m_name = "snapshot_resource_spec";
  param.m_firstAttribute = 0;
  param.m_secondAttribute = 0;
  return param;
}

class ConfigParamList : public ::testing::Test {
 protected:
  std::vector<CFiConfigParamInfo> roundTrip() { return CFiConfigParamInfoList::parseXML(list.getXML()); }
  CFiConfigParamInfoList list;
};

TEST_F(ConfigParamList, ParametersKeepTheirOrderAndASameNameReplaces) {
  list.updateXML();
  EXPECT_TRUE(roundTrip().empty());
  CFiConfigParamInfo a = targetsParameter();
  CFiConfigParamInfo b;
  b.m_name = "second";
  b.m_flag = true;
  b.m_minimum = 1;
  b.m_maximum = 10;
  list.addParamInfo(a);
  list.addParamInfo(b);
  a.m_value = "changed";
  list.addParamInfo(a);
  ASSERT_EQ(2u, list.getParams().size());
  EXPECT_EQ("changed", list.getParams()[0].m_value);
  std::vector<CFiConfigParamInfo> back = roundTrip();
  ASSERT_EQ(2u, back.size());
  EXPECT_TRUE(back[0] == a);
  EXPECT_TRUE(back[1] == b);
  EXPECT_EQ(nullptr, list.find("absent"));
}

TEST_F(ConfigParamList, TextsThatNeedEscapingAndUtf8RoundTrip) {
  CFiConfigParamInfo param = targetsParameter();
  param.m_value = "UDID##HITACHI##HDS##410001##256=UDID##HITACHI##HDS##410001##512 <&> \"q\" 'a'";
  param.m_description = "tab\there, ]]> and a line\nbreak, del\x7f, Z\xC3\xBCrich \xE6\x9D\xB1\xE4\xBA\xAC";
  param.m_allowedValues = {"a<b", "c&d", "]]>", "", "\xC3\xA9t\xC3\xA9"};
  list.addParamInfo(param);
  EXPECT_EQ(std::string::npos, list.getXML().find("<&>"));
  std::vector<CFiConfigParamInfo> back = roundTrip();
  ASSERT_EQ(1u, back.size());
  EXPECT_EQ(param.m_value, back[0].m_value);
  EXPECT_EQ(param.m_description, back[0].m_description);
  EXPECT_EQ(param.m_allowedValues, back[0].m_allowedValues);
}

TEST_F(ConfigParamList, MissingAttributesReadAsTheKitDefaults) {
  std::vector<CFiConfigParamInfo> back =
      CFiConfigParamInfoList::parseXML("<parameters><parameter name=\"bare\"/></parameters>");
  ASSERT_EQ(1u, back.size());
  EXPECT_EQ("bare", back[0].m_name);
  EXPECT_EQ(6, back[0].m_firstAttribute);
  EXPECT_EQ(3, back[0].m_secondAttribute);
  EXPECT_EQ(-1, back[0].m_minimum);
  EXPECT_EQ(-1, back[0].m_maximum);
}

TEST_F(ConfigParamList, MalformedXmlIsAClearError) {
  const std::string broken[] = {"<parameters><oops/></parameters>",
                                "<parameters><parameter",
                                "<allowed>x</allowed>",
                                "",
                                "<parameters>\xff\xfe</parameters>",
                                "<parameters><parameter name=\"n\" first=\"six\"/></parameters>",
                                "<parameters><parameter name=\"n\" minimum=\"99999999999\"/></parameters>"};
  for (const std::string& xml : broken) {
    EXPECT_THROW(CFiConfigParamInfoList::parseXML(xml), CFiConfigXmlError) << xml;
  }
  try {
    CFiConfigParamInfoList::parseXML(broken[0]);
  } catch (const CFiConfigXmlError& e) {
    EXPECT_NE(std::string::npos, std::string(e.what()).find("oops"));
  }
}

TEST_F(ConfigParamList, TextXmlCannotCarryIsRefusedAndTheListStaysAsItWas) {
  list.addParamInfo(targetsParameter());
  const std::string before = list.getXML();
  CFiConfigParamInfo bad;
  bad.m_name = "bad";
  for (const std::string& value : {std::string("bell\x07"), std::string("\xff\xfe\xc3")}) {
    bad.m_value = value;
    EXPECT_THROW(list.addParamInfo(bad), CFiConfigXmlError);
  }
  bad.m_value = "";
  bad.m_allowedValues = {"\x01"};
  EXPECT_THROW(list.addParamInfo(bad), CFiConfigXmlError);
  CFiConfigParamInfo replacing = targetsParameter();
  replacing.m_value = "\xc3";
  EXPECT_THROW(list.addParamInfo(replacing), CFiConfigXmlError);
  ASSERT_EQ(1u, list.getParams().size());
  EXPECT_TRUE(list.getParams()[0] == targetsParameter());
  EXPECT_EQ(before, list.getXML());
}

TEST(CacheLocation, EnvironmentMovesItAndDefaultIsVarCache) {
  ::setenv("HITACHIFI_CACHE_DIR", "/tmp/somewhere", 1);
  EXPECT_EQ("/tmp/somewhere", CFiConfigurationPathTool::getCacheLocationInfo());
  ::setenv("HITACHIFI_CACHE_DIR", "", 1);
  EXPECT_EQ("/var/cache/hitachifi", CFiConfigurationPathTool::getCacheLocationInfo());
  ::unsetenv("HITACHIFI_CACHE_DIR");
  EXPECT_EQ("/var/cache/hitachifi", CFiConfigurationPathTool::getCacheLocationInfo());
}

}  // namespace
