// Device id texts: "UDID##<vendor>##<product>[##<enclosure>]##<device>".
#include <gtest/gtest.h>

#include "cfiudid.h"

using frim_pdk_4_4::CFiUdid;
using frim_pdk_4_4::CFiUdidException;

namespace {

class Udid : public ::testing::Test {
 protected:
  // The reason parse() gives for `text`; 0 when it parses.
  static int reasonFor(const char* text) {
    try {
      CFiUdid udid(text);
    } catch (const CFiUdidException& e) {
      EXPECT_EQ(text ? text : "", e.getText());
      return e.getReason();
    }
    return 0;
  }
};

TEST_F(Udid, ParsesVendorProductEnclosureAndDevice) {
  CFiUdid udid("<hitachifi>UDID##HITACHI##HDS##410##12");  // the prefix may stand anywhere
  EXPECT_EQ("HITACHI", udid.getVendor());
  EXPECT_EQ("HDS", udid.getProduct());
  EXPECT_EQ("410", udid.getEnclosureId());
  EXPECT_EQ("12", udid.getDeviceId());
  EXPECT_TRUE(udid.hasEnclosureId());
  udid.parse("UDID##A##B##C##D##E");  // the device keeps further separators
  EXPECT_EQ("C", udid.getEnclosureId());
  EXPECT_EQ("D##E", udid.getDeviceId());
}

TEST_F(Udid, ParseClearsThePreviousPartsAndALoneLastPartIsTheDevice) {
  CFiUdid udid("UDID##HITACHI##HDS##410##12");
  udid.parse("UDID##A##B##C");
  EXPECT_EQ("C", udid.getDeviceId());
  EXPECT_EQ("", udid.getEnclosureId());
  EXPECT_FALSE(udid.hasEnclosureId());
  EXPECT_THROW(udid.parse("UDID##A"), CFiUdidException);
  EXPECT_EQ("", udid.getVendor());
  EXPECT_EQ("", udid.getDeviceId());
}

TEST_F(Udid, MalformedTextsGiveTheirReason) {
  EXPECT_EQ(1, reasonFor("UDID##HP##XP##"));
  EXPECT_EQ(2, reasonFor("HITACHI##HDS##1##2"));
  EXPECT_EQ(2, reasonFor("UDID#HITACHI##HDS##1##2"));
  EXPECT_EQ(2, reasonFor(nullptr));
  EXPECT_EQ(3, reasonFor("UDID##HITACHI"));
  EXPECT_EQ(4, reasonFor("UDID##HITACHI##HDS"));
  EXPECT_EQ(0, reasonFor("UDID######1"));  // empty vendor and product are allowed
}

}  // namespace
