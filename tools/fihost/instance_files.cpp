#include "instance_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "problem.h"

namespace fihost {

namespace {

constexpr int kFirstNumber = 601;  // the plugin's range
constexpr int kLastNumber = 699;
constexpr off_t kLargestFile = (kLastNumber - kFirstNumber + 1) * 8;

struct RawRecord {
  int32_t number;
  int32_t owner;
};
static_assert(sizeof(RawRecord) == 8, "instance-number records are 8 bytes");

std::string systemError(const std::string& what, const std::string& path) {
  return what + " " + path + ": " + std::strerror(errno);
}

// An open instance-number file with its first byte locked (write lock for
// a change, read lock to read a consistent picture) until destruction.
class LockedFile {
 public:
  LockedFile(const std::string& path, bool write) {
    m_fd = ::open(path.c_str(), (write ? O_RDWR : O_RDONLY) | O_NOFOLLOW | O_CLOEXEC);
    if (m_fd < 0) throw Problem(systemError("cannot open", path));
    struct flock lock {};
    lock.l_type = write ? F_WRLCK : F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 1;
    int rc;
    do {
      rc = ::fcntl(m_fd, F_SETLKW, &lock);
    } while (rc == -1 && errno == EINTR);
    if (rc == -1) {
      std::string why = systemError("cannot lock", path);
      ::close(m_fd);
      throw Problem(why);
    }
  }
  ~LockedFile() { ::close(m_fd); }  // closing gives the lock back
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  std::vector<RawRecord> readAll(const std::string& path) {
    struct stat info {};
    if (::fstat(m_fd, &info) != 0) throw Problem(systemError("cannot read", path));
    if (info.st_size % 8 != 0)
      throw Problem(path + " is " + std::to_string(info.st_size) +
                    " bytes long, not a whole number of 8-byte records: not an instance-number file");
    // The plugin's range fills 99 records; a longer file (a sparse one can
    // claim any size) is not read into memory.
    if (info.st_size > kLargestFile)
      throw Problem(path + " is " + std::to_string(info.st_size) + " bytes long, more than the " +
                    std::to_string(kLargestFile) + " of an instance-number file");
    std::vector<RawRecord> records(static_cast<size_t>(info.st_size / 8));
    size_t bytes = records.size() * sizeof(RawRecord);
    if (bytes && ::pread(m_fd, records.data(), bytes, 0) != static_cast<ssize_t>(bytes))
      throw Problem(systemError("cannot read", path));
    return records;
  }
  void writeRecord(const std::string& path, size_t index, const RawRecord& record) {
    if (::pwrite(m_fd, &record, sizeof record, static_cast<off_t>(index * 8)) != sizeof record)
      throw Problem(systemError("cannot write", path));
  }

 private:
  int m_fd = -1;
};

std::string commandOf(int pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(in, name);
  return name;
}

// Creates the file aside and links it into place, as the plugin does, so
// that a process that took a number from a file meanwhile created by
// another never sees it truncated.
void createFile(const std::string& path) {
  const std::string aside = path + ".new." + std::to_string(::getpid());
  ::unlink(aside.c_str());  // a leftover of an ended process; whatever appears now is refused
  int fd = ::open(aside.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_WRONLY, 0644);
  if (fd < 0) throw Problem(systemError("cannot create", aside));
  std::vector<RawRecord> records;
  for (int n = kFirstNumber; n <= kLastNumber; ++n) records.push_back(RawRecord{n, -1});
  size_t bytes = records.size() * sizeof(RawRecord);
  bool written = ::write(fd, records.data(), bytes) == static_cast<ssize_t>(bytes);
  ::close(fd);
  if (!written || (::link(aside.c_str(), path.c_str()) != 0 && errno != EEXIST)) {
    std::string why = systemError("cannot create", path);
    ::unlink(aside.c_str());
    throw Problem(why);
  }
  ::unlink(aside.c_str());
}

}  // namespace

std::string instanceDirectory() {
  const char* dir = ::secure_getenv("HITACHIFI_CACHE_DIR");
  return std::string(dir && *dir ? dir : "/var/cache/hitachifi") + "/hitachi";
}

int InstanceFile::freeCount() const {
  return static_cast<int>(
      std::count_if(records.begin(), records.end(), [](const InstanceRecord& r) { return r.holder < 0; }));
}

bool processRuns(int pid) {
  if (pid <= 0) return false;
  return ::kill(pid, 0) == 0 || errno == EPERM;
}

std::vector<InstanceFile> readInstanceFiles(const std::string& directory) {
  std::vector<InstanceFile> files;
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return files;
  std::vector<std::string> names;
  while (dirent* entry = ::readdir(dir)) {
    std::string name = entry->d_name;
    if (name == "." || name == ".." || name.find(".new.") != std::string::npos) continue;
    names.push_back(name);
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    InstanceFile file;
    file.key = name;
    file.path = directory + "/" + name;
    struct stat info {};
    if (::stat(file.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
    LockedFile locked(file.path, false);
    for (const RawRecord& raw : locked.readAll(file.path)) {
      InstanceRecord record;
      record.number = raw.number;
      record.holder = raw.owner < 0 ? -1 : raw.owner;
      if (record.holder >= 0) {
        record.running = processRuns(record.holder);
        if (record.running) record.command = commandOf(record.holder);
      }
      file.records.push_back(record);
    }
    files.push_back(file);
  }
  return files;
}

void reclaimInstanceFile(InstanceFile& file, int holder) {
  LockedFile locked(file.path, true);
  std::vector<RawRecord> raw = locked.readAll(file.path);
  file.records.clear();
  for (size_t i = 0; i < raw.size(); ++i) {
    InstanceRecord record;
    record.number = raw[i].number;
    record.holder = raw[i].owner < 0 ? -1 : raw[i].owner;
    if (record.holder >= 0 && record.holder != ::getpid() && (holder < 0 || record.holder == holder) &&
        !processRuns(record.holder)) {
      raw[i].owner = -1;
      locked.writeRecord(file.path, i, raw[i]);
      file.reclaimed.push_back(record.number);
      record.holder = -1;
    }
    record.running = record.holder >= 0;
    if (record.running) record.command = commandOf(record.holder);
    file.records.push_back(record);
  }
}

HeldInstance::HeldInstance(const std::string& directory, const std::string& key)
    : m_path(directory + "/" + key) {
  if (::access(m_path.c_str(), F_OK) != 0) createFile(m_path);
  LockedFile locked(m_path, true);
  std::vector<RawRecord> raw = locked.readAll(m_path);
  for (size_t i = 0; i < raw.size(); ++i) {
    if (raw[i].owner >= 0) continue;
    raw[i].owner = ::getpid();
    locked.writeRecord(m_path, i, raw[i]);
    m_number = raw[i].number;
    m_offset = static_cast<long>(i);
    return;
  }
  throw Problem("every instance number in " + m_path +
                " is held (fihost instances --reclaim frees those of " + "ended processes)");
}

HeldInstance::~HeldInstance() {
  if (m_offset < 0) return;
  try {
    LockedFile locked(m_path, true);
    locked.writeRecord(m_path, static_cast<size_t>(m_offset), RawRecord{m_number, -1});
  } catch (const Problem&) {
    // A number left held is freed by the next reclaim once this process ends.
  }
}

}  // namespace fihost
