// fihost restore: the snapshots of a state file copied back onto their
// source devices. The plugin's restore waits, without limit, until every
// pair is split again; fihost runs it in a child process and reads the
// pairs itself meanwhile, so that a pair that can never get there, a time
// limit or Ctrl-C ends the wait with the pairs' states.
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>

#include "catalogue.h"
#include "context.h"
#include "framework_nodes.h"
#include "hints.h"
#include "host_disks.h"
#include "instance_files.h"
#include "interrupt.h"
#include "pair_probe.h"
#include "problem.h"
#include "restore_points.h"
#include "state_file.h"

namespace fihost {

namespace {

constexpr double kWatchInterval = 0.1;  // seconds between two reads of the pairs

// When each snapshot of the state file was taken, from the catalogue; a
// snapshot whose partner a later run has overwritten is refused here.
std::vector<std::string> checkNotReplaced(const StateFile& state, const std::string& path) {
  std::vector<std::string> taken;
  std::unique_ptr<Catalogue> catalogue;
  try {
    catalogue = std::make_unique<Catalogue>();
  } catch (const Problem& problem) {
    std::fprintf(stderr, "fihost: %s: cannot tell whether a later snapshot replaced these\n", problem.what());
  }
  for (const SnapshotEntry& e : state.snapshots) {
    std::string vendor, serial, ldev;
    splitUdid(e.snapshot, vendor, serial, ldev);
    std::optional<CatalogueEntry> recorded, replacer;
    if (catalogue) {
      recorded = catalogue->findSnapshot(state.session, e.snapshot);
      if (recorded && recorded->replacedBy) replacer = catalogue->find(recorded->replacedBy);
      if (!recorded) {
        // A state file the catalogue does not know (written before it, or
        // on another host): only a later run on the same partner tells.
        auto latest = catalogue->latestOn(serial, ldev);
        if (latest && latest->session != state.session && latest->started >= state.created) replacer = latest;
      }
    }
    if (replacer) {
      const std::string when = recorded ? recorded->taken : state.created;
      std::string by =
          replacer->made()
              ? "snapshot " + std::to_string(replacer->id) + " taken " + replacer->taken +
                    (replacer->stateFile.empty() ? "" : " (state file " + replacer->stateFile + ")")
              : "snapshot " + std::to_string(replacer->id) + " started " + replacer->started +
                    ", which did not complete";
      throw Problem(path + " is stale: the snapshot of " + e.device + " taken " + when + " on " + e.snapshot +
                    " was replaced by " + by + "; restoring it would copy that later data onto " + e.device +
                    ". Nothing was changed.");
    }
    taken.push_back(recorded ? recorded->taken
                             : state.created +
                                   " (not in this host's catalogue: fihost cannot tell whether a "
                                   "later snapshot replaced it)");
  }
  return taken;
}

bool confirmed(const StateFile& state, const std::vector<std::string>& taken) {
  std::fprintf(stderr, "Restore overwrites these devices with their snapshots:\n");
  for (size_t i = 0; i < state.snapshots.size(); ++i) {
    const SnapshotEntry& e = state.snapshots[i];
    std::fprintf(stderr, "  %s (%s) <- %s, taken %s\n", e.device.c_str(), e.source.c_str(),
                 e.snapshot.c_str(), taken[i].c_str());
  }
  std::fprintf(stderr, "Type yes to continue: ");
  std::string answer;
  if (!std::getline(std::cin, answer)) answer.clear();
  return answer == "yes" || answer == "y";
}

// The restore as a framework runs it: nodes given their provider states
// back, then one restore call over every source and snapshot. The plugin's
// restore returns only when every pair is split again.
void restoreInProcess(Context& context, const StateFile& state) {
  Plugin plugin(context.pluginPath);
  std::vector<std::unique_ptr<FrameworkNode>> nodes;
  std::vector<FrameworkNode*> raw;
  std::vector<std::string> sources, snapshots;
  for (const SnapshotEntry& e : state.snapshots) {
    nodes.push_back(std::make_unique<FrameworkNode>(e.source, e.method));
    raw.push_back(nodes.back().get());
    sources.push_back(nodes.back()->name());
    snapshots.push_back(e.snapshot);
  }
  FrameworkSession session(plugin, state.session, raw);
  context.require(plugin, session.initNodes(), "init_node");
  for (size_t i = 0; i < nodes.size(); ++i)
    context.require(plugin, session.setProviderState(*nodes[i], state.snapshots[i].providerState),
                    "process_providerstate (set)");
  context.require(plugin, restoreSnapshots(plugin, sources, snapshots), "restore");
  session.deinitNodes();
  context.collect(plugin);
}

// The pairs of the state file, for reading while the child restores.
std::vector<WatchedPair> watchedPairs(const StateFile& state) {
  std::vector<WatchedPair> pairs;
  for (const SnapshotEntry& e : state.snapshots) {
    WatchedPair pair;
    pair.device = e.device;
    std::string vendor, serial;
    splitUdid(e.snapshot, vendor, serial, pair.targetLdev);
    try {
      pair.source = parseProviderState(e.providerState).source;
    } catch (const Problem&) {
      // The plugin refuses it with its own message; there is nothing to watch.
    }
    pairs.push_back(pair);
  }
  return pairs;
}

class Watch {
 public:
  explicit Watch(const StateFile& state) : m_pairs(watchedPairs(state)), m_disks(hostDisks()) {
    try {
      m_library = std::make_unique<RmLibrary>();
    } catch (const Problem& problem) {
      m_libraryError = problem.what();
    }
  }
  std::vector<PairProbe> read() const {
    std::vector<PairProbe> probes;
    for (const WatchedPair& pair : m_pairs) {
      PairProbe probe;
      if (!m_library)
        probe.error = m_libraryError;
      else if (pair.source.deviceId.empty())
        probe.error = "the provider state names no source";
      else
        probe = probePair(*m_library, m_disks, pair.source, pair.targetLdev);
      probes.push_back(probe);
    }
    return probes;
  }
  const std::vector<WatchedPair>& pairs() const { return m_pairs; }
  // The array's text for what went wrong on the command device of a pair,
  // "" when it reports nothing.
  std::string reason(const WatchedPair& pair) const {
    const HostDisk* command = m_library ? commandDeviceOf(m_disks, pair.source.enclosureId) : nullptr;
    if (!command) return "";
    try {
      HeldInstance instance(instanceDirectory(), command->udid);
      RmLibrary::Attached attached(*m_library, command->name, instance.number());
      return attached.lastFailure();
    } catch (const Problem&) {
      return "";
    }
  }

