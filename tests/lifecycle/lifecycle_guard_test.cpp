// The operation guard: what escapes a snapshot operation becomes one message
// on the error manager and the result 6; anything else is not swallowed.
// Failures a scenario can provoke (a pair's state, a node name, a malformed
// target list) are pinned by the lifecycle scenarios through the C ABI.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "hitachi_plugin_guard.h"

using namespace frim_pdk_4_4;

namespace {

// The newest message as "id|arg|arg...", deleted; "" when there is none.
std::string takeMessage() {
  CFiErrorManagerPtr errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  zfi_msg_info* info = nullptr;
  errors->getLastError(&info);
  if (info == nullptr) return "";
  std::string text = info->msg_id;
  for (int i = 0; i < info->arg_count; ++i)
    text += "|" + (info->args[i].type == ZFI_MSG_ARG_STRING ? std::string(info->args[i].str_value)
                                                            : std::to_string(info->args[i].int_value));
  errors->delLastError(&info);
  return text;
}

TEST(OperationGuard, MapsEachEscapingFailureToItsMessageAndSix) {
  const struct {
    const char* caught;
    std::function<int()> body;
    std::string message;
  } rows[] = {
      {"EFiExecPipe", []() -> int { throw EFiExecPipe(FI_EXEC_PIPE_FORK, "no child"); },
       "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION|FI_EXEC_PIPE_FORK|no child|op.cpp|77"},
      {"EFiExecPipe out of table", []() -> int { throw EFiExecPipe(99, "odd"); },
       "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION|FI_EXEC_PIPE_UNKNOWN|odd|op.cpp|77"},
      {"CFiError", []() -> int { throw CFiError("lost", "catalog", "open", 42); },
       "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION|lost|catalog|open|42"},
      {"std::runtime_error subclass", []() -> int { throw std::range_error("far"); },
       "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION|std::runtime_error|far|op.cpp|77"},
      {"int", []() -> int { throw -5; }, "MSG_ERROR_UNHANDLED_INT_EXCEPTION|-5|op.cpp|77"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.caught);
    EXPECT_EQ(6, runGuarded("op.cpp", 77, row.body));
    EXPECT_EQ(row.message, takeMessage());
    EXPECT_EQ("", takeMessage());  // exactly one
  }
}

TEST(OperationGuard, PassesResultsOnAndLetsOtherExceptionsThrough) {
  EXPECT_EQ(3, runGuarded("op.cpp", 1, [] { return 3; }));
  EXPECT_EQ(-1, runGuarded("op.cpp", 1, [] { return -1; }));
  EXPECT_THROW(runGuarded("op.cpp", 1, []() -> int { throw std::logic_error("not ours"); }),
               std::logic_error);
  EXPECT_THROW(runGuarded("op.cpp", 1, []() -> int { throw 'c'; }), char);
  EXPECT_EQ("", takeMessage());
}

}  // namespace
