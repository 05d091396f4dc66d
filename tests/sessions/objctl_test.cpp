// Object-control argument lists: the text form round-trips any list, and
// malformed text is refused with the line it failed on.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "cfiobjctlargs.h"

using namespace frim_pdk_4_4;

namespace {

// Random texts over every byte value, biased towards the bytes the format
// treats specially.
std::string randomText(std::mt19937& random) {
  static const std::string special = std::string("=%\n\r\t ") + '\0' + "%0A%3D" + "\x7f\xff";
  std::string out;
  for (int n = static_cast<int>(random() % 9); n > 0; --n) {
    if (random() % 2) {
      out += special[random() % special.size()];
    } else {
      out += static_cast<char>(random() % 256);
    }
  }
  return out;
}

class ObjctlArgs : public ::testing::Test {
 protected:
  CFiObjctlArgs args;
};

TEST_F(ObjctlArgs, AnyArgumentListRoundTrips) {
  std::mt19937 random(20261122);
  for (int round = 0; round < 2000; ++round) {
    CFiObjctlArgs original;
    for (int n = static_cast<int>(random() % 6); n > 0; --n)
      original.add(randomText(random), randomText(random));
    std::string text = original.exportArgs();
    ASSERT_EQ(text.size(), std::string(text.c_str()).size()) << "exported text holds a NUL";
    CFiObjctlArgs back;
    ASSERT_EQ(0, back.importArgs(text.c_str())) << back.getError();
    ASSERT_EQ(original.getArgs(), back.getArgs());
    ASSERT_EQ(text, back.exportArgs());
  }
}

TEST_F(ObjctlArgs, EmptyNamesValuesAndListsRoundTrip) {
  args.add("", "");
  args.add("name", "");
  args.add("", "value");
  CFiObjctlArgs back;
  ASSERT_EQ(0, back.importArgs(args.exportArgs().c_str()));
  EXPECT_EQ(args.getArgs(), back.getArgs());
  EXPECT_EQ("", CFiObjctlArgs().exportArgs());
  EXPECT_EQ(0, back.importArgs(""));
  EXPECT_TRUE(back.getArgs().empty());
}

TEST_F(ObjctlArgs, RepeatedNamesKeepTheirOrderAndGetReadsTheFirst) {
  ASSERT_EQ(0, args.importArgs("node=a\nnode=b\nmode=\n"));
  EXPECT_EQ((std::vector<CFiObjctlArgs::Argument>{{"node", "a"}, {"node", "b"}, {"mode", ""}}),
            args.getArgs());
  EXPECT_EQ("a", args.get("node"));
  EXPECT_EQ("", args.get("mode", "unused"));  // present but empty is not missing
  EXPECT_EQ("fallback", args.get("missing", "fallback"));
}

TEST_F(ObjctlArgs, SeparatorsInsideTextsAreEscaped) {
  args.add("a=b", "line1\nline2=%");
  EXPECT_EQ("a%3Db=line1%0Aline2%3D%25\n", args.exportArgs());
}

TEST_F(ObjctlArgs, ReadingIsLenientWhereTheMeaningIsClear) {
  ASSERT_EQ(0, args.importArgs("x=%0a%3d\n\ny=a=b\nlast=no-newline"));
  EXPECT_EQ((std::vector<CFiObjctlArgs::Argument>{{"x", "\n="}, {"y", "a=b"}, {"last", "no-newline"}}),
            args.getArgs());
}

TEST_F(ObjctlArgs, NullTextIsAnEmptyList) {
  args.add("stale", "1");
  EXPECT_EQ(0, args.importArgs(nullptr));
  EXPECT_TRUE(args.getArgs().empty());
  EXPECT_TRUE(args.getError().empty());
}

TEST_F(ObjctlArgs, LineWithoutEqualsIsRefusedWithItsNumber) {
  EXPECT_EQ(3, args.importArgs("a=1\n\nno-equals\nb=2\n"));
  EXPECT_TRUE(args.getArgs().empty());
  EXPECT_EQ("malformed argument on line 3", args.getError());
}

TEST_F(ObjctlArgs, BrokenEscapesAreRefused) {
  for (const char* text : {"a=%", "a=%4", "a=%G0", "a=%0G", "%=1", "a%2=1", "a=% 1"}) {
    EXPECT_EQ(3, args.importArgs(text)) << text;
    EXPECT_TRUE(args.getArgs().empty()) << text;
    EXPECT_EQ("malformed argument on line 1", args.getError()) << text;
  }
}

TEST_F(ObjctlArgs, ASuccessfulImportClearsTheEarlierError) {
  EXPECT_EQ(3, args.importArgs("bad"));
  EXPECT_EQ(0, args.importArgs("good=1"));
  EXPECT_TRUE(args.getError().empty());
  EXPECT_EQ("1", args.get("good"));
}

TEST_F(ObjctlArgs, ImportReplacesTheList) {
  args.add("old", "1");
  ASSERT_EQ(0, args.importArgs("new=2\n"));
  EXPECT_EQ((std::vector<CFiObjctlArgs::Argument>{{"new", "2"}}), args.getArgs());
  args.clear();
  EXPECT_TRUE(args.getArgs().empty());
}

}  // namespace
