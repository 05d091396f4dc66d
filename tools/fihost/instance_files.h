#ifndef FIHOST_INSTANCE_FILES_H
#define FIHOST_INSTANCE_FILES_H

#include <string>
#include <vector>

namespace fihost {

// The RAID Manager instance-number files the plugin shares between
// processes: one per command device, named after its UDID, in the "hitachi"
// folder of the cache directory. Each is an array of 8-byte records in host
// byte order, (instance number, holder pid or a negative value when free),
// one per number in rising order. Every change is made under an fcntl write
// lock on the file's first byte, as the plugin makes its own.

// HITACHIFI_CACHE_DIR (default /var/cache/hitachifi) + "/hitachi".
std::string instanceDirectory();

struct InstanceRecord {
  int number = 0;
  int holder = -1;  // pid, negative when free
  bool running = false;
  std::string command;  // the holder's command name, when known
};

struct InstanceFile {
  std::string key;  // the command device's UDID
  std::string path;
  std::vector<InstanceRecord> records;
  std::vector<int> reclaimed;  // numbers freed by reclaim
  int freeCount() const;
};

// Whether a process runs. A process of another user counts as running:
// freeing its number could give one number to two processes.
bool processRuns(int pid);

// Reads every file of the directory (files being created, "KEY.new.PID",
// are left out). Throws Problem for a file that cannot be read or whose size
// is not a whole number of records. No directory: an empty list.
std::vector<InstanceFile> readInstanceFiles(const std::string& directory);

// Frees, under the lock, every number whose holder no longer runs (only
// those of `holder` when it is given), and records the numbers freed.
// Throws Problem when the file cannot be changed.
void reclaimInstanceFile(InstanceFile& file, int holder = -1);

// A number taken from a file for this process, given back on destruction.
class HeldInstance {
 public:
  // Creates the file with the plugin's range (601 to 699) when it does not
  // exist yet. Throws Problem when no number can be had.
  HeldInstance(const std::string& directory, const std::string& key);
  ~HeldInstance();
  HeldInstance(const HeldInstance&) = delete;
  HeldInstance& operator=(const HeldInstance&) = delete;
  int number() const { return m_number; }

 private:
  std::string m_path;
  int m_number = -1;
  long m_offset = -1;
};

}  // namespace fihost

#endif
