// The "snapshot_resource_spec" text an administrator writes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfitargetconfig.h"

using frim_pdk_4_4::CFiTargetConfig;
using frim_pdk_4_4::CFiTargetConfigError;

namespace {

using Targets = std::vector<std::string>;

class TargetConfig : public ::testing::Test {
 protected:
  // The message a malformed text gives; "" when it parses.
  std::string errorFor(const std::string& text) {
    try {
      config.parse(text);
    } catch (const CFiTargetConfigError& e) {
      return e.what();
    }
    return "";
  }
  CFiTargetConfig config;
};

TEST_F(TargetConfig, ReadsSourcesWithTheirTargetsInOrder) {
  config.parse(
      "# administrator's targets\n"
      "UDID##HP##XP##520002##300 = UDID##HP##XP##520002##600, UDID##HP##XP##520002##601\n"
      "\n"
      "node UDID##A##B##1##2 = t##3\n"
      "UDID##A##B##1##2 = t##4; UDID##A##B##1##5 = t##6");
  EXPECT_EQ((Targets{"UDID##HP##XP##520002##600", "UDID##HP##XP##520002##601"}),
            config.targetsFor("UDID##HP##XP##520002##300"));
  EXPECT_EQ((Targets{"t##3", "t##4"}), config.targetsFor("<hitachifi>UDID##A##B##1##2"));
  EXPECT_EQ((Targets{"t##6"}), config.targetsFor("UDID##A##B##1##5"));
  EXPECT_TRUE(config.targetsFor("UDID##A##B##1##22").empty());
}

TEST_F(TargetConfig, CommentsEndLinesButUdidSeparatorsDoNot) {
  config.parse(
      "  # indented comment\r\n"
      "UDID##HITACHI ##OPEN-V ##410##12 = UDID##HITACHI ##OPEN-V ##410##40   # db volume\r\n");
  EXPECT_EQ((Targets{"UDID##HITACHI ##OPEN-V ##410##40"}),
            config.targetsFor("UDID##HITACHI ##OPEN-V ##410##12"));
}

TEST_F(TargetConfig, MalformedEntriesNameTheirLine) {
  EXPECT_EQ(
      "snapshot_resource_spec line 2: expected '<source UDID> = <target>[, <target>...]', found 'broken'",
      errorFor("UDID##A##B##1##2 = t##3\nbroken"));
  EXPECT_EQ("snapshot_resource_spec line 1: no source device before '='", errorFor(" = t##1"));
  EXPECT_EQ("snapshot_resource_spec line 1: source 'x##1' is not a device UDID (reason 2)",
            errorFor("x##1 = t##2"));
  EXPECT_EQ("snapshot_resource_spec line 1: target 't##x' does not end in '##<device id>'",
            errorFor("UDID##A##B##1##2 = t##x"));
  EXPECT_EQ("snapshot_resource_spec line 1: target 't##' does not end in '##<device id>'",
            errorFor("UDID##A##B##1##2 = t##"));
  EXPECT_EQ("snapshot_resource_spec line 3: missing target for 'UDID##A##B##1##2'",
            errorFor("\n\nUDID##A##B##1##2 = t##3,"));
  EXPECT_EQ("snapshot_resource_spec line 1: no target after '=' for 'UDID##A##B##1##2'",
            errorFor("UDID##A##B##1##2 ="));
  EXPECT_EQ("snapshot_resource_spec line 2: target 't##3' is listed twice for 'UDID##A##B##1##2'",
            errorFor("UDID##A##B##1##2 = t##3\nUDID##A##B##1##2 = t##3"));
}

TEST_F(TargetConfig, MalformedTextKeepsThePreviousConfigurationAndAnEmptyOneClearsIt) {
  config.parse("UDID##A##B##1##2 = t##3");
  EXPECT_NE("", errorFor("UDID##A##B##1##2 = t##4\nbroken"));
  EXPECT_EQ((Targets{"t##3"}), config.targetsFor("UDID##A##B##1##2"));
  config.parse(" \n# nothing\n;;\n");
  EXPECT_TRUE(config.empty());
}

}  // namespace
