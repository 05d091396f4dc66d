#include "sim_fixture.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>

namespace simtest {

TempDir::TempDir() {
  char pattern[] = "/tmp/rmsim-test.XXXXXX";
  const char* made = ::mkdtemp(pattern);
  if (made != nullptr) m_path = made;
}

TempDir::~TempDir() {
  std::error_code ignored;
  if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
}

template <class Fn>
void lookUp(void* handle, const char* name, Fn& fn) {
  fn = reinterpret_cast<Fn>(::dlsym(handle, name));
}

Svrrm::Svrrm(const std::string& root) {
  handle = ::dlopen((root + "/usr/lib/libsvrrm.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) return;
  lookUp(handle, "attachcmddev", attach);
  lookUp(handle, "detachcmddev", detach);
  lookUp(handle, "pairvolstat", volstat);
  lookUp(handle, "pairsplit", split);
  lookUp(handle, "pairresync", resync);
  lookUp(handle, "getldev", ldev);
  lookUp(handle, "getrminfo", rminfo);
  lookUp(handle, "getrmerrmsg", errmsg);
  lookUp(handle, "getrmver", version);
  lookUp(handle, "getdkclimit", limit);
  lookUp(handle, "getfmtmsg", fmtmsg);
}

Svrrm::~Svrrm() {
  if (handle) ::dlclose(handle);
}

targdev volume(int lun, int mu, int port, int targid) {
  targdev t;
  std::memset(&t, 0, sizeof t);
  t.porttype = 1;
  t.port = port;
  t.targid = targid;
  t.lun = lun;
  t.mun = mu;
  t.ldevno = 0xFFFF;
  return t;
}

void SimulatorTest::SetUp() {
  ASSERT_FALSE(dir.path().empty());
  const std::string db = dir.path() + "/state.db";
  ::setenv("RMSIM_DB", db.c_str(), 1);
  sim.reset(new rmsim::Simulator(db));
  sim->loadModel(rmsim::Simulator::defaultModel(), "db1");
  ASSERT_NE(nullptr, lib.handle) << ::dlerror();
  ASSERT_EQ(0, attach(&cmd, "/dev/sdb", 601));
}

int SimulatorTest::attach(cmddevinfo* info, const char* path, int instance) {
  std::memset(info, 0, sizeof *info);
  std::string copy(path);
  return lib.attach(info, &copy[0], instance);
}

pairstatinfo SimulatorTest::status(int lun, int mu) {
  targdev t = volume(lun, mu);
  pairstatinfo info;
  std::memset(&info, 0xAB, sizeof info);  // the library must fill every byte it reports
  EXPECT_EQ(0, lib.volstat(&cmd, &t, &info)) << lastError();
  return info;
}

int SimulatorTest::split(int lun, int mu, int csize) {
  targdev t = volume(lun, mu);
  return lib.split(&cmd, &t, 1, csize);
}

int SimulatorTest::resync(int lun, int mu, int ropt, int csize) {
  targdev t = volume(lun, mu);
  return lib.resync(&cmd, &t, ropt, csize);
}

std::string SimulatorTest::formattedError() {
  char buffer[RMSIM_FMTMSG_SIZE];
  std::memset(buffer, 0, sizeof buffer);
  EXPECT_EQ(0, lib.fmtmsg(&cmd, buffer));
  return buffer;
}

}  // namespace simtest
