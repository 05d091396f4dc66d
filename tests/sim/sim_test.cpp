// The RMLIB simulator, through the functions its libsvrrm.so exports.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "rmsim.h"

namespace {

static_assert(sizeof(cmddevinfo) == 1128, "cmddevinfo size");
static_assert(offsetof(cmddevinfo, serial) == 1048, "cmddevinfo serial");
static_assert(sizeof(targdev) == 336, "targdev size");
static_assert(offsetof(targdev, port) == 4 && offsetof(targdev, targid) == 8 && offsetof(targdev, lun) == 12 &&
                  offsetof(targdev, mun) == 16 && offsetof(targdev, serial) == 20 &&
                  offsetof(targdev, ldevno) == 26 && offsetof(targdev, fibre) == 28 &&
                  offsetof(targdev, numldev) == 30,
              "targdev offsets");
static_assert(sizeof(pairstatinfo) == 60, "pairstatinfo size");
static_assert(offsetof(pairstatinfo, csize) == 1 && offsetof(pairstatinfo, voltype) == 2 &&
                  offsetof(pairstatinfo, volstat) == 22 && offsetof(pairstatinfo, pairstat) == 23 &&
                  offsetof(pairstatinfo, copyrate) == 28 && offsetof(pairstatinfo, smod) == 32 &&
                  offsetof(pairstatinfo, pserial) == 36 && offsetof(pairstatinfo, pssid) == 40 &&
                  offsetof(pairstatinfo, pldev) == 44 && offsetof(pairstatinfo, pport) == 48 &&
                  offsetof(pairstatinfo, ptargid) == 52 && offsetof(pairstatinfo, plun) == 56,
              "pairstatinfo offsets");
static_assert(sizeof(dkc_limit) == 60 && offsetof(dkc_limit, maxmmun) == 8, "dkc_limit");

// The library's functions, looked up by name as a real caller would.
struct Svrrm {
  explicit Svrrm(const std::string& root) {
    handle = ::dlopen((root + "/usr/lib/libsvrrm.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) return;
    attach = reinterpret_cast<decltype(attach)>(::dlsym(handle, "attachcmddev"));
    detach = reinterpret_cast<decltype(detach)>(::dlsym(handle, "detachcmddev"));
    volstat = reinterpret_cast<decltype(volstat)>(::dlsym(handle, "pairvolstat"));
    split = reinterpret_cast<decltype(split)>(::dlsym(handle, "pairsplit"));
    resync = reinterpret_cast<decltype(resync)>(::dlsym(handle, "pairresync"));
    ldev = reinterpret_cast<decltype(ldev)>(::dlsym(handle, "getldev"));
    rminfo = reinterpret_cast<decltype(rminfo)>(::dlsym(handle, "getrminfo"));
    errmsg = reinterpret_cast<decltype(errmsg)>(::dlsym(handle, "getrmerrmsg"));
    version = reinterpret_cast<decltype(version)>(::dlsym(handle, "getrmver"));
    limit = reinterpret_cast<decltype(limit)>(::dlsym(handle, "getdkclimit"));
    fmtmsg = reinterpret_cast<decltype(fmtmsg)>(::dlsym(handle, "getfmtmsg"));
  }
  ~Svrrm() {
    if (handle) ::dlclose(handle);
  }
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

const int kHitachi = 410001;

class Simulator : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/rmsim-test.XXXXXX";
    dir = ::mkdtemp(pattern);
    ::setenv("RMSIM_DB", (dir + "/state.db").c_str(), 1);
    sim.reset(new rmsim::Simulator(dir + "/state.db"));
    sim->loadModel(rmsim::Simulator::defaultModel(), "db1");
    sim->setSetting("copy_reads", "2");
    ASSERT_NE(nullptr, lib.handle) << ::dlerror();
    char path[] = "/dev/sdb";
    ASSERT_EQ(0, lib.attach(&cmd, path, 601));
  }
  void TearDown() override {
    sim.reset();
    std::string command = "rm -rf " + dir;
    (void)std::system(command.c_str());
  }
  // The volume at LUN `lun` of host group 0 of port 0, mirror unit `mu`.
  static targdev volume(int lun, int mu) {
    targdev t;
    std::memset(&t, 0, sizeof t);
    t.porttype = 1;
    t.lun = lun;
    t.mun = mu;
    t.ldevno = 0xFFFF;
    return t;
  }
  pairstatinfo status(int lun, int mu) {
    targdev t = volume(lun, mu);
    pairstatinfo info;
    EXPECT_EQ(0, lib.volstat(&cmd, &t, &info));
    return info;
  }
  int split(int lun, int mu) {
    targdev t = volume(lun, mu);
    return lib.split(&cmd, &t, 1, 15);
  }
  int resync(int lun, int mu, int ropt) {
    targdev t = volume(lun, mu);
    return lib.resync(&cmd, &t, ropt, 15);
  }

  std::string dir;
  std::unique_ptr<rmsim::Simulator> sim;
  Svrrm lib{SIM_ROOT};
  cmddevinfo cmd;
};

// LUNs of the default model on the HITACHI array: 1 -> LDEV 256, 2 -> 257,
// 3 -> 512 (SI secondary of 256), 5 -> 768 (COW secondary of 256 at mu 3).

TEST_F(Simulator, AttachFillsTheBlockWithTheArraySerialAtByte1048) {
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&cmd);
  int32_t serial;
  std::memcpy(&serial, bytes + 1048, 4);
  EXPECT_EQ(kHitachi, serial);
  cmddevinfo other;
  char bad[] = "/dev/sdz";
  EXPECT_EQ(RMSIM_E_NOCMD, lib.attach(&other, bad, 602));
  EXPECT_NE(std::string::npos, std::string(lib.errmsg(&other)).find("not a command device"));
}

TEST_F(Simulator, GetldevReportsTheLdevAndPortKind) {
  targdev t = volume(1, 0);
  ASSERT_EQ(0, lib.ldev(&cmd, &t));
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&t);
  uint16_t ldev, count;
  int32_t serial;
  std::memcpy(&ldev, bytes + 26, 2);
  std::memcpy(&count, bytes + 30, 2);
  std::memcpy(&serial, bytes + 20, 4);
  EXPECT_EQ(256, ldev);
  EXPECT_EQ(1, count);
  EXPECT_EQ(kHitachi, serial);
  EXPECT_NE(0, bytes[28]);  // fibre
  targdev empty = volume(99, 0);
  ASSERT_EQ(0, lib.ldev(&cmd, &empty));
  EXPECT_EQ(0, empty.numldev);
  targdev scsi = volume(0, 0);
  scsi.port = 1;
  ASSERT_EQ(0, lib.ldev(&cmd, &scsi));
  EXPECT_EQ(0, scsi.fibre);
  targdev noPort = volume(0, 0);
  noPort.port = 9;
  EXPECT_EQ(RMSIM_E_NODEV, lib.ldev(&cmd, &noPort));
}