 private:
  std::vector<WatchedPair> m_pairs;
  std::vector<HostDisk> m_disks;
  std::unique_ptr<RmLibrary> m_library;
  std::string m_libraryError;
};

enum class Ending { Finished, PairFailed, TimeLimit, Interrupted };

// Frees the instance numbers a killed child held: it never ran fini.
void releaseInstancesOf(pid_t child) {
  try {
    for (InstanceFile& file : readInstanceFiles(instanceDirectory())) reclaimInstanceFile(file, child);
  } catch (const Problem& problem) {
    std::fprintf(stderr, "fihost: %s\n", problem.what());
  }
}

// Runs the restore in a child process that reports its outcome as one JSON
// line on a pipe, and reads the pairs until it does.
json restoreWatched(Context& context, const StateFile& state, const Watch& watch, double timeout,
                    Ending& ending, std::vector<PairProbe>& last) {
  int channel[2];
  if (::pipe(channel) != 0) throw Problem("cannot create a pipe for the restore process");
  std::fflush(nullptr);
  pid_t child = ::fork();
  if (child < 0) throw Problem("cannot start the restore process");
  if (child == 0) {
    ::close(channel[0]);
    ::signal(SIGINT, SIG_IGN);  // the parent decides, and ends this process
    Context quiet = context;
    quiet.asJson = true;  // the parent prints what the child met
    json outcome = {{"ok", true}};
    try {
      restoreInProcess(quiet, state);
    } catch (const Problem& problem) {
      outcome = {{"ok", false}, {"error", problem.what()}};
    }
    outcome["messages"] = quiet.messagesJson();
    std::string line = outcome.dump() + "\n";
    for (size_t sent = 0; sent < line.size();) {
      ssize_t n = ::write(channel[1], line.data() + sent, line.size() - sent);
      if (n <= 0) break;
      sent += static_cast<size_t>(n);
    }
    ::_exit(0);
  }
  ::close(channel[1]);
  const bool progress = !context.asJson && ::isatty(STDERR_FILENO);
  std::string received;
  const auto start = std::chrono::steady_clock::now();
  ending = Ending::Finished;
  for (;;) {
    pollfd wait{channel[0], POLLIN, 0};
    int ready = ::poll(&wait, 1, static_cast<int>(kWatchInterval * 1000));
    if (ready > 0) {
      char buffer[4096];
      ssize_t n = ::read(channel[0], buffer, sizeof buffer);
      if (n <= 0) break;  // the child has finished
      received.append(buffer, static_cast<size_t>(n));
      continue;
    }
    if (ready < 0 && errno != EINTR) break;
    if (InterruptGuard::interrupted()) {
      ending = Ending::Interrupted;
      break;
    }
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (timeout > 0 && elapsed >= timeout) {
      ending = Ending::TimeLimit;
      break;
    }
    last = watch.read();
    std::string copying;
    for (size_t i = 0; i < last.size(); ++i) {
      const PairProbe& probe = last[i];
      if (!probe.error.empty()) continue;
      if (!probe.pair.found || !pairCanComplete(probe.pair.status)) ending = Ending::PairFailed;
      if (probe.pair.found && probe.pair.status != 4)
        copying += "  " + watch.pairs()[i].device + " " + pairStateText(probe);
    }
    if (ending == Ending::PairFailed) break;
    if (progress && !copying.empty())
      std::fprintf(stderr, "\rcopying back:%s, %.1f s ", copying.c_str(), elapsed);
  }
  if (progress) std::fprintf(stderr, "\n");
  ::close(channel[0]);
  if (ending != Ending::Finished) ::kill(child, SIGKILL);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (ending != Ending::Finished) {
    releaseInstancesOf(child);
    return json();
  }
  json outcome = json::parse(received, nullptr, false);
  if (outcome.is_discarded() || !outcome.is_object())
    throw Problem("the restore process ended without reporting (status " + std::to_string(status) + ")");
  for (const json& m : outcome["messages"]) {
    PluginMessage message;
    message.index = m.value("index", 0);
    message.severity = m.value("severity", 0);
    message.id = m.value("id", "");
    message.text = m.value("text", "");
    message.details = m.value("details", std::vector<std::string>());
    if (!context.asJson) std::fprintf(stderr, "fihost: plugin: %s\n", describe(message).c_str());
    context.messages.push_back(message);
  }
  return outcome;
}

// What the restore left behind, and what the administrator does next.
int reportUnfinished(Context& context, const RestoreOptions& options, const Watch& watch, Ending ending,
                     std::vector<PairProbe> left) {
  if (ending != Ending::PairFailed) left = watch.read();
  std::string why;
  int exitCode = kExitProblem;
  if (ending == Ending::TimeLimit) {
    why = "restore did not finish within " + std::to_string(options.timeout) +
          " s; the restore process was stopped";
    exitCode = kExitTimeLimit;
  } else if (ending == Ending::Interrupted) {
    why = "restore interrupted; the restore process was stopped";
    exitCode = kExitInterrupted;
  } else {
    why = "a pair can no longer be split again; the restore process was stopped";
  }
  json pairs = json::array();
  std::vector<std::vector<std::string>> rows = {{"DEVICE", "PAIR STATE", "NEXT"}};
  for (size_t i = 0; i < left.size(); ++i) {
    const WatchedPair& pair = watch.pairs()[i];
    const PairProbe& probe = left[i];
    const int status = probe.pair.found ? probe.pair.status : 1;
    std::string next;
    std::string reason;
    if (!probe.error.empty()) {
      next = "read the pair on the array (fihost check " + pair.device + ")";
    } else if (!pairCanComplete(status)) {
      reason = watch.reason(pair);
      next = pairStateHint(status) + "; the source holds a partial copy: restore again once repaired";
    } else if (status == 4) {
      next = "none: copied back and split";
    } else {
      next = "the array goes on copying back; run fihost restore " +
             (options.snapshotId.empty() ? options.stateFile : "--snapshot " + options.snapshotId) +
             " again to wait for it and split the pair";
    }
    json item = {{"device", pair.device},
                 {"state", !probe.error.empty() ? "unknown"
                           : probe.pair.found   ? pairStatusName(probe.pair.status)
                                                : "not paired"},
                 {"next", next}};
    if (!probe.error.empty()) item["error"] = probe.error;
    if (probe.pair.found) item["copy_rate"] = probe.pair.copyRate;
    if (!reason.empty()) item["reason"] = reason;
    pairs.push_back(item);
    rows.push_back({pair.device, pairStateText(probe) + (reason.empty() ? "" : " (" + reason + ")"), next});
  }
  if (context.asJson) {
    emit(context, {{"command", "restore"},
                   {"ok", false},
                   {"timed_out", ending == Ending::TimeLimit},
                   {"interrupted", ending == Ending::Interrupted},
                   {"error", why},
                   {"exit", exitCode},
                   {"pairs", pairs}});
  } else {
    std::fprintf(stderr, "fihost: %s\n", why.c_str());
    printTable(rows);
  }
  return exitCode;
}

}  // namespace

int runRestore(Context& context, const RestoreOptions& options) {
  // A restore point is a state file of one snapshot kept in the catalogue:
  // the same checks, confirmation and watching apply.
  StateFile state = options.snapshotId.empty() ? readStateFile(options.stateFile)
                                               : stateOfPoint(options.snapshotId, hostDisks());
  const std::vector<std::string> taken = checkNotReplaced(
      state, options.snapshotId.empty() ? options.stateFile : "snapshot " + options.snapshotId);
  if (!options.yes && !confirmed(state, taken))
    throw Problem("restore not confirmed; nothing was changed", kExitNotConfirmed);

  json list = json::array();
  for (size_t i = 0; i < state.snapshots.size(); ++i) {
    const SnapshotEntry& e = state.snapshots[i];
    list.push_back({{"device", e.device},
                    {"source", e.source},
                    {"snapshot", e.snapshot},
                    {"method", e.method},
                    {"taken", taken[i]}});
  }
  Watch watch(state);
  InterruptGuard guard;
  Ending ending = Ending::Finished;
  std::vector<PairProbe> left;
  json outcome = restoreWatched(context, state, watch, options.timeout, ending, left);
  if (ending != Ending::Finished) return reportUnfinished(context, options, watch, ending, left);
  if (!outcome.value("ok", false)) throw Problem(outcome.value("error", "restore failed"));
  if (context.asJson) {
    emit(context, {{"command", "restore"}, {"ok", true}, {"timed_out", false}, {"restored", list}});
    return 0;
  }
  for (const SnapshotEntry& e : state.snapshots)
    std::printf("restored %s from %s\n", e.device.c_str(), e.snapshot.c_str());
  return 0;
}

}  // namespace fihost
