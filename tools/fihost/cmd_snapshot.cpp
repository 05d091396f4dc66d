// fihost snapshot: a snapshot taken as a framework takes it, with the
// checks a framework does not make: nothing on the array changes before the
// state file and the catalogue can be written and every pair can be split,
// and the administrator is told which recorded snapshot is overwritten.
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "catalogue.h"
#include "context.h"
#include "framework_nodes.h"
#include "hints.h"
#include "host_disks.h"
#include "interrupt.h"
#include "pair_probe.h"
#include "problem.h"
#include "rotation.h"
#include "state_file.h"

namespace fihost {

namespace {

// What select chose for one device, read back before anything is changed.
struct Planned {
  DeviceName device;
  std::unique_ptr<FrameworkNode> node;
  ProviderState chosen;  // the source's record and its partner's
  PairProbe pair;
  std::optional<CatalogueEntry> holding;  // what the partner holds now, as this host recorded it
};

// The absolute path of the state file, after making sure it can be written:
// the folder exists and takes a new file. Checked before the first call that
// changes the array, so that a snapshot is never taken without its record.
std::string writableStateFile(const std::string& given) {
  const size_t slash = given.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : (slash == 0 ? "/" : given.substr(0, slash));
  const std::string name = slash == std::string::npos ? given : given.substr(slash + 1);
  struct stat info {};
  if (name.empty() || (::stat(given.c_str(), &info) == 0 && S_ISDIR(info.st_mode)))
    throw Problem("--state " + given + " names a folder, not a file; nothing was changed");
  char resolved[PATH_MAX];
  if (!::realpath(folder.c_str(), resolved))
    throw Problem("the state file " + given + " cannot be written: " + folder + ": " + std::strerror(errno) +
                  "; nothing was changed");
  std::string probe = std::string(resolved) + "/.fihost-probe.XXXXXX";
  int fd = ::mkstemp(&probe[0]);
  if (fd < 0)
    throw Problem("the state file " + given + " cannot be written: " + folder + ": " + std::strerror(errno) +
                  "; nothing was changed");
  ::close(fd);
  ::unlink(probe.c_str());
  return std::string(resolved) + (std::string(resolved) == "/" ? "" : "/") + name;
}

std::string partnerText(const Planned& p) {
  return "LDEV " + p.chosen.snapshot.deviceId + " of array " + p.chosen.snapshot.enclosureId +
         (p.pair.pair.found ? ", mirror unit " + std::to_string(p.pair.pair.mirrorUnit) : "");
}

std::string heldText(const std::optional<CatalogueEntry>& held) {
  if (!held) return "no snapshot recorded on this host";
  if (!held->made())
    return "the unfinished snapshot " + std::to_string(held->id) + " started " + held->started;
  return "snapshot " + std::to_string(held->id) + " of " + held->device + " taken " + held->taken +
         (held->stateFile.empty() ? "" : " (state file " + held->stateFile + ")");
}

// The pairs as they are left, and what to run next, when a run stops
// after the partners may have been overwritten.
std::string leftText(const std::vector<Planned>& planned, const RmLibrary* library,
                     const std::vector<HostDisk>& disks) {
  std::string text;
  for (const Planned& p : planned) {
    PairProbe now;
    if (library)
      now = probePair(*library, disks, p.chosen.source, p.chosen.snapshot.deviceId);
    else
      now.error = "no RAID Manager library";
    text += "\n  " + p.device.given + ": pair with " + partnerText(p) + " left " + pairStateText(now);
  }
  text +=
      "\nThe partners no longer hold the snapshots recorded before this run. Run the same fihost snapshot "
      "again once fihost check shows the pairs ready.";
  return text;
}

// Asks isready until every node is ready or the wait is over, reading the
// pairs between two questions: a pair that reached a state from which it
// can never become ready ends the wait at once.
void waitUntilReady(Context& context, Plugin& plugin, FrameworkSession& session,
                    std::vector<Planned>& planned, const RmLibrary* library,
                    const std::vector<HostDisk>& disks, const SnapshotOptions& options) {
  const bool progress = !context.asJson && ::isatty(STDERR_FILENO);
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    context.require(plugin, session.isReady(), "isready");
    size_t ready = 0;
    for (const Planned& p : planned) ready += p.node->ready() ? 1 : 0;
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (progress)
      std::fprintf(stderr, "\rwaiting for the pairs: %zu of %zu ready, %.1f s", ready, planned.size(),
                   elapsed);
    if (ready == planned.size()) break;
    if (library) {
      for (const Planned& p : planned) {
        if (p.node->ready()) continue;
        PairProbe now = probePair(*library, disks, p.chosen.source, p.chosen.snapshot.deviceId);
        if (!now.error.empty() || (now.pair.found && pairCanComplete(now.pair.status))) continue;
        if (progress) std::fprintf(stderr, "\n");
        const int status = now.pair.found ? now.pair.status : 1;
        throw Problem(p.device.given + ": the pair with " + partnerText(p) + " is " + pairStatusName(status) +
                      " and can never become ready: " + pairStateHint(status) +
                      leftText(planned, library, disks));
      }
    }
    if (InterruptGuard::interrupted()) {
      if (progress) std::fprintf(stderr, "\n");
      throw Problem("interrupted while waiting for the pairs:" + leftText(planned, library, disks),
                    kExitInterrupted);
    }
    if (elapsed + options.interval > options.wait) {
      if (progress) std::fprintf(stderr, "\n");
      throw Problem("not ready after " + std::to_string(static_cast<int>(elapsed)) +
                        " s (--wait):" + leftText(planned, library, disks),
                    kExitTimeLimit);
    }
    pauseFor(options.interval);
  }
  if (progress) std::fprintf(stderr, "\n");
}

// Select's refusal, with the hint check gives for the same device.
[[noreturn]] void refuseSelect(Context& context, Plugin& plugin, int rc, const std::vector<Planned>& planned,
                               const RmLibrary* library, const std::vector<HostDisk>& disks) {
  const size_t before = context.messages.size();
  context.collect(plugin);
  std::vector<PluginMessage> met(context.messages.begin() + static_cast<long>(before),
                                 context.messages.end());
  std::string hint;
  for (const Planned& p : planned) {
    if (!library || rc != ZFI_E_INVALID) break;  // the plugin refuses a secondary with 3
    std::string secondary = secondaryVolumeHint(*library, disks, p.device);
    if (!secondary.empty()) hint += (hint.empty() ? "" : "; ") + secondary;
  }
  if (hint.empty()) hint = selectHint(met, rc);
  throw Problem("select returned " + resultText(rc) + "; nothing was changed: " + hint);
}

}  // namespace

