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

// About 400 bytes of nested entities that expand to a 1,000,000-byte value.
std::string expandingEntities() {
  std::string xml = "<!DOCTYPE parameters [<!ENTITY e0 \"0123456789\">";
  for (int level = 1; level <= 5; ++level) {
    xml += "<!ENTITY e" + std::to_string(level) + " \"";
    for (int i = 0; i < 10; ++i) xml += "&e" + std::to_string(level - 1) + ";";
    xml += "\">";
  }
  return xml + "]><parameters><parameter name=\"n\" value=\"&e5;\"/></parameters>";
}

TEST(ConfigParamList, DocumentTypesAreRefusedSoNoEntityIsDeclaredOrFetched) {
  const std::string documents[] = {
      expandingEntities(),
      "<!DOCTYPE parameters SYSTEM \"file:///etc/passwd\"><parameters/>",
      "<!DOCTYPE parameters [<!ENTITY x SYSTEM \"file:///etc/hostname\">]>"
      "<parameters><parameter name=\"n\" value=\"&x;\"/></parameters>",
      "<?xml version=\"1.0\"?>\n<!DOCTYPE parameters []><parameters/>",
  };
  for (const std::string& xml : documents) {
    try {
      CFiConfigParamInfoList::parseXML(xml);
      ADD_FAILURE() << "accepted: " << xml;
    } catch (const CFiConfigXmlError& e) {
      EXPECT_STREQ("document type declarations are refused", e.what());
    }
  }
  EXPECT_LT(expandingEntities().size(), 450u);
  // A bare document type declares nothing and reads nothing; an undeclared
  // entity is no way around the refusal; the predefined ones still work.
  EXPECT_EQ(
      1u,
      CFiConfigParamInfoList::parseXML("<!DOCTYPE parameters><parameters><parameter/></parameters>").size());
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<parameters><parameter name=\"&e5;\"/></parameters>"),
               CFiConfigXmlError);
  EXPECT_EQ("<&>", CFiConfigParamInfoList::parseXML(
                       "<parameters><parameter name=\"&lt;&amp;&#62;\"/></parameters>")[0]
                       .m_name);
}

// The plugin tests move it with HITACHIFI_CACHE_DIR.
TEST(CacheLocation, DefaultIsVarCache) {
  ::unsetenv("HITACHIFI_CACHE_DIR");
  EXPECT_EQ("/var/cache/hitachifi", CFiConfigurationPathTool::getCacheLocationInfo());
}

}  // namespace
