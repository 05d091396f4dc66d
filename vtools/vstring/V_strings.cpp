// Size-limited copy, append, measuring and formatting. Every function takes
// the destination's size in characters (terminator included) and never
// writes past it.
#include "V_strings.h"

#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

namespace {

template <class Char>
int verify(const Char* text, size_t size, size_t* length) {
  if (length != nullptr) *length = 0;
  if (text == nullptr) return -1;
  for (size_t i = 0; i < size; ++i) {
    if (text[i] == Char(0)) {
      if (length != nullptr) *length = i;
      return 0;
    }
  }
  return -1;
}

template <class Char>
size_t boundedCopy(Char* dst, const Char* src, size_t size) {
  if (size == 0 || src == nullptr || dst == nullptr) return 0;
  size_t copied = 0;
  while (copied + 1 < size && src[copied] != Char(0)) {
    dst[copied] = src[copied];
    ++copied;
  }
  dst[copied] = Char(0);
  return copied;
}

// Walks to the destination's terminator; appends only when more than one
// character of room is left.
template <class Char, class Copy>
size_t boundedAppend(Char* dst, const Char* src, size_t size, Copy copy) {
  if (size == 0 || src == nullptr || dst == nullptr) return 0;
  Char* end = dst;
  size_t room = size;
  while (*end != Char(0)) {
    ++end;
    if (--room == 0) return 0;  // no terminator within size: leave it alone
  }
  if (room <= 1) return 0;
  return copy(end, src, room);
}

// Zero-fills up to the limit and returns the limit, not the source's length:
// callers of the fixed-width record fields rely on that.
template <class Char>
size_t limitedCopy(Char* dst, const Char* src, size_t n, size_t size) {
  if (size == 0 || src == nullptr || dst == nullptr) return 0;
  size_t limit = n < size ? n : size;
  size_t i = 0;
  for (; i < limit && src[i] != Char(0); ++i) dst[i] = src[i];
  for (; i < limit; ++i) dst[i] = Char(0);
  if (limit < size) {
    dst[limit] = Char(0);
    return limit;
  }
  dst[size - 1] = Char(0);
  return size - 1;
}

template <class Char, class Measure, class Append>
size_t limitedAppend(Char* dst, const Char* src, size_t n, size_t size, Measure measure, Append append) {
  if (size == 0 || src == nullptr || dst == nullptr) return 0;
  size_t length = 0;
  measure(dst, size, &length);
  // length + 1 <= size here, so the room is bounded without overflowing
  // even for n = SIZE_MAX ("no limit").
  size_t room = n < size - (length + 1) ? length + 1 + n : size;
  return append(dst, src, room);
}

}  // namespace

extern "C" {

size_t V_strlcpy(char* dst, const char* src, size_t size) { return boundedCopy(dst, src, size); }

size_t V_wcslcpy(wchar_t* dst, const wchar_t* src, size_t size) {
  if (size == 0 || src == nullptr || dst == nullptr) return 0;
  size_t length = 0;
  if (V_wstrverify(src, size, &length) != 0) length = size - 1;
  size_t count = length < size - 1 ? length : size - 1;
  for (size_t i = 0; i < count; ++i) dst[i] = src[i];
  dst[count] = L'\0';
  return count;
}

size_t V_strlcat(char* dst, const char* src, size_t size) { return boundedAppend(dst, src, size, V_strlcpy); }

size_t V_wcslcat(wchar_t* dst, const wchar_t* src, size_t size) {
  return boundedAppend(dst, src, size, V_wcslcpy);
}

size_t V_strlncpy(char* dst, const char* src, size_t n, size_t size) {
  return limitedCopy(dst, src, n, size);
}

size_t V_wcslncpy(wchar_t* dst, const wchar_t* src, size_t n, size_t size) {
  return limitedCopy(dst, src, n, size);
}

size_t V_strlncat(char* dst, const char* src, size_t n, size_t size) {
  return limitedAppend(dst, src, n, size, V_strverify, V_strlcat);
}

size_t V_wcslncat(wchar_t* dst, const wchar_t* src, size_t n, size_t size) {
  return limitedAppend(dst, src, n, size, V_wstrverify, V_wcslcat);
}

int V_strverify(const char* text, size_t size, size_t* length) { return verify(text, size, length); }

int V_wstrverify(const wchar_t* text, size_t size, size_t* length) { return verify(text, size, length); }

int V_vsnprintf(char* buffer, size_t size, const char* format, va_list args) {
  if (size == 0 || buffer == nullptr) return -1;
  int written = vsnprintf(buffer, size, format, args);
  if (written < 0) {
    buffer[0] = '\0';
    return 0;
  }
  if (static_cast<size_t>(written) >= size) {
    buffer[size - 1] = '\0';
    return static_cast<int>(size - 1);
  }
  return written;
}

int V_vsnwprintf(wchar_t* buffer, size_t size, const wchar_t* format, va_list args) {
  if (size == 0) return -1;
  wchar_t* scratch = static_cast<wchar_t*>(calloc(size, sizeof(wchar_t)));
  if (scratch == nullptr) {
    // Kept as it stands: the system formatter decides what a null buffer gives.
    return vswprintf(nullptr, 0, format, args);
  }
  int written = vswprintf(scratch, size, format, args);
  // vswprintf leaves the buffer unspecified on overflow; bound it before copying.
  scratch[size - 1] = L'\0';
  V_wcslcpy(buffer, scratch, size);
  free(scratch);
  return written;
}

int V_snprintf(char* buffer, size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int written = V_vsnprintf(buffer, size, format, args);
  va_end(args);
  return written;
}

int V_snwprintf(wchar_t* buffer, size_t size, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  int written = V_vsnwprintf(buffer, size, format, args);
  va_end(args);
  return written;
}

void* V_dumb_realloc(void** block, size_t size) {
  if (block == nullptr) return nullptr;
  void* old = *block;
  void* resized = realloc(old, size);
  if (resized == nullptr && old != nullptr && size != 0) free(old);
  *block = resized;
  return resized;
}

}  // extern "C"
