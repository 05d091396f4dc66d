// Configuration parameters, their XML description, and the cache location.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cficonfigparam.h"

using namespace frim_pdk_4_4;

namespace {

CFiConfigParamInfo resourceSpec() {
  CFiConfigParamInfo param;
  param.m_name = "snapshot_resource_spec";
  param.m_firstAttribute = 0;
  param.m_secondAttribute = 0;
  return param;
}

TEST(ConfigParamInfo, FreshParameterHasTheKitDefaults) {
  CFiConfigParamInfo param;
  EXPECT_EQ(6, param.m_firstAttribute);
  EXPECT_EQ(3, param.m_secondAttribute);
  EXPECT_FALSE(param.m_flag);
  EXPECT_EQ(-1, param.m_minimum);
  EXPECT_EQ(-1, param.m_maximum);
  EXPECT_TRUE(param.m_allowedValues.empty());
}

class ConfigParamList : public ::testing::Test {
 protected:
  std::vector<CFiConfigParamInfo> roundTrip() { return CFiConfigParamInfoList::parseXML(list.getXML()); }
  CFiConfigParamInfoList list;
};

TEST_F(ConfigParamList, EmptyListDescribesNoParameters) {
  list.updateXML();
  EXPECT_NE(std::string::npos, list.getXML().find("parameters"));
  EXPECT_TRUE(roundTrip().empty());
}

TEST_F(ConfigParamList, AddingRegeneratesTheXml) {
  list.addParamInfo(resourceSpec());
  std::vector<CFiConfigParamInfo> back = roundTrip();
  ASSERT_EQ(1u, back.size());
  EXPECT_TRUE(back[0] == resourceSpec());
  EXPECT_EQ(0, back[0].m_firstAttribute);
  EXPECT_EQ(-1, back[0].m_maximum);
}

TEST_F(ConfigParamList, ParametersKeepTheirOrderAndASameNameReplaces) {
  CFiConfigParamInfo a = resourceSpec();
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
  ASSERT_NE(nullptr, list.find("second"));
  EXPECT_TRUE(list.find("second")->m_flag);
}

TEST_F(ConfigParamList, TextsThatNeedEscapingRoundTrip) {
  CFiConfigParamInfo param = resourceSpec();
  param.m_value = "UDID##HITACHI##HDS##410001##256=UDID##HITACHI##HDS##410001##512 <&> \"q\" 'a'";
  param.m_description = "tab\there, ]]> and a line\nbreak";
  param.m_allowedValues = {"a<b", "c&d", "]]>", ""};
  list.addParamInfo(param);
  EXPECT_EQ(std::string::npos, list.getXML().find("<&>"));
  std::vector<CFiConfigParamInfo> back = roundTrip();
  ASSERT_EQ(1u, back.size());
  EXPECT_EQ(param.m_value, back[0].m_value);
  EXPECT_EQ(param.m_description, back[0].m_description);
  EXPECT_EQ(param.m_allowedValues, back[0].m_allowedValues);
}

TEST_F(ConfigParamList, Utf8TextsRoundTrip) {
  CFiConfigParamInfo param = resourceSpec();
  param.m_value = "Z\xC3\xBCrich \xE6\x9D\xB1\xE4\xBA\xAC";
  param.m_allowedValues = {"\xC3\xA9t\xC3\xA9"};
  list.addParamInfo(param);
  std::vector<CFiConfigParamInfo> back = roundTrip();
  ASSERT_EQ(1u, back.size());
  EXPECT_EQ(param.m_value, back[0].m_value);
  EXPECT_EQ(param.m_allowedValues, back[0].m_allowedValues);
}

TEST_F(ConfigParamList, MissingAttributesReadAsTheKitDefaults) {
  std::vector<CFiConfigParamInfo> back =
      CFiConfigParamInfoList::parseXML("<parameters><parameter name=\"bare\"/></parameters>");
  ASSERT_EQ(1u, back.size());
  CFiConfigParamInfo expected;
  expected.m_name = "bare";
  EXPECT_TRUE(back[0] == expected);
}

TEST_F(ConfigParamList, MalformedXmlIsAClearError) {
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<parameters><oops/></parameters>"), CFiConfigXmlError);
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<parameters><parameter"), CFiConfigXmlError);
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<allowed>x</allowed>"), CFiConfigXmlError);
  EXPECT_THROW(CFiConfigParamInfoList::parseXML(""), CFiConfigXmlError);
  EXPECT_THROW(CFiConfigParamInfoList::parseXML(std::string("<parameters>\xff\xfe</parameters>")),
               CFiConfigXmlError);
  try {
    CFiConfigParamInfoList::parseXML("<parameters><oops/></parameters>");
  } catch (const CFiConfigXmlError& e) {
    EXPECT_NE(std::string::npos, std::string(e.what()).find("oops"));
  }
}

TEST_F(ConfigParamList, ControlCharactersXmlCannotCarryAreRefused) {
  list.addParamInfo(resourceSpec());
  CFiConfigParamInfo param = resourceSpec();
  param.m_value = "bell\x07";
  EXPECT_THROW(list.addParamInfo(param), CFiConfigXmlError);
  param.m_value = "";
  param.m_allowedValues = {"\x01"};
  EXPECT_THROW(list.addParamInfo(param), CFiConfigXmlError);
  ASSERT_EQ(1u, list.getParams().size());
  EXPECT_TRUE(list.getParams()[0] == resourceSpec());
  param.m_allowedValues = {"tab\tline\ncr\rdel\x7f"};
  list.addParamInfo(param);
  EXPECT_EQ(param.m_allowedValues, roundTrip()[0].m_allowedValues);
}

TEST_F(ConfigParamList, TextThatIsNotUtf8IsRefusedAndTheListStaysAsItWas) {
  list.addParamInfo(resourceSpec());
  const std::string before = list.getXML();
  CFiConfigParamInfo bad;
  bad.m_name = "bad";
  bad.m_value = "\xff\xfe\xc3";
  EXPECT_THROW(list.addParamInfo(bad), CFiConfigXmlError);
  EXPECT_EQ(1u, list.getParams().size());
  EXPECT_EQ(nullptr, list.find("bad"));
  EXPECT_EQ(before, list.getXML());
  CFiConfigParamInfo renamed = resourceSpec();
  renamed.m_value = "\xc3";
  EXPECT_THROW(list.addParamInfo(renamed), CFiConfigXmlError);
  EXPECT_EQ("", list.find("snapshot_resource_spec")->m_value);
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
