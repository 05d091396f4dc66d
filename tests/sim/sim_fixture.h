#ifndef TESTS_SIM_SIM_FIXTURE_H
#define TESTS_SIM_SIM_FIXTURE_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "rmsim.h"

namespace simtest {

#define SIM_FUNCTION(member, name) \
  decltype(&::name) member = reinterpret_cast<decltype(&::name)>(handle ? ::dlsym(handle, #name) : nullptr)

// The RMLIB functions of one libsvrrm.so; a function it lacks stays null.
struct Svrrm {
  explicit Svrrm(const std::string& root)
      : handle(::dlopen((root + "/usr/lib/libsvrrm.so").c_str(), RTLD_NOW | RTLD_LOCAL)) {}
  ~Svrrm() {
    if (handle) ::dlclose(handle);
  }
  Svrrm(const Svrrm&) = delete;
  Svrrm& operator=(const Svrrm&) = delete;

  void* handle;
  SIM_FUNCTION(attach, attachcmddev);
  SIM_FUNCTION(detach, detachcmddev);
  SIM_FUNCTION(volstat, pairvolstat);
  SIM_FUNCTION(split, pairsplit);
  SIM_FUNCTION(resync, pairresync);
  SIM_FUNCTION(ldev, getldev);
  SIM_FUNCTION(rminfo, getrminfo);
  SIM_FUNCTION(errmsg, getrmerrmsg);
  SIM_FUNCTION(limit, getdkclimit);
  SIM_FUNCTION(fmtmsg, getfmtmsg);
};

const int kHitachi = 410001;
// Default model, HITACHI array, host group 0 of port 0: LUN -> LDEV.
const int kLun256 = 1;  // SI mu 0 -> 512 (PSUS), COW mu 3 -> 768 (PSUS)
const int kLun257 = 2;  // SI mu 0 -> 513 (PAIR), COW mu 3 -> 769 (PAIR)
const int kLun258 = 7;  // SI mu 1 -> 514, mu 2 -> 515 (both PSUS)
const int kLun259 = 8;  // COW mu 3 -> 770, mu 4 -> 771 (both PSUS)

// A volume address as the plugin builds it (port type 1, no LDEV yet).
inline targdev volume(int lun, int mu, int port = 0, int targid = 0) {
  return targdev{1, {}, port, targid, lun, mu, 0, {}, 0xFFFF, 0, 0, 0, {}};
}

// Exit status and output (stdout and stderr) of a shell command.
struct Outcome {
  int status = -1;
  std::string output;
};
inline Outcome run(const std::string& command) {
  Outcome outcome;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return outcome;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) outcome.output.append(chunk, n);
  int status = ::pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

// The default model (host groups "db1"), /dev/sdb attached as instance 601.
class SimulatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/rmsim-test.XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(pattern));
    dir = pattern;
    ::setenv("RMSIM_DB", (dir + "/state.db").c_str(), 1);
    sim.reset(new rmsim::Simulator(dir + "/state.db"));
    sim->loadModel(rmsim::Simulator::defaultModel(), "db1");
    ASSERT_NE(nullptr, lib.handle) << ::dlerror();
    ASSERT_EQ(0, attach(&cmd, "/dev/sdb", 601));
  }
  void TearDown() override {
    std::error_code ignored;
    if (!dir.empty()) std::filesystem::remove_all(dir, ignored);
  }
  int attach(cmddevinfo* info, std::string path, int instance) {
    std::memset(info, 0, sizeof *info);
    return lib.attach(info, &path[0], instance);
  }
  std::string data(int ldev) { return sim->readData(kHitachi, ldev); }
  void write(int ldev, const std::string& bytes) { sim->writeData(kHitachi, ldev, bytes); }
  pairstatinfo status(int lun, int mu) {  // of the volume at `lun`, asserting success
    targdev t = volume(lun, mu);
    pairstatinfo info;
    std::memset(&info, 0xAB, sizeof info);  // the library must fill every byte it reports
    EXPECT_EQ(0, lib.volstat(&cmd, &t, &info)) << lib.errmsg(&cmd);
    return info;
  }
  int split(int lun, int mu, int csize = 15) {
    targdev t = volume(lun, mu);
    return lib.split(&cmd, &t, 1, csize);
  }
  int resync(int lun, int mu, int ropt, int csize = 15) {
    targdev t = volume(lun, mu);
    return lib.resync(&cmd, &t, ropt, csize);
  }
  Outcome rmsim(const std::string& arguments) {
    return run(std::string(RMSIM_BIN) + " --db " + dir + "/state.db " + arguments);
  }

  std::string dir;  // a fresh folder of the state, removed with it
  std::unique_ptr<rmsim::Simulator> sim;
  Svrrm lib{SIM_ROOT};
  cmddevinfo cmd{};
};

}  // namespace simtest

#endif
