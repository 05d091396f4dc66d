// Device id texts: "UDID##<vendor>##<product>[##<enclosure>]##<device>".
#include <gtest/gtest.h>

#include "cfiudid.h"

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

}  // namespace
