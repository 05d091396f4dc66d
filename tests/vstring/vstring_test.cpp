// Narrow and wide forms share their templates, so each wide form is checked
// once for its wiring and the edge cases run on the narrow form.
#include <gtest/gtest.h>

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

// `size` characters of 'x' followed by guard characters that a write past
// the end would change.
template <class Char>
struct Guarded {
  explicit Guarded(size_t n) : size(n), storage(n, Char('x')) { storage.append(8, Char('#')); }
  Char* data() { return &storage[0]; }
  std::basic_string<Char> all() const { return storage.substr(0, size); }  // zeros included
  bool intact() const { return storage.substr(size) == std::basic_string<Char>(8, Char('#')); }
  size_t size;
  std::basic_string<Char> storage;
};
using Narrow = Guarded<char>;
using Wide = Guarded<wchar_t>;

TEST(BoundedCopy, CopiesWhatFitsAlwaysTerminatesAndIgnoresNoRoomOrNull) {
  Narrow small(4), one(1), untouched(4);
  EXPECT_EQ(3u, V_strlcpy(small.data(), "abcdef", small.size));
  EXPECT_EQ(std::string("abc\0", 4), small.all());
  EXPECT_EQ(0u, V_strlcpy(one.data(), "abc", one.size));
  EXPECT_EQ(std::string(1, '\0'), one.all());
  EXPECT_EQ(0u, V_strlcpy(untouched.data(), "abc", 0));
  EXPECT_EQ(0u, V_strlcpy(untouched.data(), nullptr, 4));
  EXPECT_EQ("xxxx", untouched.all());
  // A wide source without a terminator counts as size - 1 characters.
  const wchar_t unterminated[4] = {L'a', L'b', L'c', L'd'};
  Wide wide(4);
  EXPECT_EQ(3u, V_wcslcpy(wide.data(), unterminated, wide.size));
  EXPECT_EQ(std::wstring(L"abc\0", 4), wide.all());
  EXPECT_TRUE(small.intact() && one.intact() && untouched.intact() && wide.intact());
}

TEST(BoundedAppend, AppendsAtMostTheRoomOrLimitButNeverToAnUnterminatedDestination) {
  Narrow narrow(8), unterminated(4);
  V_strlcpy(narrow.data(), "ab", narrow.size);
  EXPECT_EQ(2u, V_strlncat(narrow.data(), "cdef", 2, narrow.size));
  EXPECT_EQ(3u, V_strlcat(narrow.data(), "efghij", narrow.size));
  EXPECT_STREQ("abcdefg", narrow.data());
  EXPECT_EQ(0u, V_strlncat(narrow.data(), "z", SIZE_MAX, narrow.size));  // full
  Wide wide(6);
  V_wcslcpy(wide.data(), L"ab", wide.size);
  EXPECT_EQ(1u, V_wcslncat(wide.data(), L"cdef", 1, wide.size));
  EXPECT_EQ(2u, V_wcslcat(wide.data(), L"def", wide.size));
  EXPECT_EQ(std::wstring(L"abcde"), wide.data());
  EXPECT_EQ(0u, V_strlncat(unterminated.data(), "abc", 2, unterminated.size));
  EXPECT_EQ("xxxx", unterminated.all());
  EXPECT_TRUE(narrow.intact() && wide.intact() && unterminated.intact());
}

TEST(LimitedCopy, ZeroFillsUpToTheLimitReturnsItAndCutsAtTheSize) {
  Narrow narrow(10), small(4);
  EXPECT_EQ(5u, V_strlncpy(narrow.data(), "ab", 5, narrow.size));
  EXPECT_EQ(std::string("ab\0\0\0\0xxxx", 10), narrow.all());        // terminator at 5, nothing after
  EXPECT_EQ(3u, V_strlncpy(small.data(), "abcdef", 9, small.size));  // limit beyond the size
  EXPECT_EQ(std::string("abc\0", 4), small.all());
  Wide wide(3);
  EXPECT_EQ(2u, V_wcslncpy(wide.data(), L"abcdef", 3, wide.size));
  EXPECT_EQ(std::wstring(L"ab\0", 3), wide.all());
  EXPECT_TRUE(narrow.intact() && small.intact() && wide.intact());
}

TEST(FormatAndVerify, FormatReturnsTheCountCutsAtSizeMinusOneAndAlwaysTerminates) {
  Narrow buf(8);
  EXPECT_EQ(7, V_snprintf(buf.data(), buf.size, "%s", "01234567890123456789"));
  EXPECT_STREQ("0123456", buf.data());
  EXPECT_TRUE(buf.intact());
  EXPECT_EQ(-1, V_snprintf(buf.data(), 0, "%d", 1));
  EXPECT_STREQ("0123456", buf.data());
  // A wide character the C locale cannot convert makes the formatter fail:
  // the buffer is emptied and the result is 0.
  const wchar_t unconvertible[] = {wchar_t(0x100), 0};
  EXPECT_EQ(0, V_snprintf(buf.data(), buf.size, "a%lsb", unconvertible));
  EXPECT_STREQ("", buf.data());
  // The wide form returns the wide formatter's own result.
  Wide wide(8);
  EXPECT_EQ(5, V_snwprintf(wide.data(), wide.size, L"%ls%d", L"ab", 123));
  EXPECT_EQ(std::wstring(L"ab123"), wide.data());
  EXPECT_LT(V_snwprintf(wide.data(), wide.size, L"%ls", L"0123456789abc"), 0);  // did not fit
  size_t length = 99;
  EXPECT_EQ(0, V_wstrverify(wide.data(), wide.size, &length));  // still terminated
  EXPECT_LT(length, wide.size);
  EXPECT_EQ(-1, V_strverify("abc", 3, &length));
  EXPECT_EQ(0u, length);                          // reset even on failure
  EXPECT_EQ(3, V_snwprintf(nullptr, 8, L"abc"));  // formatted, copied nowhere
  EXPECT_TRUE(wide.intact());
}

TEST(DumbRealloc, StoresTheNewBlockOrFreesTheOldOnFailure) {
  void* block = std::malloc(4);
  std::memcpy(block, "abc", 4);
  ASSERT_NE(nullptr, V_dumb_realloc(&block, 64));
  EXPECT_STREQ("abc", static_cast<char*>(block));
  EXPECT_EQ(nullptr, V_dumb_realloc(&block, SIZE_MAX / 2));
  EXPECT_EQ(nullptr, block);  // the old block was freed: a leak would show under LSan
}

}  // namespace
