#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "V_strings.h"

// The realloc-failure case asks for an impossible size; under ASan that must
// return null rather than abort.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

// A buffer with guard bytes on both sides, so that a write past the given
// size is caught by the destructor's check.
template <class Char>
class Guarded {
 public:
  explicit Guarded(size_t size, Char fill = Char('x')) : m_size(size), m_storage(size + 2 * kGuard, fill) {
    for (size_t i = 0; i < kGuard; ++i) {
      m_storage[i] = kMark;
      m_storage[kGuard + size + i] = kMark;
    }
  }
  Char* data() { return &m_storage[kGuard]; }
  size_t size() const { return m_size; }
  bool guardsIntact() const {
    for (size_t i = 0; i < kGuard; ++i) {
      if (m_storage[i] != kMark || m_storage[kGuard + m_size + i] != kMark) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kGuard = 8;
  static constexpr Char kMark = Char(0x5A);
  size_t m_size;
  std::basic_string<Char> m_storage;
};

TEST(BoundedCopy, CopiesWholeTextThatFits) {
  Guarded<char> buf(16);
  EXPECT_EQ(5u, V_strlcpy(buf.data(), "hello", buf.size()));
  EXPECT_STREQ("hello", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedCopy, TruncatesToSizeMinusOneAndTerminates) {
  Guarded<char> buf(4);
  EXPECT_EQ(3u, V_strlcpy(buf.data(), "abcdef", buf.size()));
  EXPECT_STREQ("abc", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedCopy, SizeOneWritesOnlyTheTerminator) {
  Guarded<char> buf(1);
  EXPECT_EQ(0u, V_strlcpy(buf.data(), "abc", 1));
  EXPECT_EQ('\0', buf.data()[0]);
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedCopy, ZeroSizeOrNullPointersTouchNothing) {
  Guarded<char> buf(4);
  EXPECT_EQ(0u, V_strlcpy(buf.data(), "abc", 0));
  EXPECT_EQ('x', buf.data()[0]);
  EXPECT_EQ(0u, V_strlcpy(buf.data(), nullptr, 4));
  EXPECT_EQ('x', buf.data()[0]);
  EXPECT_EQ(0u, V_strlcpy(nullptr, "abc", 4));
}

TEST(BoundedCopy, WideSourceWithoutTerminatorCountsAsSizeMinusOne) {
  wchar_t source[4] = {L'a', L'b', L'c', L'd'};  // no terminator
  Guarded<wchar_t> buf(4);
  EXPECT_EQ(3u, V_wcslcpy(buf.data(), source, buf.size()));
  EXPECT_EQ(std::wstring(L"abc"), buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedAppend, AppendsIntoRemainingRoom) {
  Guarded<char> buf(8);
  V_strlcpy(buf.data(), "ab", buf.size());
  EXPECT_EQ(5u, V_strlcat(buf.data(), "cdefghij", buf.size()));
  EXPECT_STREQ("abcdefg", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedAppend, DestinationWithoutTerminatorIsLeftUntouched) {
  Guarded<char> buf(4);  // filled with 'x', no terminator
  EXPECT_EQ(0u, V_strlcat(buf.data(), "abc", buf.size()));
  EXPECT_EQ(0, std::memcmp(buf.data(), "xxxx", 4));
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedAppend, FullDestinationAppendsNothing) {
  Guarded<char> buf(4);
  V_strlcpy(buf.data(), "abc", buf.size());
  EXPECT_EQ(0u, V_strlcat(buf.data(), "d", buf.size()));
  EXPECT_STREQ("abc", buf.data());
}

TEST(BoundedAppend, WideFormAppends) {
  Guarded<wchar_t> buf(6);
  V_wcslcpy(buf.data(), L"ab", buf.size());
  EXPECT_EQ(3u, V_wcslcat(buf.data(), L"cdef", buf.size()));
  EXPECT_EQ(std::wstring(L"abcde"), buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedAppend, WideDestinationWithoutTerminatorIsLeftUntouched) {
  Guarded<wchar_t> buf(3);
  EXPECT_EQ(0u, V_wcslcat(buf.data(), L"abc", buf.size()));
  EXPECT_EQ(std::wstring(L"xxx"), std::wstring(buf.data(), 3));
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(LimitedCopy, ZeroFillsUpToTheLimitAndReturnsTheLimit) {
  Guarded<char> buf(10);
  EXPECT_EQ(5u, V_strlncpy(buf.data(), "ab", 5, buf.size()));
  EXPECT_EQ(0, std::memcmp(buf.data(), "ab\0\0\0\0", 6));
  EXPECT_EQ('x', buf.data()[6]);  // nothing beyond the terminator at the limit
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(LimitedCopy, LimitAtOrAboveSizeTerminatesInTheLastCharacter) {
  Guarded<char> buf(4);
  EXPECT_EQ(3u, V_strlncpy(buf.data(), "abcdef", 9, buf.size()));
  EXPECT_STREQ("abc", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(LimitedCopy, SourceLongerThanLimitIsCut) {
  Guarded<char> buf(10);
  EXPECT_EQ(2u, V_strlncpy(buf.data(), "abcdef", 2, buf.size()));
  EXPECT_STREQ("ab", buf.data());
}

TEST(LimitedCopy, WideFormBehavesAlike) {
  Guarded<wchar_t> buf(10);
  EXPECT_EQ(5u, V_wcslncpy(buf.data(), L"ab", 5, buf.size()));
  EXPECT_EQ(std::wstring(L"ab"), buf.data());
  EXPECT_EQ(L'\0', buf.data()[4]);
  EXPECT_EQ(L'\0', buf.data()[5]);
  EXPECT_TRUE(buf.guardsIntact());
  Guarded<wchar_t> small(3);
  EXPECT_EQ(2u, V_wcslncpy(small.data(), L"abcdef", 9, small.size()));
  EXPECT_EQ(std::wstring(L"ab"), small.data());
  EXPECT_TRUE(small.guardsIntact());
}

TEST(LimitedAppend, AppendsAtMostNCharacters) {
  Guarded<char> buf(16);
  V_strlcpy(buf.data(), "ab", buf.size());
  EXPECT_EQ(2u, V_strlncat(buf.data(), "cdef", 2, buf.size()));
  EXPECT_STREQ("abcd", buf.data());
  Guarded<wchar_t> wide(16);
  V_wcslcpy(wide.data(), L"ab", wide.size());
  EXPECT_EQ(3u, V_wcslncat(wide.data(), L"cdef", 3, wide.size()));
  EXPECT_EQ(std::wstring(L"abcde"), wide.data());
}

TEST(LimitedAppend, StillBoundedByDestinationSize) {
  Guarded<char> buf(5);
  V_strlcpy(buf.data(), "ab", buf.size());
  EXPECT_EQ(2u, V_strlncat(buf.data(), "cdef", 10, buf.size()));
  EXPECT_STREQ("abcd", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(LimitedAppend, UnlimitedCountIsBoundedByTheDestination) {
  Guarded<char> buf(6);
  V_strlcpy(buf.data(), "ab", buf.size());
  EXPECT_EQ(3u, V_strlncat(buf.data(), "cdefgh", SIZE_MAX, buf.size()));
  EXPECT_STREQ("abcde", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(LimitedAppend, DestinationWithoutTerminatorIsLeftUntouched) {
  Guarded<char> buf(4);
  EXPECT_EQ(0u, V_strlncat(buf.data(), "abc", 2, buf.size()));
  EXPECT_EQ(0, std::memcmp(buf.data(), "xxxx", 4));
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(Verify, FindsTerminatorWithinSize) {
  size_t length = 99;
  EXPECT_EQ(0, V_strverify("abc", 4, &length));
  EXPECT_EQ(3u, length);
  EXPECT_EQ(-1, V_strverify("abc", 3, &length));
  EXPECT_EQ(0u, length);  // reset even on failure
  EXPECT_EQ(-1, V_strverify(nullptr, 3, &length));
  EXPECT_EQ(0, V_strverify("", 1, nullptr));
  EXPECT_EQ(0, V_wstrverify(L"ab", 3, &length));
  EXPECT_EQ(2u, length);
}

TEST(Format, FitsReturnsFormatterCount) {
  char buf[32];
  EXPECT_EQ(7, V_snprintf(buf, sizeof buf, "%s-%d", "abc", 123));
  EXPECT_STREQ("abc-123", buf);
}

TEST(Format, OverlongResultIsCutToSizeMinusOne) {
  Guarded<char> buf(8);
  EXPECT_EQ(7, V_snprintf(buf.data(), buf.size(), "%s", "01234567890123456789"));
  EXPECT_STREQ("0123456", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(Format, ZeroSizeOrNullBufferGivesMinusOne) {
  char buf[4] = "zz";
  EXPECT_EQ(-1, V_snprintf(buf, 0, "%d", 1));
  EXPECT_STREQ("zz", buf);
  EXPECT_EQ(-1, V_snprintf(nullptr, 4, "%d", 1));
}

TEST(Format, WideFitsAndOverflows) {
  Guarded<wchar_t> buf(8);
  EXPECT_EQ(5, V_snwprintf(buf.data(), buf.size(), L"%ls%d", L"ab", 123));
  EXPECT_EQ(std::wstring(L"ab123"), buf.data());
  // The wide formatter reports the overflow itself (negative); the buffer
  // still ends within its size.
  EXPECT_LT(V_snwprintf(buf.data(), buf.size(), L"%ls", L"0123456789abc"), 0);
  size_t length = 0;
  EXPECT_EQ(0, V_wstrverify(buf.data(), buf.size(), &length));
  EXPECT_TRUE(buf.guardsIntact());
  EXPECT_EQ(-1, V_snwprintf(buf.data(), 0, L"x"));
}

TEST(Format, FormatterErrorEmptiesTheBufferAndGivesZero) {
  // A wide character the C locale cannot convert makes the formatter fail.
  const wchar_t unconvertible[] = {wchar_t(0x100), 0};
  char buf[16] = "untouched";
  EXPECT_EQ(0, V_snprintf(buf, sizeof buf, "a%lsb", unconvertible));
  EXPECT_STREQ("", buf);
}

TEST(Format, WideNullBufferReturnsTheFormattersOwnResult) {
  EXPECT_EQ(3, V_snwprintf(nullptr, 8, L"abc"));
  EXPECT_LT(V_snwprintf(nullptr, 2, L"abc"), 0);
}

TEST(DumbRealloc, GrowsAndStoresTheNewBlock) {
  void* block = std::malloc(4);
  std::memcpy(block, "abc", 4);
  void* grown = V_dumb_realloc(&block, 64);
  ASSERT_NE(nullptr, grown);
  EXPECT_EQ(grown, block);
  EXPECT_STREQ("abc", static_cast<char*>(block));
  std::free(block);
}

TEST(DumbRealloc, NullPointerToPointerGivesNull) { EXPECT_EQ(nullptr, V_dumb_realloc(nullptr, 8)); }

TEST(DumbRealloc, FailureFreesOldBlockAndNullsCallerPointer) {
  void* block = std::malloc(16);
  // A size no allocator can satisfy; under ASan this returns null as well
  // (allocator_may_return_null is the default for realloc failures there).
  void* result = V_dumb_realloc(&block, static_cast<size_t>(-1) / 2);
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(nullptr, block);  // old block freed: a leak would show under LSan
}

}  // namespace