TEST_F(Simulator, LuInformationIsBigEndianWithHostGroupsAt384) {
  unsigned char buffer[512];
  ASSERT_EQ(0, lib.rminfo(&cmd, 0x21, 256, 0, buffer));
  EXPECT_EQ(0, buffer[0]);
  EXPECT_EQ(1, buffer[1]);  // LUN 1, big-endian
  EXPECT_EQ(1, buffer[7]);  // unit id
  EXPECT_EQ(kHitachi, (buffer[8] << 24) | (buffer[9] << 16) | (buffer[10] << 8) | buffer[11]);
  EXPECT_EQ(0, std::strncmp(reinterpret_cast<char*>(buffer + 14), "OPEN-V", 6));
  EXPECT_EQ(2097152u, (uint32_t(buffer[32]) << 24) | (buffer[33] << 16) | (buffer[34] << 8) | buffer[35]);
  EXPECT_EQ(0, buffer[36] & 1);          // not a command device
  EXPECT_EQ(0x0C, buffer[37] & 0x0E);    // ShadowImage and Snapshot, no TrueCopy
  ASSERT_EQ(2, (buffer[40] << 8) | buffer[41]);  // two host groups
  EXPECT_EQ(0, buffer[384]);                     // port 0
  EXPECT_EQ(1, buffer[385]);                     // fibre
  EXPECT_STREQ("db1", reinterpret_cast<char*>(buffer + 388));
  EXPECT_EQ(1, buffer[384 + 32]);                // port 1
  EXPECT_STREQ("backup-server", reinterpret_cast<char*>(buffer + 384 + 36));
}

