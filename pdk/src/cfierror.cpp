#include "cfierror.h"

namespace frim_pdk_4_4 {

const char* execPipeErrorName(int error) {
  static const char* const kNames[] = {"FI_EXEC_PIPE_CREATE", "FI_EXEC_PIPE_FORK",  "FI_EXEC_PIPE_EXEC",
                                       "FI_EXEC_PIPE_READ",   "FI_EXEC_PIPE_WRITE", "FI_EXEC_PIPE_WAIT",
                                       "FI_EXEC_PIPE_STATUS"};
  if (error < FI_EXEC_PIPE_CREATE || error > FI_EXEC_PIPE_STATUS) return "FI_EXEC_PIPE_UNKNOWN";
  return kNames[error - FI_EXEC_PIPE_CREATE];
}

}  // namespace frim_pdk_4_4
