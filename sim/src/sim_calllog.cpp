#include "sim_calllog.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sim_cmddevs.h"
#include "sim_db.h"
#include "sim_faults.h"
#include "sim_journal.h"

namespace rmsim {

namespace {

static_assert(std::atomic<int64_t>::is_always_lock_free, "words shared between processes must be lock-free");

const off_t kPageSize = 4096;
const int kFileFlags = O_CLOEXEC | O_NOFOLLOW;
// Words of the shared page.
const size_t kLastSeq = 0;
const size_t kClearedSeq = 1;

[[noreturn]] void failed(const std::string& path, const char* what) {
  throw DbError("simulator call log " + path + ": " + what + ": " + std::strerror(errno));
}

// The first page of an open file, mapped for every process to share (the
// file is grown to it), or null when `grow` is false and the file is
// shorter: its creator has not sized it yet, so it holds nothing.
std::atomic<int64_t>* mapPage(int fd, const std::string& path, bool grow, int protection) {
  struct stat st;
  if (::fstat(fd, &st) != 0) failed(path, "stat");
  if (st.st_size < kPageSize) {
    if (!grow) return nullptr;
    if (::ftruncate(fd, kPageSize) != 0) failed(path, "size");
  }
  void* at = ::mmap(nullptr, static_cast<size_t>(kPageSize), protection, MAP_SHARED, fd, 0);
  if (at == MAP_FAILED) failed(path, "map");
  return static_cast<std::atomic<int64_t>*>(at);
}

// A file's name as the log writes it: "<pid>-<n><suffix>".
struct LogFile {
  std::string path;
  int pid;
};

std::vector<LogFile> listFiles(const std::string& folder, const std::string& suffix) {
  std::vector<LogFile> files;
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) failed(folder, "list");
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
      continue;
    char* end = nullptr;
    const long pid = std::strtol(name.c_str(), &end, 10);
    if (end == name.c_str() || *end != '-' || pid <= 0) continue;
    files.push_back(LogFile{folder + "/" + name, static_cast<int>(pid)});
  }
  ::closedir(dir);
  return files;
}

// False when the file is gone (its journal was cleared meanwhile).
bool readWhole(const std::string& path, std::string& bytes) {
  int fd = ::open(path.c_str(), O_RDONLY | kFileFlags);
  if (fd < 0) {
    if (errno == ENOENT) return false;
    failed(path, "open");
  }
  char chunk[65536];
  ssize_t got;
  while ((got = ::read(fd, chunk, sizeof chunk)) > 0) bytes.append(chunk, static_cast<size_t>(got));
  ::close(fd);
  return got == 0;
}

// Runs `use` on the counters of another object's file; not when the file is
// gone (reset meanwhile) or not sized yet (it counted nothing).
template <class Use>
void withCounters(const std::string& path, bool writable, Use use) {
  int fd = ::open(path.c_str(), (writable ? O_RDWR : O_RDONLY) | kFileFlags);
  if (fd < 0) return;
  std::atomic<int64_t>* words = nullptr;
  try {
    words = mapPage(fd, path, false, writable ? PROT_READ | PROT_WRITE : PROT_READ);
  } catch (...) {
    ::close(fd);
    throw;
  }
  ::close(fd);
  if (words == nullptr) return;
  use(words);
  ::munmap(words, static_cast<size_t>(kPageSize));
}

void writeWhole(int fd, const std::string& path, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) failed(path, "write");
    done += static_cast<size_t>(n);
  }
}

}  // namespace

// A page of 64-bit words in a file, shared by every process that maps it.
class MappedPage {
 public:
  MappedPage(int fd, const std::string& path) {
    try {
      m_words = mapPage(fd, path, true, PROT_READ | PROT_WRITE);
    } catch (...) {
      ::close(fd);
      throw;
    }
    ::close(fd);  // the mapping stays
  }
  ~MappedPage() { ::munmap(m_words, static_cast<size_t>(kPageSize)); }
  MappedPage(const MappedPage&) = delete;
  MappedPage& operator=(const MappedPage&) = delete;
  std::atomic<int64_t>& word(size_t i) { return m_words[i]; }

 private:
  std::atomic<int64_t>* m_words = nullptr;
};

CallLog::CallLog(const std::string& statePath) : m_folder(statePath + "-calls") {
  if (::mkdir(m_folder.c_str(), 0700) != 0 && errno != EEXIST) failed(m_folder, "create");
  struct stat st;
  if (::lstat(m_folder.c_str(), &st) != 0) failed(m_folder, "stat");
  if (!S_ISDIR(st.st_mode) || st.st_uid != ::geteuid())
    throw DbError("simulator call log " + m_folder + " is not a folder of this user");
  const std::string shared = m_folder + "/shared";
  int fd = ::open(shared.c_str(), O_RDWR | O_CREAT | kFileFlags, 0600);
  if (fd < 0) failed(shared, "open");
  m_shared.reset(new MappedPage(fd, shared));
}

CallLog::~CallLog() {
  if (m_journalFd >= 0) ::close(m_journalFd);
}

