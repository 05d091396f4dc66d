#include "sim_turns.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "sim_db.h"

namespace rmsim {

namespace {

// Bytes 0-7 hold the last ticket drawn; drawing one locks them. Ticket t
// owns the byte at kFirstSlot + t.
const off_t kCounter = 0;
const off_t kCounterSize = sizeof(uint64_t);
const off_t kFirstSlot = 4096;

off_t slot(uint64_t ticket) { return kFirstSlot + static_cast<off_t>(ticket); }

[[noreturn]] void failed(const std::string& path, const char* what) {
  throw DbError("simulator write queue " + path + ": " + what + ": " + std::strerror(errno));
}

void lockRange(int fd, const std::string& path, short type, off_t start, off_t length) {
  struct flock lock;
  std::memset(&lock, 0, sizeof lock);
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  while (::fcntl(fd, type == F_UNLCK ? F_OFD_SETLK : F_OFD_SETLKW, &lock) != 0) {
    if (errno != EINTR) failed(path, type == F_UNLCK ? "unlock" : "lock");
  }
}

}  // namespace

WriteTurns::WriteTurns(const std::string& path) : m_path(path) {
  m_fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (m_fd < 0) failed(path, "open");
}

WriteTurns::~WriteTurns() {
  if (m_holding) {
    try {
      end();
    } catch (const DbError&) {
      // Closing the file below drops the lock all the same.
    }
  }
  ::close(m_fd);
}

void WriteTurns::begin() {
  lockRange(m_fd, m_path, F_WRLCK, kCounter, kCounterSize);
  uint64_t last = 0;
  ssize_t got = ::pread(m_fd, &last, sizeof last, kCounter);
  if (got != static_cast<ssize_t>(sizeof last)) last = 0;  // a new queue
  const uint64_t ticket = last + 1;
  const bool drawn = ::pwrite(m_fd, &ticket, sizeof ticket, kCounter) == static_cast<ssize_t>(sizeof ticket);
  // Locked before the counter is released: the next ticket must find it held.
  if (drawn) lockRange(m_fd, m_path, F_WRLCK, slot(ticket), 1);
  lockRange(m_fd, m_path, F_UNLCK, kCounter, kCounterSize);
  if (!drawn) failed(m_path, "draw a ticket");
  m_ticket = ticket;
  m_holding = true;
  // The writer ahead holds its byte until its turn ends (or it dies).
  try {
    lockRange(m_fd, m_path, F_WRLCK, slot(ticket - 1), 1);
    lockRange(m_fd, m_path, F_UNLCK, slot(ticket - 1), 1);
  } catch (const DbError&) {
    end();
    throw;
  }
}

void WriteTurns::end() {
  if (!m_holding) return;
  m_holding = false;
  lockRange(m_fd, m_path, F_UNLCK, slot(m_ticket), 1);
}

}  // namespace rmsim
