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
// treats specially; empty texts included.
std::string randomText(std::mt19937& random) {
  static const std::string special = std::string("=%\n\r\t ") + '\0' + "%0A%3D" + "\x7f\xff";
  std::string out;
  for (int n = static_cast<int>(random() % 9); n > 0; --n) {
    out += random() % 2 ? special[random() % special.size()] : static_cast<char>(random() % 256);
  }
  return out;
}

TEST(ObjctlArgs, AnyArgumentListRoundTrips) {
  std::mt19937 random(20261122);
  for (int round = 0; round < 2000; ++round) {
    CFiObjctlArgs original, back;
    for (int n = static_cast<int>(random() % 6); n > 0; --n)
      original.add(randomText(random), randomText(random));
    const std::string text = original.exportArgs();
    ASSERT_EQ(text.size(), std::string(text.c_str()).size()) << "exported text holds a NUL";
    ASSERT_EQ(0, back.importArgs(text.c_str())) << back.getError();
    ASSERT_EQ(original.getArgs(), back.getArgs());
  }
}

TEST(ObjctlArgs, ReadingIsLenientWhereTheMeaningIsClearAndRefusesMalformedTextWithItsLine) {
  CFiObjctlArgs args;
  args.add("stale", "1");
  ASSERT_EQ(0, args.importArgs("node=a\nnode=b\n\nx=%0a%3d\ny=a=b\nlast=no-newline"));
  EXPECT_EQ((std::vector<CFiObjctlArgs::Argument>{
                {"node", "a"}, {"node", "b"}, {"x", "\n="}, {"y", "a=b"}, {"last", "no-newline"}}),
            args.getArgs());
  EXPECT_EQ(3, args.importArgs("a=1\n\nno-equals\nb=2\n"));
  EXPECT_TRUE(args.getArgs().empty());
  EXPECT_EQ("malformed argument on line 3", args.getError());
  for (const char* text : {"a=%4", "a=%G0", "a%2=1"}) {
    EXPECT_EQ(3, args.importArgs(text)) << text;
    EXPECT_EQ("malformed argument on line 1", args.getError()) << text;
  }
  EXPECT_EQ(0, args.importArgs(nullptr));
  EXPECT_TRUE(args.getError().empty());
}

}  // namespace
