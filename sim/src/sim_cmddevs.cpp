#include "sim_cmddevs.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "sim_call.h"
#include "sim_db.h"

namespace rmsim {

void prepareAttachBlock(cmddevinfo* info, const char* cmddev) {
  if (info == nullptr) return;
  std::memset(info, 0, sizeof(*info));
  if (cmddev != nullptr) std::strncpy(info->path, cmddev, sizeof(info->path) - 1);
}

bool processAlive(int pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); }

namespace {

// The live process other than the caller that holds `instance` on `path`, or 0.
int holderOf(Db& db, const std::string& path, int instance) {
  Statement q = db.prepare("SELECT pid FROM attachments WHERE path = ? AND instance = ? AND pid <> ?");
  q.bind(path).bind(instance).bind(static_cast<int>(::getpid()));
  while (q.step()) {
    if (processAlive(q.number(0))) return q.number(0);
  }
  return 0;
}

}  // namespace

int attachCmdDev(Call& call, const char* cmddev, int instance) {
  cmddevinfo* info = call.info();
  if (info == nullptr) return call.fail(RMSIM_E_INVAL, "no command device block");
  if (cmddev == nullptr) return call.fail(RMSIM_E_INVAL, "no command device path");
  Db& db = call.db();
  Statement q = db.prepare("SELECT serial FROM cmddevs WHERE path = ?");
  q.bind(pathOf(info));
  if (!q.step()) {
    Statement arrays = db.prepare("SELECT COUNT(*) FROM arrays");
    bool empty = arrays.step() && arrays.integer(0) == 0;
    return call.fail(RMSIM_E_NOCMD, std::string("not a command device of a known array") +
                                        (empty ? " (no model is loaded: run rmsim init)" : ""));
  }
  if (instance < 0) {
    return call.fail(RMSIM_E_INVINST, "instance number " + std::to_string(instance) + " is not valid");
  }
  if (int holder = holderOf(db, pathOf(info), instance)) {
    return call.fail(RMSIM_E_INSTUSED, "instance number " + std::to_string(instance) + " is in use on " +
                                           pathOf(info) + " by process " + std::to_string(holder));
  }
  info->instance = instance;
  info->attached = RMSIM_ATTACHED;
  info->serial = q.number(0);
  db.prepare(
        "INSERT INTO attachments(path, instance, pid) VALUES(?, ?, ?) ON CONFLICT(path, instance, pid) DO "
        "UPDATE SET blocks = blocks + 1")
      .bind(pathOf(info))
      .bind(instance)
      .bind(static_cast<int>(::getpid()))
      .run();
  return 0;
}

int detachCmdDev(Call& call) {
  cmddevinfo* info = call.info();
  if (info == nullptr || info->attached != RMSIM_ATTACHED) {
    return call.fail(RMSIM_E_NOCMD, "command device is not attached");
  }
  info->attached = 0;
  Db& db = call.db();
  const std::string path = pathOf(info);
  const int pid = static_cast<int>(::getpid());
  db.prepare("UPDATE attachments SET blocks = blocks - 1 WHERE path = ? AND instance = ? AND pid = ?")
      .bind(path)
      .bind(info->instance)
      .bind(pid)
      .run();
  db.prepare("DELETE FROM attachments WHERE path = ? AND instance = ? AND pid = ? AND blocks <= 0")
      .bind(path)
      .bind(info->instance)
      .bind(pid)
      .run();
  return 0;
}

int getRmVer(Call& call, int* version) {
  if (version == nullptr) return call.fail(RMSIM_E_INVAL, "no version variable");
  *version = call.settings().version;
  return 0;
}

int getFmtMsg(Call& call, const ErrorBook& errors, char* buffer) {
  if (buffer == nullptr) return call.fail(RMSIM_E_INVAL, "no message buffer");
  std::memset(buffer, 0, RMSIM_FMTMSG_SIZE);
  const std::string path = pathOf(call.info());
  if (const LastError* error = errors.find(path)) {
    std::snprintf(buffer, RMSIM_FMTMSG_SIZE, "[RMSIM] %s(%s) failed: EX%03d %s", error->function.c_str(),
                  path.c_str(), error->number, error->message.c_str());
  }
  return 0;
}

char* errorText(const ErrorBook& errors, const cmddevinfo* info) {
  static char noError[] = "no error";
  const LastError* error = errors.find(pathOf(info));
  // The caller gets RMLIB's char*; the text is never written through it.
  return error ? const_cast<char*>(error->message.c_str()) : noError;
}

}  // namespace rmsim
