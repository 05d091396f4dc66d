#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "V_strings.h"

// The realloc-failure case asks for an impossible size; under ASan that must
// return null rather than abort.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

// A buffer of `size` characters filled with 'x', between guard characters
// that a write past either end would change.
template <class Char>
class Guarded {
 public:
  explicit Guarded(size_t size) : m_size(size), m_storage(size + 2 * kGuard, Char('x')) {
    std::fill_n(m_storage.begin(), kGuard, kMark);
    std::fill_n(m_storage.begin() + static_cast<std::ptrdiff_t>(kGuard + size), kGuard, kMark);
  }
  Char* data() { return &m_storage[kGuard]; }
  size_t size() const { return m_size; }
  std::basic_string<Char> all() const { return m_storage.substr(kGuard, m_size); }  // including zeros
  bool guardsIntact() const {
    const std::basic_string<Char> guard(kGuard, kMark);
    return m_storage.compare(0, kGuard, guard) == 0 && m_storage.compare(kGuard + m_size, kGuard, guard) == 0;
  }

 private:
  static constexpr size_t kGuard = 8;
  static constexpr Char kMark = Char(0x5A);
  size_t m_size;
  std::basic_string<Char> m_storage;
};

using Narrow = Guarded<char>;
using Wide = Guarded<wchar_t>;

TEST(BoundedCopy, CopiesWhatFitsAndAlwaysTerminates) {
  Narrow big(16), small(4), one(1);
  EXPECT_EQ(5u, V_strlcpy(big.data(), "hello", big.size()));
  EXPECT_STREQ("hello", big.data());
  EXPECT_EQ(3u, V_strlcpy(small.data(), "abcdef", small.size()));
  EXPECT_EQ(std::string("abc\0", 4), small.all());
  EXPECT_EQ(0u, V_strlcpy(one.data(), "abc", one.size()));
  EXPECT_EQ(std::string(1, '\0'), one.all());
  EXPECT_TRUE(big.guardsIntact() && small.guardsIntact() && one.guardsIntact());
  Narrow untouched(4);
  EXPECT_EQ(0u, V_strlcpy(untouched.data(), "abc", 0));
  EXPECT_EQ(0u, V_strlcpy(untouched.data(), nullptr, 4));
  EXPECT_EQ(0u, V_strlcpy(nullptr, "abc", 4));
  EXPECT_EQ(0u, V_wcslcpy(nullptr, L"abc", 4));
  EXPECT_EQ("xxxx", untouched.all());
}

