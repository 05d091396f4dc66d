// The exported RAID Manager library functions: a thin layer over Simulator.
// Each process opens the shared state ($RMSIM_DB) on its first call, again
// after a fork (a database connection must not cross one) and when
// $RMSIM_DB names another file. Calls from several threads take turns, as
// commands on one command device do.
#include <unistd.h>

#include <memory>
#include <mutex>
#include <string>

#include "rmsim.h"
#include "sim_db.h"

#define RMSIM_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

std::mutex g_mutex;
std::unique_ptr<rmsim::Simulator> g_sim;
pid_t g_owner = 0;
std::string g_path;

rmsim::Simulator* simulator() {
  const std::string path = rmsim::Db::defaultPath();
  if (g_sim && g_owner == ::getpid() && g_path == path) return g_sim.get();
  if (g_owner == ::getpid()) {
    g_sim.reset();
  } else {
    (void)g_sim.release();  // a connection inherited through fork is abandoned, not closed
  }
  try {
    g_sim.reset(new rmsim::Simulator(path));
    g_owner = ::getpid();
    g_path = path;
  } catch (...) {
    return nullptr;
  }
  return g_sim.get();
}

template <class Fn>
int call(Fn fn) {
  std::lock_guard<std::mutex> lock(g_mutex);
  try {
    rmsim::Simulator* sim = simulator();
    return sim ? fn(*sim) : RMSIM_E_STATE;
  } catch (...) {
    return RMSIM_E_STATE;
  }
}

char g_noState[] = "the simulator's state file cannot be opened";

}  // namespace

RMSIM_EXPORT int attachcmddev(cmddevinfo* info, char* cmddev, int instance) {
  return call([&](rmsim::Simulator& sim) { return sim.attachcmddev(info, cmddev, instance); });
}

RMSIM_EXPORT int detachcmddev(cmddevinfo* info) {
  return call([&](rmsim::Simulator& sim) { return sim.detachcmddev(info); });
}

RMSIM_EXPORT int pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out) {
  return call([&](rmsim::Simulator& sim) { return sim.pairvolstat(info, targ, out); });
}

#ifndef RMSIM_WITHOUT_PAIRSPLIT
RMSIM_EXPORT int pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize) {
  return call([&](rmsim::Simulator& sim) { return sim.pairsplit(info, targ, sopt, csize); });
}
#endif

RMSIM_EXPORT int pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize) {
  return call([&](rmsim::Simulator& sim) { return sim.pairresync(info, targ, ropt, csize); });
}

RMSIM_EXPORT int getldev(cmddevinfo* info, targdev* targ) {
  return call([&](rmsim::Simulator& sim) { return sim.getldev(info, targ); });
}

RMSIM_EXPORT int getrminfo(cmddevinfo* info, int ope, int ldev, int port, void* rminfo) {
  return call([&](rmsim::Simulator& sim) { return sim.getrminfo(info, ope, ldev, port, rminfo); });
}

// The text stays valid until the next failure on that command device in this process.
RMSIM_EXPORT char* getrmerrmsg(cmddevinfo* info) {
  char* text = g_noState;
  call([&](rmsim::Simulator& sim) {
    text = sim.getrmerrmsg(info);
    return 0;
  });
  return text;
}

RMSIM_EXPORT int getrmver(int* version) {
  return call([&](rmsim::Simulator& sim) { return sim.getrmver(version); });
}

#ifndef RMSIM_WITHOUT_GETDKCLIMIT
RMSIM_EXPORT int getdkclimit(cmddevinfo* info, dkc_limit* out) {
  return call([&](rmsim::Simulator& sim) { return sim.getdkclimit(info, out); });
}
#endif

RMSIM_EXPORT int getfmtmsg(cmddevinfo* info, char* buffer) {
  return call([&](rmsim::Simulator& sim) { return sim.getfmtmsg(info, buffer); });
}