void CallLog::openOwnFiles() {
  const pid_t pid = ::getpid();
  if (m_journalFd >= 0 && m_pid == pid) return;
  // After a fork the files stay the parent's.
  if (m_journalFd >= 0) ::close(m_journalFd);
  m_journalFd = -1;
  m_counts.reset();
  static std::atomic<unsigned> next{0};
  for (;;) {
    const std::string stem = m_folder + "/" + std::to_string(pid) + "-" + std::to_string(next++);
    const std::string journal = stem + ".journal", counts = stem + ".counts";
    int journalFd = ::open(journal.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | kFileFlags, 0600);
    if (journalFd < 0) {
      if (errno == EEXIST) continue;  // an ended process with this id left it
      failed(journal, "create");
    }
    int countsFd = ::open(counts.c_str(), O_RDWR | O_CREAT | O_EXCL | kFileFlags, 0600);
    if (countsFd < 0) {
      const int error = errno;
      ::close(journalFd);
      ::unlink(journal.c_str());
      errno = error;
      if (error == EEXIST) continue;
      failed(counts, "create");
    }
    m_journalFd = journalFd;
    m_journalPath = journal;
    m_journalSize = 0;
    m_records = 0;
    m_lastSeq = 0;
    m_pid = pid;
    m_counts.reset(new MappedPage(countsFd, counts));
    return;
  }
}

void CallLog::count(const char* function) {
  const int slot = rmlibFunctionIndex(function);
  if (slot < 0) return;
  openOwnFiles();
  m_counts->word(static_cast<size_t>(slot)).fetch_add(1);
}

int64_t CallLog::nextSeq() { return m_shared->word(kLastSeq).fetch_add(1) + 1; }

void CallLog::append(const CallRecord& record) {
  openOwnFiles();
  if (m_records > 0 && m_lastSeq <= m_shared->word(kClearedSeq).load()) {
    // Every record in the file was cleared: start it again (only its owner writes it).
    if (::ftruncate(m_journalFd, 0) != 0) failed(m_journalPath, "clear");
    m_journalSize = 0;
    m_records = 0;
  } else if (m_records >= 2 * kJournalLimit) {
    trimOwnJournal();
  }
  const std::string bytes = encodeCall(record);
  const ssize_t written = ::write(m_journalFd, bytes.data(), bytes.size());
  if (written != static_cast<ssize_t>(bytes.size())) {
    const int error = errno;
    // A record cut short would hide every later one from readers.
    if (written > 0 && ::ftruncate(m_journalFd, m_journalSize) != 0)
      failed(m_journalPath, "undo a short write");
    errno = written < 0 ? error : ENOSPC;
    failed(m_journalPath, "write");
  }
  m_journalSize += written;
  ++m_records;
  m_lastSeq = record.seq;
}

// Keeps the latest kJournalLimit records of this object. A new file takes
// the old one's name at once, so that readers see one or the other whole.
void CallLog::trimOwnJournal() {
  std::string bytes;
  std::vector<CallRecord> kept;
  if (readWhole(m_journalPath, bytes)) decodeCalls(bytes, m_shared->word(kClearedSeq).load(), kept);
  if (static_cast<int64_t>(kept.size()) > kJournalLimit) kept.erase(kept.begin(), kept.end() - kJournalLimit);
  bytes.clear();
  for (const CallRecord& r : kept) bytes += encodeCall(r);
  const std::string next = m_journalPath + ".new";
  int fd = ::open(next.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | kFileFlags, 0600);
  if (fd < 0) failed(next, "create");
  try {
    writeWhole(fd, next, bytes);
    if (::rename(next.c_str(), m_journalPath.c_str()) != 0) failed(next, "rename");
  } catch (...) {
    ::close(fd);
    throw;
  }
  ::close(m_journalFd);
  m_journalFd = fd;
  m_journalSize = static_cast<off_t>(bytes.size());
  m_records = static_cast<int64_t>(kept.size());
}

std::vector<CallRecord> CallLog::journal() {
  const int64_t cleared = m_shared->word(kClearedSeq).load();
  std::vector<CallRecord> calls;
  for (const LogFile& file : listFiles(m_folder, ".journal")) {
    std::string bytes;
    if (readWhole(file.path, bytes)) decodeCalls(bytes, cleared, calls);
  }
  std::sort(calls.begin(), calls.end(),
            [](const CallRecord& a, const CallRecord& b) { return a.seq < b.seq; });
  if (static_cast<int64_t>(calls.size()) > kJournalLimit)
    calls.erase(calls.begin(), calls.end() - kJournalLimit);
  for (CallRecord& r : calls) r.seq -= cleared;
  return calls;
}

void CallLog::clearJournal() {
  const int64_t last = m_shared->word(kLastSeq).load();
  int64_t cleared = m_shared->word(kClearedSeq).load();
  while (cleared < last && !m_shared->word(kClearedSeq).compare_exchange_weak(cleared, last)) {
  }
  // A running process empties its own file on its next call; nobody will for an ended one.
  for (const LogFile& file : listFiles(m_folder, ".journal")) {
    if (!processAlive(file.pid)) ::unlink(file.path.c_str());
  }
}

std::map<std::pair<std::string, int>, int64_t> CallLog::counts() {
  std::map<std::pair<std::string, int>, int64_t> out;
  for (const LogFile& file : listFiles(m_folder, ".counts")) {
    withCounters(file.path, false, [&](std::atomic<int64_t>* words) {
      for (int i = 0; i < kRmlibFunctionCount; ++i) {
        const int64_t calls = words[i].load();
        if (calls != 0) out[{kRmlibFunctions[i], file.pid}] += calls;
      }
    });
  }
  return out;
}

void CallLog::resetCounters() {
  for (const LogFile& file : listFiles(m_folder, ".counts")) {
    if (!processAlive(file.pid)) {
      ::unlink(file.path.c_str());
      continue;
    }
    withCounters(file.path, true, [](std::atomic<int64_t>* words) {
      for (int i = 0; i < kRmlibFunctionCount; ++i) words[i].store(0);
    });
  }
}

}  // namespace rmsim
