#ifndef HITACHI_INSTANCEMANAGER_H
#define HITACHI_INSTANCEMANAGER_H

#include <string>

// A failure of the instance-number files: what failed, the errno and its text.
class ErrorInstanceNo {
 public:
  ErrorInstanceNo(const std::string& message, int error, const std::string& detail)
      : m_message(message), m_error(error), m_detail(detail) {}
  const std::string& getMessage() const { return m_message; }
  int getError() const { return m_error; }
  const std::string& getDetail() const { return m_detail; }

 private:
  std::string m_message;
  int m_error;
  std::string m_detail;
};

// Hands out RAID Manager instance numbers that no other process on the host
// uses at the same time. Numbers come from one binary file per key (the
// command device's UDID) in the instance-number directory: 8-byte records
// (number, owner pid or -1), host byte order, one per number of the range.
// Every change happens under an fcntl write lock on the file's first byte.
class CInstanceManager {
 public:
  static void setMinMaxInstanceNo(int min, int max);
  static void setInstanceNoPath(std::string path);
  static int getMinInstanceNo() { return m_minInstanceNo; }
  static int getMaxInstanceNo() { return m_maxInstanceNo; }
  static const std::string& getInstanceNoPath() { return m_instanceNoPath; }

  // The directory, "//", then the key. Kept: existing files were named this way.
  static std::string getFilePath(std::string key);
  // Takes the first free number for this process (number = -1 when every
  // number is held and none could be reclaimed). 0, or throws.
  static int getInstanceNo(std::string key, int& number);
  // Marks the number free, whoever held it. 0, or throws.
  static int releaseInstanceNo(std::string key, int number);
  // Frees every number whose holder process has ended. 0, or throws.
  static int reclaimInstanceNo(std::string key);
  // Creates (truncating) the file at `path` with every number free. 0, or throws.
  static int createInstanceNoFile(std::string path);
  // Reads every record of the file at `path` without locking. 0, or throws.
  static int readInstanceNoFile(std::string path);

 private:
  static int m_minInstanceNo;
  static int m_maxInstanceNo;
  static std::string m_instanceNoPath;
};

// One instance number held for as long as this object lives.
class CInstanceNumber {
 public:
  CInstanceNumber() = default;
  ~CInstanceNumber();
  CInstanceNumber(const CInstanceNumber&) = delete;
  CInstanceNumber& operator=(const CInstanceNumber&) = delete;

  // Takes a number under `key`; a number already held is forgotten, not
  // given back (kept as the command devices have always done it).
  int get(std::string key);
  void release();
  int getNumber() const { return m_number; }
  const std::string& getKey() const { return m_key; }

 private:
  std::string m_key;
  int m_number = -1;
};

#endif
