// fihost restore: the snapshots of a state file copied back onto their
// source devices.
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>

#include "context.h"
#include "framework_nodes.h"
#include "host_disks.h"
#include "pair_probe.h"
#include "problem.h"
#include "state_file.h"

namespace fihost {

namespace {

bool confirmed(const StateFile& state) {
  std::fprintf(stderr, "Restore overwrites these devices with their snapshots:\n");
  for (const SnapshotEntry& e : state.snapshots)
    std::fprintf(stderr, "  %s (%s) <- %s\n", e.device.c_str(), e.source.c_str(), e.snapshot.c_str());
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

// What was left when the wait ended: each pair's state as the array tells it.
json pairsLeft(const StateFile& state) {
  json list = json::array();
  std::vector<HostDisk> disks = hostDisks();
  std::unique_ptr<RmLibrary> library;
  std::string libraryError;
  try {
    library = std::make_unique<RmLibrary>();
  } catch (const Problem& problem) {
    libraryError = problem.what();
  }
  for (const SnapshotEntry& e : state.snapshots) {
    json item = {{"device", e.device}, {"source", e.source}, {"snapshot", e.snapshot}};
    std::string vendor, serial, ldev;
    try {
      if (!library) throw Problem(libraryError);
      ProviderState recorded = parseProviderState(e.providerState);
      splitUdid(e.snapshot, vendor, serial, ldev);
      PairProbe probe = probePair(*library, disks, recorded.source, ldev);
      if (!probe.error.empty()) throw Problem(probe.error);
      item["state"] = probe.pair.found ? pairStatusName(probe.pair.status) : "not paired";
      if (probe.pair.found) item["copy_rate"] = probe.pair.copyRate;
    } catch (const Problem& problem) {
      item["state"] = "unknown";
      item["error"] = problem.what();
    }
    list.push_back(item);
  }
  return list;
}

// Runs the restore in a child process and waits at most `timeout` seconds.
// The child reports its outcome as one JSON line on a pipe.
json restoreWithTimeout(Context& context, const StateFile& state, double timeout, bool& timedOut) {
  int channel[2];
  if (::pipe(channel) != 0) throw Problem("cannot create a pipe for the restore process");
  std::fflush(nullptr);
  pid_t child = ::fork();
  if (child < 0) throw Problem("cannot start the restore process");
  if (child == 0) {
    ::close(channel[0]);
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
  std::string received;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeout);
  timedOut = false;
  for (;;) {
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      timedOut = true;
      break;
    }
    pollfd wait{channel[0], POLLIN, 0};
    int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) continue;
    char buffer[4096];
    ssize_t n = ::read(channel[0], buffer, sizeof buffer);
    if (n <= 0) break;  // the child has finished
    received.append(buffer, static_cast<size_t>(n));
  }
  ::close(channel[0]);
  if (timedOut) ::kill(child, SIGKILL);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (timedOut) return json();
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

}  // namespace

int runRestore(Context& context, const RestoreOptions& options) {
  StateFile state = readStateFile(options.stateFile);
  if (!options.yes && !confirmed(state)) throw Problem("restore not confirmed; nothing was changed");

  json list = json::array();
  for (const SnapshotEntry& e : state.snapshots)
    list.push_back(
        {{"device", e.device}, {"source", e.source}, {"snapshot", e.snapshot}, {"method", e.method}});
  if (options.timeout <= 0) {
    restoreInProcess(context, state);
  } else {
    bool timedOut = false;
    json outcome = restoreWithTimeout(context, state, options.timeout, timedOut);
    if (timedOut) {
      json left = pairsLeft(state);
      if (context.asJson) {
        emit(context, {{"command", "restore"},
                       {"ok", false},
                       {"timed_out", true},
                       {"error", "restore did not finish within " + std::to_string(options.timeout) + " s"},
                       {"pairs", left}});
      } else {
        std::fprintf(stderr, "fihost: restore did not finish within %g s; the restore process was stopped\n",
                     options.timeout);
        std::vector<std::vector<std::string>> rows = {{"DEVICE", "SNAPSHOT", "PAIR STATE"}};
        for (const json& p : left)
          rows.push_back({p["device"], p["snapshot"],
                          p.value("state", "unknown") +
                              (p.contains("error") ? " (" + p["error"].get<std::string>() + ")" : "")});
        printTable(rows);
      }
      return kExitProblem;
    }
    if (!outcome.value("ok", false)) throw Problem(outcome.value("error", "restore failed"));
  }
  if (context.asJson) {
    emit(context, {{"command", "restore"}, {"ok", true}, {"timed_out", false}, {"restored", list}});
    return 0;
  }
  for (const SnapshotEntry& e : state.snapshots)
    std::printf("restored %s from %s\n", e.device.c_str(), e.snapshot.c_str());
  return 0;
}

}  // namespace fihost
