#ifndef RMSIM_SIM_TURNS_H
#define RMSIM_SIM_TURNS_H

// Writers of the state take turns in the order they asked, across processes.
// SQLite's busy handler retries after a sleep, so a process that writes in a
// tight loop takes the write lock again and again while the others sleep;
// queueing for it instead serves each writer after those that asked before.

#include <cstdint>
#include <string>

namespace rmsim {

// A ticket queue over byte-range locks of one file. The locks belong to the
// open file (not to the process), so two connections of one process queue
// too, and a process that dies drops its locks with its files: the writers
// behind it go on. Ticket t locks its own byte when it is drawn and keeps it
// for its whole turn; its turn comes when it gets the byte of ticket t-1.
class WriteTurns {
 public:
  // Opens (creates) the queue file; DbError when it cannot.
  explicit WriteTurns(const std::string& path);
  ~WriteTurns();
  WriteTurns(const WriteTurns&) = delete;
  WriteTurns& operator=(const WriteTurns&) = delete;

  // Blocks until every writer that asked before has ended its turn.
  void begin();
  void end();

 private:
  int m_fd = -1;
  std::string m_path;
  uint64_t m_ticket = 0;
  bool m_holding = false;
};

}  // namespace rmsim

#endif