int runSnapshot(Context& context, const SnapshotOptions& options) {
  std::vector<HostDisk> disks = hostDisks();
  std::vector<Planned> planned(options.devices.size());
  for (size_t i = 0; i < options.devices.size(); ++i) {
    planned[i].device = resolveDevice(options.devices[i], disks);
    const std::string method =
        options.method.empty() ? defaultMethod(planned[i].device.vendor) : options.method;
    const std::string mismatch = methodMismatch(method, planned[i].device);
    if (!mismatch.empty()) throw Problem(mismatch, kExitUsage);
    planned[i].node = std::make_unique<FrameworkNode>(planned[i].device.udid, method);
  }
  const std::string stateFile = options.stateFile.empty() ? "" : writableStateFile(options.stateFile);
  Catalogue catalogue;
  std::unique_ptr<RmLibrary> library;
  try {
    library = std::make_unique<RmLibrary>();
  } catch (const Problem&) {
    // The plugin says more when it cannot load the library itself; without
    // it fihost only cannot watch the pairs.
  }

  Plugin plugin(context.pluginPath);
  std::vector<FrameworkNode*> raw;
  for (Planned& p : planned) raw.push_back(p.node.get());
  std::vector<Partner> rotation;
  if (options.keep > 0) {
    std::vector<std::string> names;
    for (const Planned& p : planned) names.push_back(p.device.given);
    rotation = rotateTargets(context, plugin, catalogue, disks, raw, names, options.keep);
  }
  StateFile state;
  state.created = utcNow();
  state.session = "fihost-" + std::to_string(::getpid()) + "-" + std::to_string(std::time(nullptr));
  FrameworkSession session(plugin, state.session, raw);

  context.require(plugin, session.initNodes(), "init_node");
  context.require(plugin, session.preselect(), "preselect");
  int rc = session.select();
  if (rc != 0) refuseSelect(context, plugin, rc, planned, library.get(), disks);

  // Read-only from here to prepare: which partner each device got, and
  // whether its pair can be split at all.
  for (size_t i = 0; i < planned.size(); ++i) {
    Planned& p = planned[i];
    p.chosen = parseProviderState(session.providerState(*p.node));
    if (!rotation.empty() && p.chosen.snapshot.deviceId != rotation[i].ldev)
      throw Problem(p.device.given + ": the plugin chose LDEV " + p.chosen.snapshot.deviceId + ", not LDEV " +
                    rotation[i].ldev + " that --keep named; nothing was changed");
    p.pair.error = "no RAID Manager library";
    if (library) {
      p.pair = probePair(*library, disks, p.chosen.source, p.chosen.snapshot.deviceId);
      const int status = p.pair.pair.found ? p.pair.pair.status : 1;
      if (p.pair.error.empty() && (status < 2 || status > 4))
        throw Problem(p.device.given + ": the pair with " + partnerText(p) + " is " + pairStatusName(status) +
                      "; nothing was changed: " + pairStateHint(status));
    }
    p.holding = catalogue.latestOn(p.chosen.snapshot.enclosureId, p.chosen.snapshot.deviceId);
    if (!context.asJson)
      std::printf("%s: partner %s (%s) will be overwritten; it holds %s\n", p.device.given.c_str(),
                  partnerText(p).c_str(),
                  p.pair.error.empty() ? pairStateText(p.pair).c_str() : "state unknown",
                  heldText(p.holding).c_str());
  }
  std::fflush(stdout);

  std::vector<CatalogueEntry> entries;
  for (const Planned& p : planned) {
    CatalogueEntry e;
    e.session = state.session;
    e.device = p.device.given;
    e.source = p.device.udid;
    e.method = p.node->method();
    e.targetArray = p.chosen.snapshot.enclosureId;
    e.targetLdev = p.chosen.snapshot.deviceId;
    e.mirrorUnit = p.pair.pair.found ? p.pair.pair.mirrorUnit : -1;
    e.stateFile = stateFile;
    entries.push_back(e);
  }
  InterruptGuard guard;
  catalogue.begin(entries);
  context.require(plugin, session.prepare(), "prepare");
  waitUntilReady(context, plugin, session, planned, library.get(), disks, options);
  std::vector<std::string> snapshots;
  context.require(plugin, session.make(snapshots), "make");

  json list = json::array();
  const std::string taken = utcNow();
  for (size_t i = 0; i < planned.size(); ++i) {
    SnapshotEntry entry;
    entry.device = planned[i].device.given;
    entry.node = planned[i].node->name();
    entry.source = planned[i].device.udid;
    entry.snapshot = snapshots[i];
    entry.method = planned[i].node->method();
    entry.providerState = session.providerState(*planned[i].node);
    state.snapshots.push_back(entry);
    entries[i].taken = taken;
    entries[i].target = entry.snapshot;
    entries[i].providerState = entry.providerState;
    json item = {{"id", entries[i].id},
                 {"device", entry.device},
                 {"disk", planned[i].device.disk},
                 {"node", entry.node},
                 {"source", entry.source},
                 {"snapshot", entry.snapshot},
                 {"method", entry.method},
                 {"mirror_unit", entries[i].mirrorUnit},
                 {"taken", taken}};
    item["replaced"] = planned[i].holding ? json(planned[i].holding->id) : json(nullptr);
    list.push_back(item);
  }
  session.deinitNodes();
  context.collect(plugin);  // warnings the plugin may have left on the way
  std::string unwritten;
  if (!stateFile.empty()) {
    try {
      writeStateFile(stateFile, state);
    } catch (const Problem& problem) {
      unwritten = problem.what();
      for (CatalogueEntry& e : entries) e.stateFile.clear();
    }
  }
  catalogue.complete(entries);
  if (!unwritten.empty())
    throw Problem(unwritten + " (the snapshots are recorded in the catalogue " + catalogue.path() + ")");

  if (context.asJson) {
    emit(context, {{"command", "snapshot"},
                   {"ok", true},
                   {"session", state.session},
                   {"state_file", stateFile},
                   {"catalogue", catalogue.path()},
                   {"snapshots", list}});
    return 0;
  }
  std::vector<std::vector<std::string>> rows = {{"ID", "DEVICE", "METHOD", "MU", "SNAPSHOT", "TAKEN"}};
  for (size_t i = 0; i < entries.size(); ++i)
    rows.push_back({std::to_string(entries[i].id), entries[i].device, entries[i].method,
                    std::to_string(entries[i].mirrorUnit), entries[i].target, entries[i].taken});
  printTable(rows);
  if (!stateFile.empty()) std::printf("provider states written to %s\n", stateFile.c_str());
  return 0;
}

}  // namespace fihost
