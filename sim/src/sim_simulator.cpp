// The simulated RMLIB calls of Simulator: each is one framed call (sim_call)
// around the operation of its family.
#include "rmsim.h"
#include "sim_call.h"
#include "sim_calllog.h"
#include "sim_cmddevs.h"
#include "sim_db.h"
#include "sim_luns.h"
#include "sim_pairs.h"

namespace rmsim {

Simulator::Simulator(const std::string& dbPath)
    : m_db(new Db(dbPath)), m_log(new CallLog(dbPath)), m_errors(new ErrorBook) {}

Simulator::~Simulator() = default;

int Simulator::attachcmddev(cmddevinfo* info, const char* cmddev, int instance) {
  prepareAttachBlock(info, cmddev);
  CallArgs args;
  args.attach = true;
  args.cmddev = cmddev;
  args.instance = instance;
  return runCall(*m_db, *m_log, *m_errors, "attachcmddev", info, args,
                 [&](Call& call) { return attachCmdDev(call, cmddev, instance); });
}

int Simulator::detachcmddev(cmddevinfo* info) {
  return runCall(*m_db, *m_log, *m_errors, "detachcmddev", info, {},
                 [&](Call& call) { return detachCmdDev(call); });
}

int Simulator::pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out) {
  CallArgs args;
  args.targ = targ;
  return runCall(*m_db, *m_log, *m_errors, "pairvolstat", info, args,
                 [&](Call& call) { return pairVolStat(call, targ, out); });
}

int Simulator::pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize) {
  CallArgs args;
  args.targ = targ;
  args.option = sopt;
  args.csize = csize;
  return runCall(*m_db, *m_log, *m_errors, "pairsplit", info, args,
                 [&](Call& call) { return pairSplit(call, targ, sopt, csize); });
}

int Simulator::pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize) {
  CallArgs args;
  args.targ = targ;
  args.option = ropt;
  args.csize = csize;
  return runCall(*m_db, *m_log, *m_errors, "pairresync", info, args,
                 [&](Call& call) { return pairResync(call, targ, ropt, csize); });
}

int Simulator::getldev(cmddevinfo* info, targdev* targ) {
  CallArgs args;
  args.targ = targ;
  return runCall(*m_db, *m_log, *m_errors, "getldev", info, args,
                 [&](Call& call) { return getLdev(call, targ); });
}

int Simulator::getrminfo(cmddevinfo* info, int ope, int ldev, int port, void* rminfo) {
  CallArgs args;
  args.ope = ope;
  args.ldev = ldev;
  args.port = port;
  return runCall(*m_db, *m_log, *m_errors, "getrminfo", info, args,
                 [&](Call& call) { return getRmInfo(call, ope, ldev, port, rminfo); });
}

char* Simulator::getrmerrmsg(cmddevinfo* info) {
  FaultText text = FaultText::Last;
  runCall(
      *m_db, *m_log, *m_errors, "getrmerrmsg", info, {}, [](Call&) { return 0; }, &text);
  static char empty[] = "";
  if (text == FaultText::Null) return nullptr;
  if (text == FaultText::Empty) return empty;
  return errorText(*m_errors, info);
}

int Simulator::getrmver(int* version) {
  return runCall(*m_db, *m_log, *m_errors, "getrmver", nullptr, {},
                 [&](Call& call) { return getRmVer(call, version); });
}

int Simulator::getdkclimit(cmddevinfo* info, dkc_limit* out) {
  return runCall(*m_db, *m_log, *m_errors, "getdkclimit", info, {},
                 [&](Call& call) { return getDkcLimit(call, out); });
}

int Simulator::getfmtmsg(cmddevinfo* info, char* buffer) {
  return runCall(*m_db, *m_log, *m_errors, "getfmtmsg", info, {},
                 [&](Call& call) { return getFmtMsg(call, *m_errors, buffer); });
}

}  // namespace rmsim
