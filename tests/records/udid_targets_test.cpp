// Device id texts, "UDID##<vendor>##<product>[##<enclosure>]##<device>", and
// the "snapshot_resource_spec" text an administrator writes with them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfitargetconfig.h"
#include "cfiudid.h"

using frim_pdk_4_4::CFiTargetConfig;
using frim_pdk_4_4::CFiTargetConfigError;
using frim_pdk_4_4::CFiUdid;
using frim_pdk_4_4::CFiUdidException;

namespace {

TEST(Udid, ParsesPartsAndEachParseStartsAfresh) {
  CFiUdid udid("<hitachifi>UDID##HITACHI##HDS##410##12");  // the prefix may stand anywhere
  EXPECT_EQ("HITACHI|HDS|410|12", udid.getVendor() + "|" + udid.getProduct() + "|" + udid.getEnclosureId() +
                                      "|" + udid.getDeviceId());
  udid.parse("UDID##A##B##C##D##E");  // the device keeps further separators
  EXPECT_EQ("C", udid.getEnclosureId());
  EXPECT_EQ("D##E", udid.getDeviceId());
  udid.parse("UDID##A##B##C");  // a lone last part is the device
  EXPECT_EQ("C", udid.getDeviceId());
  EXPECT_FALSE(udid.hasEnclosureId());
  EXPECT_THROW(udid.parse("UDID##A"), CFiUdidException);
  EXPECT_EQ("", udid.getVendor() + udid.getDeviceId());
}

TEST(Udid, MalformedTextsGiveTheirReasonAndText) {
  const struct {
    const char* text;
    int reason;
  } rows[] = {{"UDID##HP##XP##", 1}, {"HITACHI##HDS##1##2", 2}, {"UDID#HITACHI##HDS##1##2", 2},
              {nullptr, 2},          {"UDID##HITACHI", 3},      {"UDID##HITACHI##HDS", 4},
              {"UDID######1", 0}};  // empty vendor and product are allowed
  for (const auto& row : rows) {
    int reason = 0;
    try {
      CFiUdid udid(row.text);
    } catch (const CFiUdidException& e) {
      EXPECT_EQ(row.text ? row.text : "", e.getText());
      reason = e.getReason();
    }
    EXPECT_EQ(row.reason, reason) << (row.text ? row.text : "null");
  }
}

using Targets = std::vector<std::string>;

TEST(TargetConfig, ReadsSourcesWithTheirTargetsInOrderPastComments) {
  CFiTargetConfig config;
  config.parse(
      "  # administrator's targets\r\n"
      "UDID##HP##XP##520002##300 = UDID##HP##XP##520002##600, UDID##HP ##XP##520002##601  # db\r\n"
      "\n"
      "node UDID##A##B##1##2 = t##3\n"
      "UDID##A##B##1##2 = t##4; UDID##A##B##1##5 = t##6");
  EXPECT_EQ((Targets{"UDID##HP##XP##520002##600", "UDID##HP ##XP##520002##601"}),
            config.targetsFor("UDID##HP##XP##520002##300"));
  EXPECT_EQ((Targets{"t##3", "t##4"}), config.targetsFor("<hitachifi>UDID##A##B##1##2"));
  EXPECT_EQ((Targets{"t##6"}), config.targetsFor("UDID##A##B##1##5"));
  EXPECT_TRUE(config.targetsFor("UDID##A##B##1##22").empty());
}

TEST(TargetConfig, MalformedEntriesNameTheirLineAndKeepThePreviousConfiguration) {
  const char* const rows[][2] = {
      {"UDID##A##B##1##2 = t##3\nbroken",
       "line 2: expected '<source UDID> = <target>[, <target>...]', found 'broken'"},
      {" = t##1", "line 1: no source device before '='"},
      {"x##1 = t##2", "line 1: source 'x##1' is not a device UDID (reason 2)"},
      {"UDID##A##B##1##2 = t##x", "line 1: target 't##x' does not end in '##<device id>'"},
      {"UDID##A##B##1##2 = t##", "line 1: target 't##' does not end in '##<device id>'"},
      {"\n\nUDID##A##B##1##2 = t##3,", "line 3: missing target for 'UDID##A##B##1##2'"},
      {"UDID##A##B##1##2 =", "line 1: no target after '=' for 'UDID##A##B##1##2'"},
      {"UDID##A##B##1##2 = t##3\nUDID##A##B##1##2 = t##3",
       "line 2: target 't##3' is listed twice for 'UDID##A##B##1##2'"}};
  CFiTargetConfig config;
  config.parse("UDID##A##B##1##2 = t##9");
  for (const auto& row : rows) {
    std::string error;
    try {
      config.parse(row[0]);
    } catch (const CFiTargetConfigError& e) {
      error = e.what();
    }
    EXPECT_EQ(std::string("snapshot_resource_spec ") + row[1], error);
  }
  EXPECT_EQ((Targets{"t##9"}), config.targetsFor("UDID##A##B##1##2"));
  config.parse(" \n# nothing\n;;\n");
  EXPECT_TRUE(config.empty());
}

}  // namespace
