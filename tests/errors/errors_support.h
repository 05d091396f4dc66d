#ifndef TESTS_ERRORS_ERRORS_SUPPORT_H
#define TESTS_ERRORS_ERRORS_SUPPORT_H

// What the error tests share: a message as the framework receives it, and a
// trace log singleton writing into a private directory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "cfitracelog.h"

// One message as get_last_error hands it over, copied out of the record.
struct ReceivedMessage {
  bool present = false;
  std::string id, text, file;
  int index = 0, severity = 0, line = 0;
  std::vector<std::string> args;  // integers in decimal
  std::vector<int> types;         // ZFI_MSG_ARG_*
};

inline ReceivedMessage copyRecord(const zfi_msg_info* info) {
  ReceivedMessage out;
  if (info == nullptr) return out;
  out.present = true;
  out.id = info->msg_id ? info->msg_id : "";
  out.text = info->text ? info->text : "";
  out.file = info->file ? info->file : "";
  out.index = info->msg_index;
  out.severity = info->severity;
  out.line = info->line;
  for (int i = 0; i < info->arg_count; ++i) {
    const zfi_msg_arg& arg = info->args[i];
    out.types.push_back(arg.type);
    out.args.push_back(arg.type == ZFI_MSG_ARG_STRING ? std::string(arg.str_value ? arg.str_value : "")
                                                      : std::to_string(arg.int_value));
  }
  return out;
}

// Fetches the newest message of `errors` and removes it, as a framework does.
inline ReceivedMessage takeLast(frim_pdk_4_4::CFiErrorManager& errors) {
  zfi_msg_info* info = nullptr;
  EXPECT_EQ(0, errors.getLastError(&info));
  ReceivedMessage out = copyRecord(info);
  if (info != nullptr) {
    EXPECT_EQ(0, errors.delLastError(&info));
    EXPECT_EQ(nullptr, info);
  }
  return out;
}

// The plugin's trace log singleton, made afresh and writing every level to
// a file of its own. Lines are returned as "L<level> <text>".
class TraceCapture {
 public:
  TraceCapture() {
    char pattern[] = "/tmp/errors-trace.XXXXXX";
    m_dir = ::mkdtemp(pattern);
    ::unsetenv("HITACHIFI_TRACE_DIR");
    ::unsetenv("HITACHIFI_TRACE_LEVEL");
    ::unsetenv("HITACHIFI_TRACE_FILE");
    using namespace frim_pdk_4_4;
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    CFiTraceLogPtr log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize(ACE_CString("unit"), ACE_CString(m_dir.c_str()), ACE_CString(), 6, false);
  }
  ~TraceCapture() {
    using namespace frim_pdk_4_4;
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    std::string command = "rm -rf '" + m_dir + "'";
    (void)std::system(command.c_str());
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  std::vector<std::string> lines() const {
    std::ifstream in(m_dir + "/unit.log");
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) {
      size_t level = line.find("] L");
      size_t text = line.find(": ", level);
      if (level == std::string::npos || text == std::string::npos) continue;
      out.push_back(line.substr(level + 2, line.find(' ', level + 2) - level - 2) + " " +
                    line.substr(text + 2));
    }
    return out;
  }
  const std::string& dir() const { return m_dir; }

 private:
  std::string m_dir;
};

#endif
