// The private-data text: building nodes, finding them, converting contents.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "hitachi_pdparser.h"

namespace {

using P = CPrivateDataParser;

std::string contentsOf(const std::string& name, const char* text) {
  const char* contents = nullptr;
  int length = -1;
  if (P::getNodeContents(name, text, &contents, &length) != 0) return "<missing>";
  return std::string(contents, static_cast<size_t>(length));
}

TEST(PrivateDataText, NodesForEachValueType) {
  const ACE_CString nodes = P::createNode("N", INT_MIN) + P::createNode("B", true) +
                            P::createNode("B", false) + P::createNode("C", 'x') + P::createNode("C", '\0') +
                            P::createNode("T", std::string("a b")) + P::createNode("T", ACE_CString(""));
  EXPECT_STREQ("<N>-2147483648</N><B>1</B><B>0</B><C>x</C><C></C><T>a b</T><T></T>", nodes.c_str());
}

TEST(PrivateDataText, FirstNodeOfANameIsFoundAtAnyDepthNeverByALongerNameAndOnlyWhenClosed) {
  char nested[] = "pre<A><B>x</B></A><B>y</B>";
  char* start = nullptr;
  char* end = nullptr;
  ASSERT_EQ(0, P::getNode("B", nested, &start, &end));
  EXPECT_EQ("<B>x</B>", std::string(start, end));
  EXPECT_EQ("2", contentsOf("Port", "<PortNo>1</PortNo><Port>2</Port>"));
  EXPECT_EQ("a</PortNo>b", contentsOf("Port", "<Port>a</PortNo>b</Port>"));
  EXPECT_EQ("", contentsOf("Port", "<Port></Port>"));
  for (const char* missing : {"<PortNo>1</PortNo>", "<Port>open", "</Port><Port>"})
    EXPECT_EQ("<missing>", contentsOf("Port", missing)) << missing;
  const char* contents = "set";
  int length = 77;
  EXPECT_EQ(1, P::getNodeContents("A", nullptr, &contents, &length));
  EXPECT_EQ(nullptr, contents);
  EXPECT_EQ(77, length);
}

TEST(PrivateDataText, TruthValuesAndCharactersAreExactlyOneCharacter) {
  EXPECT_TRUE(P::toBool("1</X>", 1));
  EXPECT_FALSE(P::toBool("0", 1));
  EXPECT_THROW(P::toBool("10", 2), invalidData);
  EXPECT_THROW(P::toBool("2", 1), invalidData);
  EXPECT_THROW(P::toBool("", 0), invalidData);
  EXPECT_EQ('q', P::toChar("qq", 1));
  EXPECT_THROW(P::toChar("qq", 2), invalidData);
  try {
    P::toBool("yes</X>", 3);
    ADD_FAILURE() << "no invalidData";
  } catch (const invalidData& e) {
    EXPECT_STREQ("yes", e.getContents().c_str());
  }
}

TEST(PrivateDataText, IntegersReadLikeStrtolOnTheGivenLength) {
  EXPECT_EQ(12, P::toInteger("123", 2));
  EXPECT_EQ(-5, P::toInteger("-5x", 3));
  EXPECT_EQ(0, P::toInteger("", 0));
  EXPECT_EQ(1, P::toInteger("4294967297", 10));  // cut to 32 bits
  EXPECT_EQ("ab", P::toString("abcdef", 2));
}

}  // namespace
