// The private-data text: building nodes, finding them, converting contents.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "hitachi_pdparser.h"

namespace {

using P = CPrivateDataParser;

class PrivateDataText : public ::testing::Test {
 protected:
  // The contents, or the whole node, of the first node `name` in `text`.
  static std::string contentsOf(const std::string& name, const char* text) {
    const char* contents = nullptr;
    int length = -1;
    if (P::getNodeContents(name, text, &contents, &length) != 0) return "<missing>";
    return std::string(contents, static_cast<size_t>(length));
  }
  static std::string nodeOf(const std::string& name, char* text) {
    char* start = nullptr;
    char* end = nullptr;
    return P::getNode(name, text, &start, &end) == 0 ? std::string(start, end) : "<missing>";
  }
};

TEST_F(PrivateDataText, NodesForEachValueType) {
  EXPECT_STREQ("<Status>7</Status>", P::createNode("Status", 7).c_str());
  EXPECT_STREQ("<IsSnap>0</IsSnap>", P::createNode("IsSnap", false).c_str());
  EXPECT_STREQ("<IsSnap>1</IsSnap>", P::createNode("IsSnap", true).c_str());
  EXPECT_STREQ("<N>-2147483648</N>", P::createNode("N", INT_MIN).c_str());
  EXPECT_STREQ("<C>x</C>", P::createNode("C", 'x').c_str());
  EXPECT_STREQ("<C></C>", P::createNode("C", '\0').c_str());
  EXPECT_STREQ("<T>a b</T>", P::createNode("T", std::string("a b")).c_str());
  EXPECT_STREQ("<T></T>", P::createNode("T", ACE_CString("")).c_str());
}

TEST_F(PrivateDataText, FirstNodeOfANameIsFoundAtAnyDepthAndNeverByALongerName) {
  char nested[] = "<A><B>x</B></A><B>y</B>";
  EXPECT_EQ("x", contentsOf("B", nested));
  EXPECT_EQ("<B>x</B>", nodeOf("B", nested));
  char surrounded[] = "pre<A>1</A>post";
  EXPECT_EQ("<A>1</A>", nodeOf("A", surrounded));
  EXPECT_EQ("2", contentsOf("Port", "<PortNo>1</PortNo><Port>2</Port>"));
  EXPECT_EQ("<missing>", contentsOf("Port", "<PortNo>1</PortNo>"));
  EXPECT_EQ("a</PortNo>b", contentsOf("Port", "<Port>a</PortNo>b</Port>"));
}

TEST_F(PrivateDataText, MissingOrUnclosedNodesReportOneAndNullPointers) {
  const char* start = "set";
  const char* end = "set";
  EXPECT_EQ(1, P::getNode("A", "<A>open", &start, &end));
  EXPECT_TRUE(start == nullptr && end == nullptr);
  const char* contents = "set";
  int length = 77;
  EXPECT_EQ(1, P::getNodeContents("A", "</A><A>", &contents, &length));
  EXPECT_EQ(nullptr, contents);
  EXPECT_EQ(77, length);  // untouched
  EXPECT_EQ(1, P::getNodeContents("A", nullptr, &contents, &length));
}

TEST_F(PrivateDataText, EmptyContentsAreFoundWithLengthZero) {
  const char* contents = nullptr;
  int length = -1;
  ASSERT_EQ(0, P::getNodeContents("Status", "<Status></Status>", &contents, &length));
  EXPECT_EQ(0, length);
  EXPECT_EQ(0, P::toInteger(contents, length));
  EXPECT_EQ("", P::toString(contents, length));
  EXPECT_THROW(P::toBool(contents, length), invalidData);
}

TEST_F(PrivateDataText, TruthValuesAndCharactersAreExactlyOneCharacter) {
  EXPECT_TRUE(P::toBool("1</X>", 1));
  EXPECT_FALSE(P::toBool("0", 1));
  EXPECT_THROW(P::toBool("10", 2), invalidData);
  EXPECT_THROW(P::toBool("2", 1), invalidData);
  EXPECT_EQ('q', P::toChar("qq", 1));
  EXPECT_THROW(P::toChar("qq", 2), invalidData);
  try {
    P::toBool("yes</X>", 3);
    ADD_FAILURE() << "no invalidData";
  } catch (const invalidData& e) {
    EXPECT_STREQ("yes", e.getContents().c_str());  // just the given characters
  }
}

TEST_F(PrivateDataText, IntegersReadLikeStrtolOnTheGivenLength) {
  EXPECT_EQ(12, P::toInteger("12ab", 4));
  EXPECT_EQ(-5, P::toInteger("-5", 2));
  EXPECT_EQ(12, P::toInteger("123", 2));
  EXPECT_EQ(42, P::toInteger("  +42", 5));
  EXPECT_EQ(0, P::toInteger("abc", 3));
  EXPECT_EQ(1, P::toInteger("4294967297", 10));  // cut to 32 bits
  EXPECT_EQ("ab", P::toString("abcdef", 2));
}

}  // namespace