TEST_F(Simulator, UndefinedLdevReportsNotDefine) {
  unsigned char buffer[512];
  ASSERT_EQ(0, lib.rminfo(&cmd, 0x21, 999, 0, buffer));
  EXPECT_EQ(0, std::strncmp(reinterpret_cast<char*>(buffer + 14), "NOT DEFINE", 10));
  EXPECT_EQ(RMSIM_E_INVOPE, lib.rminfo(&cmd, 0x22, 256, 0, buffer));
}

TEST_F(Simulator, StatusNamesPartnerAndVolumeKinds) {
  pairstatinfo primary = status(2, 0);  // LDEV 257, SI pair in PAIR with 513
  EXPECT_EQ(RMSIM_VOL_PVOL, primary.volstat);
  EXPECT_EQ(RMSIM_PAIR, primary.pairstat);
  EXPECT_EQ(513, primary.pldev);
  EXPECT_EQ(4, primary.plun);
  pairstatinfo secondary = status(4, 0);  // LDEV 513
  EXPECT_EQ(RMSIM_VOL_SVOL, secondary.volstat);
  EXPECT_EQ(257, secondary.pldev);
  pairstatinfo simplex = status(2, 1);
  EXPECT_EQ(RMSIM_VOL_SMPL, simplex.volstat);
  EXPECT_EQ(RMSIM_SMPL, simplex.pairstat);
  EXPECT_EQ(0, simplex.pldev);
  targdev beyond = volume(2, 64);
  pairstatinfo info;
  EXPECT_EQ(RMSIM_E_INVMUN, lib.volstat(&cmd, &beyond, &info));
}

TEST_F(Simulator, SplitAndForwardResyncCycle) {
  EXPECT_EQ(0, split(2, 0));  // PAIR -> PSUS
  EXPECT_EQ(RMSIM_PSUS, status(2, 0).pairstat);
  EXPECT_EQ(0, split(2, 0));  // already split: accepted, no change
  EXPECT_EQ(0, resync(2, 0, 0));
  EXPECT_EQ(RMSIM_COPY, sim->pairStatus(kHitachi, 257, 0));
  EXPECT_EQ(RMSIM_E_INVSTAT, split(2, 0));   // copying refuses split
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(2, 0, 0));  // and resync
  EXPECT_EQ(RMSIM_COPY, status(2, 0).pairstat);  // first read
  EXPECT_EQ(RMSIM_PAIR, status(2, 0).pairstat);  // second read completes the copy
  EXPECT_EQ(15, sim->pairStatus(kHitachi, 257, 0) == RMSIM_PAIR ? status(2, 0).csize : -1);
}

TEST_F(Simulator, ReverseResyncRestoresThroughRcpy) {
  // LDEV 256 has SI mu 0 in PSUS and COW mu 3 in PSUS: a reverse resync is allowed.
  EXPECT_EQ(0, resync(1, 0, 1));
  EXPECT_EQ(RMSIM_RCPY, status(1, 0).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(1, 0).pairstat);
}

TEST_F(Simulator, ReverseResyncRefusedWhileAnotherPairOfThePrimaryIsCopyingOrInPair) {
  // LDEV 256: SI mu 0 and COW mu 3, both PSUS.
  EXPECT_EQ(0, resync(1, 0, 0));                // mu 0 copying
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(1, 3, 1));
  EXPECT_EQ(RMSIM_COPY, status(1, 0).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(1, 0).pairstat);  // mu 0 now in PAIR
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(1, 3, 1));
  EXPECT_EQ(0, split(1, 0));
  EXPECT_EQ(0, resync(1, 3, 1));
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(2, 0, 1));  // a pair in PAIR takes no reverse resync
}

TEST_F(Simulator, SuspendedByErrorTakesOnlyForwardResync) {
  sim->setPairStatus(kHitachi, 256, 0, RMSIM_PSUE);
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(1, 0, 1));
  EXPECT_EQ(0, resync(1, 0, 0));
  EXPECT_EQ(RMSIM_COPY, sim->pairStatus(kHitachi, 256, 0));
}

TEST_F(Simulator, SimplexVolumesRefuseSplitAndResync) {
  EXPECT_EQ(RMSIM_E_NOPAIR, split(2, 1));
  EXPECT_EQ(RMSIM_E_NOPAIR, resync(2, 1, 0));
  EXPECT_NE(std::string::npos, std::string(lib.errmsg(&cmd)).find("SMPL"));
  char formatted[RMSIM_FMTMSG_SIZE];
  EXPECT_EQ(0, lib.fmtmsg(&cmd, formatted));
  EXPECT_NE(std::string::npos, std::string(formatted).find("pairresync"));
}

