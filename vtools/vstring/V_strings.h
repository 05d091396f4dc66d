#ifndef VTOOLS_V_STRINGS_H
#define VTOOLS_V_STRINGS_H

#include <stdarg.h>
#include <stddef.h>
#include <wchar.h>

// Size-limited string functions exported by the plugin. Sizes count the
// characters of the destination buffer, terminator included; nothing is
// ever written past them.
#define V_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

V_EXPORT size_t V_strlcpy(char* dst, const char* src, size_t size);
V_EXPORT size_t V_wcslcpy(wchar_t* dst, const wchar_t* src, size_t size);
V_EXPORT size_t V_strlcat(char* dst, const char* src, size_t size);
V_EXPORT size_t V_wcslcat(wchar_t* dst, const wchar_t* src, size_t size);
V_EXPORT size_t V_strlncpy(char* dst, const char* src, size_t n, size_t size);
V_EXPORT size_t V_wcslncpy(wchar_t* dst, const wchar_t* src, size_t n, size_t size);
V_EXPORT size_t V_strlncat(char* dst, const char* src, size_t n, size_t size);
V_EXPORT size_t V_wcslncat(wchar_t* dst, const wchar_t* src, size_t n, size_t size);
V_EXPORT int V_strverify(const char* text, size_t size, size_t* length);
V_EXPORT int V_wstrverify(const wchar_t* text, size_t size, size_t* length);
V_EXPORT int V_vsnprintf(char* buffer, size_t size, const char* format, va_list args);
V_EXPORT int V_vsnwprintf(wchar_t* buffer, size_t size, const wchar_t* format, va_list args);
V_EXPORT int V_snprintf(char* buffer, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
V_EXPORT int V_snwprintf(wchar_t* buffer, size_t size, const wchar_t* format, ...);
V_EXPORT void* V_dumb_realloc(void** block, size_t size);

#ifdef __cplusplus
}
#endif

#endif
