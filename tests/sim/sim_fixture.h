#ifndef TESTS_SIM_SIM_FIXTURE_H
#define TESTS_SIM_SIM_FIXTURE_H

// What the simulator's tests share: the library loaded with dlopen from a
// simroot, as the plugin loads it, a private state file with the default
// model, and an attached command device.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "rmsim.h"

namespace simtest {

// A fresh temporary directory, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

// The RMLIB functions of one libsvrrm.so, looked up by name; a function the
// library lacks stays null.
struct Svrrm {
  explicit Svrrm(const std::string& root);
  ~Svrrm();
  Svrrm(const Svrrm&) = delete;
  Svrrm& operator=(const Svrrm&) = delete;

  void* handle = nullptr;
  int (*attach)(cmddevinfo*, char*, int) = nullptr;
  int (*detach)(cmddevinfo*) = nullptr;
  int (*volstat)(cmddevinfo*, targdev*, pairstatinfo*) = nullptr;
  int (*split)(cmddevinfo*, targdev*, int, int) = nullptr;
  int (*resync)(cmddevinfo*, targdev*, int, int) = nullptr;
  int (*ldev)(cmddevinfo*, targdev*) = nullptr;
  int (*rminfo)(cmddevinfo*, int, int, int, void*) = nullptr;
  char* (*errmsg)(cmddevinfo*) = nullptr;
  int (*version)(int*) = nullptr;
  int (*limit)(cmddevinfo*, dkc_limit*) = nullptr;
  int (*fmtmsg)(cmddevinfo*, char*) = nullptr;
};

// The default model's numbers (rmsim::Simulator::defaultModel).
const int kHitachi = 410001;
const int kHp = 520002;

// A volume address as the plugin builds it; the default model maps every
// LDEV on host group 0 of port 0.
targdev volume(int lun, int mu, int port = 0, int targid = 0);

// The default model with host groups named "db1", copy_reads 2, and the
// HITACHI array's command device /dev/sdb attached as instance 601.
class SimulatorTest : public ::testing::Test {
 protected:
  void SetUp() override;

  int attach(cmddevinfo* info, const char* path, int instance);
  // Status of the volume at `lun` / mirror unit `mu` (asserting success).
  pairstatinfo status(int lun, int mu);
  int split(int lun, int mu, int csize = 15);
  int resync(int lun, int mu, int ropt, int csize = 15);
  std::string lastError() { return lib.errmsg(&cmd); }
  std::string formattedError();

  TempDir dir;
  std::unique_ptr<rmsim::Simulator> sim;
  Svrrm lib{SIM_ROOT};
  cmddevinfo cmd{};
};

}  // namespace simtest

#endif
