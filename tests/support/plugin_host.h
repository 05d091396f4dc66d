#ifndef TESTS_SUPPORT_PLUGIN_HOST_H
#define TESTS_SUPPORT_PLUGIN_HOST_H

// A framework host for the plugin's tests: the real libhitachifi.so loaded
// with dlopen over a private simulated host, reached only through its
// exported C entry points, and everything the outside world sees of it read
// back: results, messages, trace lines with their levels, node flags, object
// ids, the provider-state text and the simulator's journal of RMLIB calls.
// Shared by the lifecycle, restore, sweep and fihost tests and the lifecycle
// benchmark.

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "rmsim_records.h"
#include "zfi.h"

namespace rmsim {
class Simulator;  // rmsim.h: its RMLIB record names clash with the plugin's own headers
}

// A private simulated host in a fresh temporary folder: the simulator's
// state file, a sysfs tree, the cache and trace folders and a hosts file,
// and the environment that points the plugin, fihost and rmsim at them
// (the host name `hostName`, no configured targets). Removed on destruction.
class SimulatedHost {
 public:
  explicit SimulatedHost(const std::string& hostName = "db1");
  ~SimulatedHost();
  SimulatedHost(const SimulatedHost&) = delete;
  SimulatedHost& operator=(const SimulatedHost&) = delete;

  const std::string& dir() const { return m_dir; }
  std::string db() const { return m_dir + "/rmsim.db"; }
  std::string sysfs() const { return m_dir + "/sys"; }
  std::string cacheDir() const { return m_dir + "/cache"; }
  std::string traceDir() const { return m_dir + "/log"; }

 private:
  std::string m_dir;
};

// One framework node: the object id's name equals the node's name (the
// plugin keys private data by it) and an alternate (snapshot-side) node.
struct HostNode {
  HostNode(const std::string& nodeName, const std::string& fimName);
  HostNode(const HostNode&) = delete;
  HostNode& operator=(const HostNode&) = delete;

  std::string name, fim, altName, objidName;
  frim_objid objid{};
  frim_objid altObjid{};
  zfi_domain domain{};
  zfi_domain alt{};
  zfi_splitnode split{};
};

// A message the plugin reported: its id, arguments ("S:text" / "I:number")
// and the catalogue's text.
struct HostMessage {
  std::string id;
  std::vector<std::string> args;
  std::string text;
  std::string str() const;  // "ID ARG ARG..."
};

class PluginHost {
 public:
  // Loads `model` (the default model when empty), writes its sysfs tree and
  // loads and initialises the plugin with a trace at `traceLevel`.
  explicit PluginHost(const std::string& model = std::string(), int traceLevel = 6);
  ~PluginHost();
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;

  rmsim::Simulator& sim() { return *m_sim; }
  const std::string& dir() const { return m_host->dir(); }
  std::string tracePath() const;

  // Unloads the plugin and loads it afresh, as a new framework process would
  // (the sysfs tree rewritten from the simulator's model first).
  void reload();

  // A node as a framework makes it: init_node and init_altnode give it and
  // its alternate their private data (unless `bare`). Lives as long as the host.
  HostNode& node(const std::string& name, const std::string& fim, bool bare = false);
  static std::string marked(const std::string& udid) { return "<hitachifi>" + udid; }

  int select(const std::string& session, const std::vector<HostNode*>& nodes);
  int prepare(const std::string& session, const std::vector<HostNode*>& nodes);
  int isready(const std::vector<HostNode*>& nodes);
  // The object-id names make returned are appended to `names` (when given).
  int make(const std::string& session, const std::vector<HostNode*>& nodes, std::vector<std::string>* names);
  // Restores each (source, snapshot) pair of UDIDs.
  int restore(const std::vector<std::pair<std::string, std::string>>& pairs, long flags = 0);
  int restore(frim_objid** sources, frim_objid** snapshots, long count, long flags = 0);
  // Provider state. get: the text ("" for none); kBadBlock when the block
  // handed back is not a whole text with its length and no flags, or keeps
  // what a reused block held. set: the first `length` bytes of `text` in a
  // block of exactly that size (0: all and its terminator).
  static const int kBadBlock = -100;
  int getState(zfi_domain* node, std::string* text);
  int setState(zfi_domain* node, const std::string& text, size_t length = 0);
  int providerState(zfi_domain* node, zfi_blob* block, int op);
  int import(const std::string& name, const std::string& resource, int flags);

  // Every message reported since the last call, oldest first (taken).
  std::vector<HostMessage> messages();
  // The trace lines, as "L<level> <message>", that hold `text`.
  std::vector<std::string> traced(const std::string& text) const;
  // Every trace line from byte `from` of the trace on, as "L<level> <message>".
  std::vector<std::string> traceLines(size_t from = 0) const;
  size_t traceSize() const;
  // The journal since the last call, then cleared.
  std::vector<rmsim::CallRecord> calls();

  void* symbol(const std::string& op) const;  // null when not exported
  template <class Fn>
  Fn entry(const std::string& op) const {
    return reinterpret_cast<Fn>(symbol(op));
  }

 private:
  void load();
  void unload();
  std::unique_ptr<SimulatedHost> m_host;
  std::unique_ptr<rmsim::Simulator> m_sim;
  void* m_handle = nullptr;
  std::deque<std::unique_ptr<HostNode>> m_nodes;
};

#endif
