#include "hitachi_instanceManager.h"

#include <ace/ACE.h>
#include <ace/File_Lock.h>
#include <ace/OS_NS_fcntl.h>
#include <ace/OS_NS_stdio.h>
#include <ace/OS_NS_sys_stat.h>
#include <ace/OS_NS_unistd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "cfisafefolder.h"

int CInstanceManager::m_minInstanceNo = 0;
int CInstanceManager::m_maxInstanceNo = 0;
std::string CInstanceManager::m_instanceNoPath;

namespace {

struct Record {
  int32_t number;
  int32_t owner;
};
static_assert(sizeof(Record) == 8, "instance-number records are 8 bytes");

// The error one operation recorded (a later one replaces it); thrown after
// the lock is given back.
struct Recorded {
  std::string message;
  int error = 0;
  void note(const char* what, int errorNumber) {
    message = what;
    error = errorNumber;
  }
  void throwIfSet() const {
    if (error != 0) throw ErrorInstanceNo(message, error, std::strerror(error));
  }
};

[[noreturn]] void fail(const char* message) {
  int error = errno;
  throw ErrorInstanceNo(message, error, error ? std::strerror(error) : "");
}

bool exists(const std::string& path) { return ACE_OS::access(path.c_str(), F_OK) == 0; }

// Opens the file at `path` in its folder, refusing a folder that someone
// other than root or this process's user owns or may write in: there a
// planted link or a swapped file would have this process, often root,
// rewrite a file of someone else's choosing. Never follows a link.
ACE_HANDLE openInSafeFolder(const std::string& path, int flags, mode_t mode) {
  const size_t slash = path.rfind('/');
  std::string folderPath = slash == std::string::npos ? "." : path.substr(0, slash);
  while (folderPath.size() > 1 && folderPath.back() == '/') folderPath.pop_back();  // "dir//key"
  if (folderPath.empty()) folderPath = "/";
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const int folder = ::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return ACE_INVALID_HANDLE;
  const std::string unsafe = frim_pdk_4_4::unsafeFolderReason(folder, folderPath);
  if (!unsafe.empty()) {
    ::close(folder);
    throw ErrorInstanceNo("Refused: " + unsafe, EPERM, std::strerror(EPERM));
  }
  const int handle = ::openat(folder, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode);
  const int error = errno;
  ::close(folder);
  errno = error;
  return handle;
}

// An open instance-number file whose first byte is write-locked for the life
// of this object. The lock is given back explicitly before anything is
// reported; the descriptor closes when the object goes.
class LockedFile {
 public:
  LockedFile(const std::string& path, int flags, mode_t mode, const char* openFailure) {
    ACE_HANDLE handle = openInSafeFolder(path, flags, mode);
    if (handle == ACE_INVALID_HANDLE) fail(openFailure);
    m_lock.set_handle(handle);
    // Waits until granted; a signal only interrupts the wait. Going on
    // without the lock could hand one number to two processes.
    int rc;
    do {
      rc = m_lock.acquire_write(SEEK_SET, 0, 1);
    } while (rc == -1 && errno == EINTR);
    if (rc == -1) fail("Unable to lock file");
  }
  ~LockedFile() = default;  // ACE_File_Lock closes the descriptor; the lock goes with it
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  void unlock() { m_lock.release(SEEK_SET, 0, 1); }
  ACE_HANDLE handle() { return m_lock.get_handle(); }
  bool read(Record& record) { return ACE_OS::read(handle(), &record, sizeof record) > 0; }
  bool write(const Record& record) { return ACE_OS::write(handle(), &record, sizeof record) >= 1; }
  bool seek(long offset) {
    if (offset < 0) {
      errno = EINVAL;  // as lseek would; an offset of -1 would match its failure result below
      return false;
    }
    return ACE_OS::lseek(handle(), offset, SEEK_SET) == offset;
  }

 private:
  ACE_File_Lock m_lock{ACE_INVALID_HANDLE, false};
};

// Offset of a number's record; -1 (a seek that fails with EINVAL) for a
// number outside the range, such as one read from a damaged record: writing
// it back where it claims to be could grow the file without bound.
void fillInstanceNoFile(const std::string& path, int flags);

long offsetOf(int number) {
  if (number < CInstanceManager::getMinInstanceNo() || number > CInstanceManager::getMaxInstanceNo())
    return -1;
  return (static_cast<long>(number) - CInstanceManager::getMinInstanceNo()) * 8;
}

// Creates the file for first use. It is filled under a name of this
// process's own and then linked into place, so that processes starting
// together never truncate a file from which another has already taken a
// number: the first link wins and the others use its file.
void createInPlace(const std::string& path) {
  const std::string aside = path + ".new." + std::to_string(ACE_OS::getpid());
  try {
    // A leftover of an ended process with this id goes first; whatever
    // appears under the name after that is not ours, and O_EXCL refuses it.
    ACE_OS::unlink(aside.c_str());
    fillInstanceNoFile(aside, O_CREAT | O_EXCL | O_RDWR);
  } catch (...) {
    ACE_OS::unlink(aside.c_str());
    throw;
  }
  int rc = ::link(aside.c_str(), path.c_str());
  // A file system without hard links gets the plain replace.
  if (rc != 0 && errno != EEXIST) rc = ACE_OS::rename(aside.c_str(), path.c_str());
  int error = errno;
  ACE_OS::unlink(aside.c_str());
  if (rc != 0 && error != EEXIST) {
    errno = error;
    fail("Unable to create file");
  }
}

}  // namespace

