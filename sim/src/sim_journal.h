#ifndef RMSIM_SIM_JOURNAL_H
#define RMSIM_SIM_JOURNAL_H

// The call journal's records as they lie in a journal file: every RMLIB call
// with its arguments as the library received them, so that a test can
// assert what was sent to the array.

#include <cstdint>
#include <string>
#include <vector>

#include "rmsim_records.h"

namespace rmsim {

// The journal keeps at least the latest this many calls.
const int64_t kJournalLimit = 200000;

// One record, to be added to a journal file with a single write.
std::string encodeCall(const CallRecord& record);
// Appends to `out` the records of `bytes` whose seq is above `after`. A
// record cut short (a write in progress, or a disk that ran full) ends the
// file.
void decodeCalls(const std::string& bytes, int64_t after, std::vector<CallRecord>& out);

}  // namespace rmsim

#endif
