#ifndef TESTS_SCSITOOL_SCRATCH_DIR_H
#define TESTS_SCSITOOL_SCRATCH_DIR_H

#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

// A fresh directory under /tmp, removed with everything in it when the
// object goes.
class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/scsitool-test.XXXXXX";
    const char* made = ::mkdtemp(pattern);
    m_path = made ? made : "";
  }
  ~ScratchDir() {
    if (!m_path.empty()) ::nftw(m_path.c_str(), &removeOne, 16, FTW_DEPTH | FTW_PHYS);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::string& path() const { return m_path; }

 private:
  static int removeOne(const char* path, const struct stat*, int, struct FTW*) { return std::remove(path); }
  std::string m_path;
};

#endif