TEST_F(Simulator, FaultsFailOnceNTimesOrAlways) {
  sim->setFault("getrmver", 777, "controller busy", 2);
  int v = 0;
  EXPECT_EQ(777, lib.version(&v));
  EXPECT_EQ(777, lib.version(&v));
  EXPECT_EQ(0, lib.version(&v));
  EXPECT_EQ(10630, v);
  sim->setFault("pairvolstat", 230, "command device I/O error", -1);
  targdev t = volume(2, 0);
  pairstatinfo info;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(230, lib.volstat(&cmd, &t, &info));
  EXPECT_STREQ("command device I/O error", lib.errmsg(&cmd));
  sim->clearFaults();
  EXPECT_EQ(0, lib.volstat(&cmd, &t, &info));
}

TEST_F(Simulator, CountersCountEveryCallAndReset) {
  sim->resetCounters();
  status(2, 0);
  status(2, 0);
  split(2, 1);
  EXPECT_EQ(2, sim->counter("pairvolstat"));
  EXPECT_EQ(1, sim->counter("pairsplit"));
  sim->resetCounters();
  EXPECT_EQ(0, sim->counter("pairvolstat"));
}

TEST_F(Simulator, LimitsReportMirrorUnits) {
  dkc_limit limit;
  ASSERT_EQ(0, lib.limit(&cmd, &limit));
  EXPECT_EQ(64, limit.maxmmun);
  sim->setMaxMirrorUnits(kHitachi, 3);
  ASSERT_EQ(0, lib.limit(&cmd, &limit));
  EXPECT_EQ(3, limit.maxmmun);
}

TEST_F(Simulator, DetachedBlockIsRefused) {
  EXPECT_EQ(0, lib.detach(&cmd));
  EXPECT_EQ(RMSIM_E_NOCMD, lib.detach(&cmd));
  targdev t = volume(2, 0);
  pairstatinfo info;
  EXPECT_EQ(RMSIM_E_NOCMD, lib.volstat(&cmd, &t, &info));
}

TEST_F(Simulator, TwoProcessesSeeOneState) {
  pid_t child = ::fork();
  if (child == 0) {
    targdev t = volume(2, 0);
    ::_exit(lib.split(&cmd, &t, 1, 15) == 0 ? 0 : 1);
  }
  int wstatus = 0;
  ASSERT_EQ(child, ::waitpid(child, &wstatus, 0));
  ASSERT_EQ(0, wstatus);
  EXPECT_EQ(RMSIM_PSUS, status(2, 0).pairstat);
}

TEST(SimulatorVariants, EachLacksItsOneFunction) {
  Svrrm noLimit(SIM_ROOT "-no-getdkclimit");
  ASSERT_NE(nullptr, noLimit.handle);
  EXPECT_EQ(nullptr, noLimit.limit);
  EXPECT_NE(nullptr, noLimit.split);
  Svrrm noSplit(SIM_ROOT "-no-pairsplit");
  ASSERT_NE(nullptr, noSplit.handle);
  EXPECT_EQ(nullptr, noSplit.split);
  EXPECT_NE(nullptr, noSplit.limit);
}

TEST(SimulatorModel, BadModelNamesTheLine) {
  char pattern[] = "/tmp/rmsim-model.XXXXXX";
  std::string dir = ::mkdtemp(pattern);
  rmsim::Simulator sim(dir + "/state.db");
  try {
    sim.loadModel("array 1 vendor=HITACHI\n# fine\nport 1 0 copper\n", "h");
    FAIL() << "accepted a bad port kind";
  } catch (const rmsim::ModelError& e) {
    EXPECT_STREQ("model line 3: port kind must be fibre or scsi", e.what());
  }
  EXPECT_THROW(sim.loadModel("ldev 1 x\n", "h"), rmsim::ModelError);
  EXPECT_THROW(sim.loadModel("frobnicate\n", "h"), rmsim::ModelError);
  EXPECT_THROW(sim.loadModel("array 1\narray 1\n", "h"), rmsim::ModelError);  // duplicate
  std::string command = "rm -rf " + dir;
  (void)std::system(command.c_str());
}

}  // namespace
