// fihost snapshot: a snapshot taken as a framework takes it.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <thread>

#include "context.h"
#include "framework_nodes.h"
#include "host_disks.h"
#include "problem.h"
#include "state_file.h"

namespace fihost {

namespace {

std::string utcNow() {
  char text[32];
  std::time_t now = std::time(nullptr);
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
  return text;
}

// Asks isready until every node is ready or the wait is over; on a terminal
// the elapsed time and the count of ready devices are shown as it goes.
void waitUntilReady(Context& context, Plugin& plugin, FrameworkSession& session,
                    const std::vector<std::unique_ptr<FrameworkNode>>& nodes,
                    const SnapshotOptions& options) {
  const bool progress = !context.asJson && ::isatty(STDERR_FILENO);
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    context.require(plugin, session.isReady(), "isready");
    size_t ready = 0;
    for (const auto& node : nodes) ready += node->ready() ? 1 : 0;
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (progress)
      std::fprintf(stderr, "\rwaiting for the pairs: %zu of %zu ready, %.1f s", ready, nodes.size(), elapsed);
    if (ready == nodes.size()) break;
    if (elapsed + options.interval > options.wait) {
      if (progress) std::fprintf(stderr, "\n");
      std::string waiting;
      for (const auto& node : nodes)
        if (!node->ready()) waiting += (waiting.empty() ? "" : ", ") + node->udid();
      throw Problem("not ready after " + std::to_string(static_cast<int>(elapsed)) + " s: " + waiting +
                    " (the pair is still copying, or in a state a split cannot use; see fihost check)");
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(options.interval));
  }
  if (progress) std::fprintf(stderr, "\n");
}

}  // namespace

int runSnapshot(Context& context, const SnapshotOptions& options) {
  std::vector<HostDisk> disks = hostDisks();
  std::vector<DeviceName> devices;
  for (const std::string& given : options.devices) devices.push_back(resolveDevice(given, disks));

  Plugin plugin(context.pluginPath);
  std::vector<std::unique_ptr<FrameworkNode>> nodes;
  std::vector<FrameworkNode*> raw;
  for (const DeviceName& device : devices) {
    const std::string method = options.method.empty() ? defaultMethod(device.vendor) : options.method;
    nodes.push_back(std::make_unique<FrameworkNode>(device.udid, method));
    raw.push_back(nodes.back().get());
  }
  StateFile state;
  state.created = utcNow();
  state.session = "fihost-" + std::to_string(::getpid()) + "-" + std::to_string(std::time(nullptr));
  FrameworkSession session(plugin, state.session, raw);

  context.require(plugin, session.initNodes(), "init_node");
  context.require(plugin, session.preselect(), "preselect");
  context.require(plugin, session.select(), "select");
  context.require(plugin, session.prepare(), "prepare");
  waitUntilReady(context, plugin, session, nodes, options);
  std::vector<std::string> snapshots;
  context.require(plugin, session.make(snapshots), "make");

  json list = json::array();
  for (size_t i = 0; i < nodes.size(); ++i) {
    SnapshotEntry entry;
    entry.device = devices[i].given;
    entry.node = nodes[i]->name();
    entry.source = nodes[i]->udid();
    entry.snapshot = snapshots[i];
    entry.method = nodes[i]->method();
    entry.providerState = session.providerState(*nodes[i]);
    state.snapshots.push_back(entry);
    list.push_back({{"device", entry.device},
                    {"disk", devices[i].disk},
                    {"node", entry.node},
                    {"source", entry.source},
                    {"snapshot", entry.snapshot},
                    {"method", entry.method}});
  }
  session.deinitNodes();
  context.collect(plugin);  // warnings the plugin may have left on the way
  if (!options.stateFile.empty()) writeStateFile(options.stateFile, state);

  if (context.asJson) {
    emit(context, {{"command", "snapshot"},
                   {"ok", true},
                   {"session", state.session},
                   {"state_file", options.stateFile},
                   {"snapshots", list}});
    return 0;
  }
  std::vector<std::vector<std::string>> rows = {{"DEVICE", "METHOD", "SOURCE", "SNAPSHOT"}};
  for (const SnapshotEntry& e : state.snapshots) rows.push_back({e.device, e.method, e.source, e.snapshot});
  printTable(rows);
  if (!options.stateFile.empty()) std::printf("provider states written to %s\n", options.stateFile.c_str());
  return 0;
}

}  // namespace fihost