void CInstanceManager::setMinMaxInstanceNo(int min, int max) {
  m_minInstanceNo = min;
  m_maxInstanceNo = max;
}

void CInstanceManager::setInstanceNoPath(std::string path) { m_instanceNoPath = path; }

std::string CInstanceManager::getFilePath(std::string key) { return m_instanceNoPath + "//" + key; }

int CInstanceManager::createInstanceNoFile(std::string path) {
  fillInstanceNoFile(path, O_CREAT | O_TRUNC | O_RDWR);
  return 0;
}

namespace {

void fillInstanceNoFile(const std::string& path, int flags) {
  Recorded recorded;
  LockedFile file(path, flags, 0644, "Unable to create file");
  for (int n = CInstanceManager::getMinInstanceNo(); n <= CInstanceManager::getMaxInstanceNo(); ++n) {
    if (!file.write(Record{n, -1})) {
      recorded.note("Write failed with error", errno);
      break;
    }
  }
  file.unlock();
  recorded.throwIfSet();
}

}  // namespace

int CInstanceManager::getInstanceNo(std::string key, int& number) {
  number = -1;
  const std::string path = getFilePath(key);
  if (!exists(path)) createInPlace(path);
  Recorded recorded;
  for (int attempt = 0; attempt < 2; ++attempt) {
    LockedFile file(path, O_RDWR, 0, "Unable to open file");
    bool scanEnded = false;
    for (int n = m_minInstanceNo; n <= m_maxInstanceNo; ++n) {
      Record record{};  // a short read leaves the rest zero
      errno = 0;
      if (!file.read(record)) {
        recorded.note("Read failed with error", errno);
        scanEnded = true;
        break;
      }
      if (record.owner < 0) {
        number = record.number;
        file.seek(offsetOf(n));
        record.owner = static_cast<int32_t>(ACE_OS::getpid());
        if (!file.write(record)) recorded.note("Write failed with error", errno);
        scanEnded = true;
        break;
      }
    }
    file.unlock();
    if (scanEnded) break;
    recorded.note("Instance No Exhausted, reclaiming", 0);
    if (attempt == 0) {
      // Kept: the reclaim is handed the file path, not the key, so with an
      // absolute directory it looks for a file that does not exist and
      // throws "Didn't find the file".
      reclaimInstanceNo(path);
    } else {
      recorded.note("Instance No Exhausted, couln't reclaim giving up", 0);
    }
  }
  recorded.throwIfSet();
  return 0;
}

int CInstanceManager::reclaimInstanceNo(std::string key) {
  const std::string path = getFilePath(key);
  if (!exists(path)) fail("Didn't find the file");
  Recorded recorded;
  LockedFile file(path, O_RDWR, 0, "Unable to open file");
  const pid_t self = ACE_OS::getpid();
  for (int n = m_minInstanceNo; n <= m_maxInstanceNo; ++n) {
    Record record{};
    errno = 0;
    if (!file.read(record)) {
      recorded.note("Read failed with error", errno);
      break;
    }
    if (record.owner != self && ACE::process_active(record.owner) != 1) {
      // A record whose number lies before the range cannot be written back
      // in place; writing where the file stands would overwrite the next one.
      if (!file.seek(offsetOf(record.number))) {
        recorded.note("Write failed with error", errno);
        continue;
      }
      record.owner = -1;
      if (!file.write(record)) recorded.note("Write failed with error", errno);
    }
  }
  file.unlock();
  recorded.throwIfSet();
  return 0;
}

int CInstanceManager::releaseInstanceNo(std::string key, int number) {
  const std::string path = getFilePath(key);
  if (!exists(path)) fail("Didn't find the file");
  Recorded recorded;
  LockedFile file(path, O_RDWR, 0, "Unable to open file");
  Record record{};
  errno = 0;
  // A number before the range has no record; reading from wherever the
  // file stands would free someone else's.
  if (file.seek(offsetOf(number)) && file.read(record)) {
    file.seek(offsetOf(number));
    record.owner = -1;
    if (!file.write(record)) recorded.note("Write failed with error", errno);
  } else {
    recorded.note("Read failed with error", errno);
  }
  file.unlock();
  recorded.throwIfSet();
  return 0;
}

int CInstanceManager::readInstanceNoFile(std::string path) {
  ACE_HANDLE handle = openInSafeFolder(path, O_RDONLY, 0);
  if (handle == ACE_INVALID_HANDLE) fail("Unable to open file");
  Recorded recorded;
  for (int n = m_minInstanceNo; n <= m_maxInstanceNo; ++n) {
    Record record{};
    errno = 0;
    if (ACE_OS::read(handle, &record, sizeof record) <= 0) {
      recorded.note("Write failed with error", errno);  // Kept: the read path reports this text.
      break;
    }
  }
  ACE_OS::close(handle);
  recorded.throwIfSet();
  return 0;
}

CInstanceNumber::~CInstanceNumber() {
  try {
    release();
  } catch (const ErrorInstanceNo&) {
    // The file is gone or unwritable; a destructor has no one to tell.
  }
}

int CInstanceNumber::get(std::string key) {
  CInstanceManager::getInstanceNo(key, m_number);
  m_key = key;
  return m_number;
}

void CInstanceNumber::release() {
  if (m_number == -1) return;
  CInstanceManager::releaseInstanceNo(m_key, m_number);
  m_number = -1;
}
