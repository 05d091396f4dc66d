#ifndef FRIM_PDK_CFITRACELOG_H
#define FRIM_PDK_CFITRACELOG_H

#include <ace/SString.h>

#include <cstdarg>

#include "cfismartptr.h"

namespace frim_pdk_4_4 {

class CFiErrorManager;

// Trace levels the plugin writes at.
enum : int {
  FI_TRACE_ERROR = 1,    // failures
  FI_TRACE_WARNING = 2,  // tolerated anomalies and fallbacks
  FI_TRACE_DETAIL = 3,   // dumps of records and states
  FI_TRACE_FLOW = 6,     // call flow: entering/exiting, calls made
};

// The process's one trace log (a context singleton).
//
// Lines go to "<dir>/<file>", one write(2) per line on a descriptor opened
// with O_APPEND, so lines of several processes sharing the file never tear.
// Each line reads
//   2026-11-22 16:40:01.123 [pid 4242] L6 hitachifi: Entering Function ...
// Where the lines go and how much is written is settled by initialize() and
// by the environment, which wins over the arguments so that an administrator
// can turn tracing up without touching the framework:
//   HITACHIFI_TRACE_DIR    directory of the log (default /var/log/hitachifi)
//   HITACHIFI_TRACE_FILE   file name (default "<name>.log")
//   HITACHIFI_TRACE_LEVEL  highest level written (default: initialize's level)
// A line above the level is rejected before any formatting is done. When the
// file cannot be opened the log stays silent: tracing never fails an
// operation. The file is opened without following a link, and not at all
// in a folder that someone other than root or this process's user owns or
// may write in (one line on standard error says why). Control bytes in a
// line, but tabs, are written as blanks. Before initialize() only the environment applies; with no
// HITACHIFI_TRACE_DIR set, nothing is written.
class CFiTraceLog : public virtual CFiRefCount {
 public:
  CFiTraceLog();
  ~CFiTraceLog() override;
  CFiTraceLog(const CFiTraceLog&) = delete;
  CFiTraceLog& operator=(const CFiTraceLog&) = delete;

  // `name` labels every line and names the default file; `directory` and
  // `fileName` override the defaults when non-empty; `level` is the highest
  // level written; `toStderr` mirrors every written line to standard error.
  void initialize(const ACE_String_Base<char>& name, ACE_String_Base<char> directory,
                  ACE_String_Base<char> fileName, int level, bool toStderr);
  bool isInitialized() const { return m_initialized; }

  // printf-style; writes one line when `level` passes the filter.
  void trace(int level, char const* format, ...) __attribute__((format(printf, 3, 4)));
  void vtrace(int level, char const* format, va_list args);

  bool isEnabled(int level) const { return level <= m_level && level > 0; }
  int level() const { return m_level; }
  // Full path of the log file, empty while nothing can be written.
  const ACE_String_Base<char>& path() const { return m_path; }

  void setErrorManager(
      const CFiSmartPtr<CFiErrorManager, CFiContextSingletonAllocator<CFiErrorManager>>& manager);
  const CFiSmartPtr<CFiErrorManager, CFiContextSingletonAllocator<CFiErrorManager>>& errorManager() const {
    return m_errorManager;
  }

 private:
  void applyEnvironment();
  void openFile();
  void closeFile();

  ACE_String_Base<char> m_name;
  ACE_String_Base<char> m_directory;
  ACE_String_Base<char> m_fileName;
  ACE_String_Base<char> m_path;
  ACE_String_Base<char> m_hostName;
  bool m_initialized = false;
  bool m_toStderr = false;
  bool m_openFailed = false;
  int m_maxLineLength = 12345;  // a longer line is cut, never split
  CFiSmartPtr<CFiErrorManager, CFiContextSingletonAllocator<CFiErrorManager>> m_errorManager;
  int m_level = 0;
  int m_fd = -1;
};

using CFiTraceLogPtr = CFiSmartPtr<CFiTraceLog, CFiContextSingletonAllocator<CFiTraceLog>>;

// Marks the entry and exit of a function in the trace at level 6. The exit
// line is written by the destructor, so it also appears when an exception
// leaves the function.
class CFiTraceLogFunction {
 public:
  // `function` and `file` are not copied: pass literals (__FUNCTION__,
  // __FILE__). Only the text after the last '/' of `file` is shown.
  CFiTraceLogFunction(const CFiTraceLogPtr& log, char const* function, int line, char const* file)
      : m_log(log), m_function(function), m_line(line), m_file(baseName(file)) {
    if (m_log && m_function && m_file) {
      m_log->trace(FI_TRACE_FLOW, "Entering Function %s [%d, %s]", m_function, m_line, m_file);
    }
  }

  virtual ~CFiTraceLogFunction() {
    if (m_log && m_function && m_file) {
      if (m_line != 0) {
        m_log->trace(FI_TRACE_FLOW, "Exiting Function %s [%d, %s]", m_function, m_line, m_file);
      } else {
        m_log->trace(FI_TRACE_FLOW, "Exiting Function %s", m_function);
      }
    }
    m_log.release();
  }

  CFiTraceLogFunction(const CFiTraceLogFunction&) = delete;
  CFiTraceLogFunction& operator=(const CFiTraceLogFunction&) = delete;

 private:
  // Kept: a path with no '/' is shown as this header's own path, not as given.
  static char const* baseName(char const* path) {
    if (path == nullptr) return nullptr;
    char const* slash = nullptr;
    for (char const* p = path; *p; ++p) {
      if (*p == '/') slash = p;
    }
    return slash ? slash + 1 : __FILE__;
  }

  CFiTraceLogPtr m_log;
  char const* m_function;
  int m_line;
  char const* m_file;
};

}  // namespace frim_pdk_4_4

#endif