TEST(BoundedCopy, WideSourceWithoutTerminatorCountsAsSizeMinusOne) {
  const wchar_t unterminated[4] = {L'a', L'b', L'c', L'd'};
  Wide buf(4);
  EXPECT_EQ(3u, V_wcslcpy(buf.data(), unterminated, buf.size()));
  EXPECT_EQ(std::wstring(L"abc\0", 4), buf.all());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(BoundedAppend, AppendsIntoTheRemainingRoom) {
  Narrow narrow(8);
  V_strlcpy(narrow.data(), "ab", narrow.size());
  EXPECT_EQ(5u, V_strlcat(narrow.data(), "cdefghij", narrow.size()));
  EXPECT_STREQ("abcdefg", narrow.data());
  EXPECT_EQ(0u, V_strlcat(narrow.data(), "z", narrow.size()));  // full
  Wide wide(6);
  V_wcslcpy(wide.data(), L"ab", wide.size());
  EXPECT_EQ(3u, V_wcslcat(wide.data(), L"cdef", wide.size()));
  EXPECT_EQ(std::wstring(L"abcde"), wide.data());
  EXPECT_TRUE(narrow.guardsIntact() && wide.guardsIntact());
}

TEST(BoundedAppend, DestinationWithoutTerminatorIsLeftUntouched) {
  Narrow narrow(4);
  Wide wide(3);
  EXPECT_EQ(0u, V_strlcat(narrow.data(), "abc", narrow.size()));
  EXPECT_EQ(0u, V_wcslcat(wide.data(), L"abc", wide.size()));
  EXPECT_EQ(0u, V_strlncat(narrow.data(), "abc", 2, narrow.size()));
  EXPECT_EQ("xxxx", narrow.all());
  EXPECT_EQ(L"xxx", wide.all());
  EXPECT_TRUE(narrow.guardsIntact() && wide.guardsIntact());
}

TEST(LimitedCopy, ZeroFillsUpToTheLimitAndReturnsTheLimit) {
  Narrow narrow(10);
  EXPECT_EQ(5u, V_strlncpy(narrow.data(), "ab", 5, narrow.size()));
  EXPECT_EQ(std::string("ab\0\0\0\0xxxx", 10), narrow.all());  // terminator at 5, nothing after
  Wide wide(10);
  EXPECT_EQ(5u, V_wcslncpy(wide.data(), L"ab", 5, wide.size()));
  EXPECT_EQ(std::wstring(L"ab\0\0\0\0xxxx", 10), wide.all());
  EXPECT_EQ(2u, V_strlncpy(narrow.data(), "abcdef", 2, narrow.size()));
  EXPECT_STREQ("ab", narrow.data());
  EXPECT_TRUE(narrow.guardsIntact() && wide.guardsIntact());
}

TEST(LimitedCopy, LimitAtOrAboveSizeTerminatesInTheLastCharacter) {
  Narrow narrow(4);
  Wide wide(3);
  EXPECT_EQ(3u, V_strlncpy(narrow.data(), "abcdef", 9, narrow.size()));
  EXPECT_EQ(std::string("abc\0", 4), narrow.all());
  EXPECT_EQ(2u, V_wcslncpy(wide.data(), L"abcdef", 3, wide.size()));
  EXPECT_EQ(std::wstring(L"ab\0", 3), wide.all());
  EXPECT_EQ(0u, V_strlncpy(narrow.data(), "abc", 2, 0));
  EXPECT_TRUE(narrow.guardsIntact() && wide.guardsIntact());
}

TEST(LimitedAppend, AppendsAtMostNCharactersWithinTheDestination) {
  Narrow narrow(6);
  V_strlcpy(narrow.data(), "ab", narrow.size());
  EXPECT_EQ(2u, V_strlncat(narrow.data(), "cdef", 2, narrow.size()));
  EXPECT_STREQ("abcd", narrow.data());
  EXPECT_EQ(1u, V_strlncat(narrow.data(), "efgh", SIZE_MAX, narrow.size()));  // no limit: the size bounds it
  EXPECT_STREQ("abcde", narrow.data());
  Wide wide(16);
  V_wcslcpy(wide.data(), L"ab", wide.size());
  EXPECT_EQ(3u, V_wcslncat(wide.data(), L"cdef", 3, wide.size()));
  EXPECT_EQ(std::wstring(L"abcde"), wide.data());
  EXPECT_TRUE(narrow.guardsIntact() && wide.guardsIntact());
}

TEST(Verify, FindsTheTerminatorOnlyWithinSize) {
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

TEST(Format, ReturnsTheCountOrCutsToSizeMinusOne) {
  Narrow buf(8);
  EXPECT_EQ(7, V_snprintf(buf.data(), buf.size(), "%s-%d", "abc", 123));
  EXPECT_STREQ("abc-123", buf.data());
  EXPECT_EQ(7, V_snprintf(buf.data(), buf.size(), "%s", "01234567890123456789"));
  EXPECT_STREQ("0123456", buf.data());
  EXPECT_TRUE(buf.guardsIntact());
}

TEST(Format, ZeroSizeNullBufferAndFormatterErrors) {
  char buf[16] = "zz";
  EXPECT_EQ(-1, V_snprintf(buf, 0, "%d", 1));
  EXPECT_STREQ("zz", buf);
  EXPECT_EQ(-1, V_snprintf(nullptr, 4, "%d", 1));
  // A wide character the C locale cannot convert makes the formatter fail:
  // the buffer is emptied and the result is 0.
  const wchar_t unconvertible[] = {wchar_t(0x100), 0};
  EXPECT_EQ(0, V_snprintf(buf, sizeof buf, "a%lsb", unconvertible));
  EXPECT_STREQ("", buf);
}

TEST(Format, WideFormReturnsTheWideFormattersOwnResult) {
  Wide buf(8);
  EXPECT_EQ(5, V_snwprintf(buf.data(), buf.size(), L"%ls%d", L"ab", 123));
  EXPECT_EQ(std::wstring(L"ab123"), buf.data());
  EXPECT_LT(V_snwprintf(buf.data(), buf.size(), L"%ls", L"0123456789abc"), 0);  // did not fit
  EXPECT_EQ(0, V_wstrverify(buf.data(), buf.size(), nullptr));                  // still terminated
  EXPECT_TRUE(buf.guardsIntact());
  EXPECT_EQ(-1, V_snwprintf(buf.data(), 0, L"x"));
  EXPECT_EQ(3, V_snwprintf(nullptr, 8, L"abc"));  // formatted, copied nowhere
}

TEST(DumbRealloc, StoresTheNewBlockOrFreesTheOldOnFailure) {
  void* block = std::malloc(4);
  std::memcpy(block, "abc", 4);
  void* grown = V_dumb_realloc(&block, 64);
  ASSERT_NE(nullptr, grown);
  EXPECT_EQ(grown, block);
  EXPECT_STREQ("abc", static_cast<char*>(block));
  EXPECT_EQ(nullptr, V_dumb_realloc(&block, SIZE_MAX / 2));
  EXPECT_EQ(nullptr, block);  // the old block was freed: a leak would show under LSan
  EXPECT_EQ(nullptr, V_dumb_realloc(nullptr, 8));
}

}  // namespace
