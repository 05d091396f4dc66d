#ifndef RMSIM_SIM_JOURNAL_H
#define RMSIM_SIM_JOURNAL_H

// The call journal: every RMLIB call with its arguments as the library
// received them, so that a test can assert what was sent to the array.

#include <vector>

#include "rmsim.h"

namespace rmsim {

class Db;

// Appends `record` (its seq is assigned by the journal). Older calls beyond
// the journal's limit are dropped now and then, never the latest.
void appendJournal(Db& db, const CallRecord& record);
std::vector<CallRecord> readJournal(Db& db);
void clearJournal(Db& db);

}  // namespace rmsim

#endif
