#ifndef RMSIM_SIM_CALLLOG_H
#define RMSIM_SIM_CALLLOG_H

// What every call writes, its journal record and its count, kept out of the
// state file: a call that only reads the state must not wait for the state's
// write lock because of them. Every simulator object that makes calls writes
// files of its own in a folder beside the state file (<state>-calls), named
// after its process: a journal it appends to with one write per record, and
// a page of counters it adds to in place. Readers merge the files of every
// process. A counter shared through that folder gives each call its place in
// the journal.

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "rmsim_records.h"

namespace rmsim {

class MappedPage;

class CallLog {
 public:
  // Creates the folder and its shared counter when missing; DbError when it
  // cannot, or when the folder is not one of this user's.
  explicit CallLog(const std::string& statePath);
  ~CallLog();
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  // Counts a call of `function` for this process.
  void count(const char* function);
  // The journal place of the next call; draw it when the call has done its
  // work (a call that changes the state, while it still holds the write
  // lock), so that places follow the order of the changes.
  int64_t nextSeq();
  void append(const CallRecord& record);

  // Every call since the last clear, by every process, in journal order and
  // numbered from 1 after the clear; at most the latest kJournalLimit.
  std::vector<CallRecord> journal();
  void clearJournal();

  // Calls by function and process; functions never called are left out.
  std::map<std::pair<std::string, int>, int64_t> counts();
  void resetCounters();

 private:
  void openOwnFiles();
  void trimOwnJournal();

  std::string m_folder;
  std::unique_ptr<MappedPage> m_shared;  // the next journal place, the last cleared place
  pid_t m_pid = 0;                       // whose files these are: a forked child opens its own
  std::string m_journalPath;
  int m_journalFd = -1;
  off_t m_journalSize = 0;
  int64_t m_records = 0;  // in the own journal file
  int64_t m_lastSeq = 0;
  std::unique_ptr<MappedPage> m_counts;
};

}  // namespace rmsim

#endif
