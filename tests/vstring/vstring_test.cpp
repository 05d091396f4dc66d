// Narrow and wide forms share their templates, so each wide form is checked
// once for its wiring and the edge cases run on the narrow form.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "V_strings.h"

// The realloc-failure case asks for an impossible size; under ASan that must
// return null rather than abort.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

using namespace std::string_literals;

// A call on a buffer of `size` characters that holds `start` and then 'x'
// up to its size, followed by guard characters a write past the end would
// change: its result, and the whole buffer after it, zeros included.
template <class Char>
struct Row {
  const char* what;
  size_t size;
  std::basic_string<Char> start;
  std::function<long(Char*, size_t)> call;
  long result;
  std::basic_string<Char> after;
};
#define CALL(expr) [](auto* d, [[maybe_unused]] size_t n) -> long { return static_cast<long>(expr); }

const wchar_t kUnterminated[4] = {L'a', L'b', L'c', L'd'};  // counts as size - 1 characters
const wchar_t kUnconvertible[] = {wchar_t(0x100), 0};       // by the C locale: the formatter fails

// clang-format off
const Row<char> kNarrow[] = {
    {"strlcpy cuts",             4, "",          CALL(V_strlcpy(d, "abcdef", n)), 3, "abc\0"s},
    {"strlcpy into one",         1, "",          CALL(V_strlcpy(d, "abc", n)), 0, "\0"s},
    {"strlcpy with no room",     4, "",          CALL(V_strlcpy(d, "abc", 0)), 0, "xxxx"},
    {"strlcpy of null",          4, "",          CALL(V_strlcpy(d, nullptr, n)), 0, "xxxx"},
    {"strlncat limit",           8, "ab\0"s,     CALL(V_strlncat(d, "cdef", 2, n)), 2, "abcd\0xxx"s},
    {"strlcat cuts",             8, "abcd\0"s,   CALL(V_strlcat(d, "efghij", n)), 3, "abcdefg\0"s},
    {"strlncat full",            8, "abcdefg\0"s, CALL(V_strlncat(d, "z", SIZE_MAX, n)), 0, "abcdefg\0"s},
    {"strlncat unterminated",    4, "",          CALL(V_strlncat(d, "abc", 2, n)), 0, "xxxx"},
    {"strlncpy zero-fills",      10, "",         CALL(V_strlncpy(d, "ab", 5, n)), 5, "ab\0\0\0\0xxxx"s},
    {"strlncpy beyond the size", 4, "",          CALL(V_strlncpy(d, "abcdef", 9, n)), 3, "abc\0"s},
    {"snprintf cuts",            8, "",          CALL(V_snprintf(d, n, "%s", "01234567890123456789")), 7, "0123456\0"s},
    {"snprintf with no room",    8, "",          CALL(V_snprintf(d, 0, "%d", 1)), -1, "xxxxxxxx"},
    {"snprintf fails",           8, "",          CALL(V_snprintf(d, n, "a%lsb", kUnconvertible)), 0, "\0\0xxxxxx"s},  // "a" was formatted
};
const Row<wchar_t> kWide[] = {
    {"wcslcpy unterminated",     4, L"",         CALL(V_wcslcpy(d, kUnterminated, n)), 3, L"abc\0"s},
    {"wcslncat limit",           6, L"ab\0"s,    CALL(V_wcslncat(d, L"cdef", 1, n)), 1, L"abc\0xx"s},
    {"wcslcat cuts",             6, L"abc\0"s,   CALL(V_wcslcat(d, L"def", n)), 2, L"abcde\0"s},
    {"wcslncpy",                 3, L"",         CALL(V_wcslncpy(d, L"abcdef", 3, n)), 2, L"ab\0"s},
    {"snwprintf",                8, L"",         CALL(V_snwprintf(d, n, L"%ls%d", L"ab", 123)), 5, L"ab123\0xx"s},
};
// clang-format on

template <class Char>
void check(const Row<Char>& row) {
  std::basic_string<Char> buffer(row.size, Char('x'));
  buffer.replace(0, row.start.size(), row.start);
  buffer.append(8, Char('#'));
  EXPECT_EQ(row.result, row.call(&buffer[0], row.size)) << row.what;
  EXPECT_EQ(row.after, buffer.substr(0, row.size)) << row.what;
  EXPECT_EQ(std::basic_string<Char>(8, Char('#')), buffer.substr(row.size)) << row.what;
}

TEST(BoundedStrings, CopyAppendAndFormatCutAtTheSizeAndAlwaysTerminate) {
  for (const auto& row : kNarrow) check(row);
  for (const auto& row : kWide) check(row);
}

TEST(BoundedStrings, AWideFormatThatDidNotFitStillTerminatesAndVerifyResetsTheLength) {
  wchar_t wide[8];
  EXPECT_EQ(-1, V_snwprintf(wide, 8, L"%ls", L"0123456789abc"));  // the wide formatter's own result
  size_t length = 99;
  EXPECT_EQ(0, V_wstrverify(wide, 8, &length));
  EXPECT_LT(length, 8u);
  EXPECT_EQ(-1, V_strverify("abc", 3, &length));
  EXPECT_EQ(0u, length);                          // reset even on failure
  EXPECT_EQ(3, V_snwprintf(nullptr, 8, L"abc"));  // formatted, copied nowhere
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
