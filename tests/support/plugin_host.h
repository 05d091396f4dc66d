#ifndef TESTS_SUPPORT_PLUGIN_HOST_H
#define TESTS_SUPPORT_PLUGIN_HOST_H

// A framework host for the plugin's tests: the real libhitachifi.so loaded
// with dlopen over a private simulated host, reached only through its
// exported C entry points, and everything the outside world sees of it read
// back: results, messages, trace lines with their levels, node flags, object
// ids, the provider-state text and the simulator's journal of RMLIB calls.
// Shared by the scenario files, the sweeps and the lifecycle benchmark.

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

// A message the plugin reported: its id, arguments ("S:text" / "I:number"),
// the catalogue's text, where ("SEVERITY FILE:LINE") and its index, and the
// texts get_locale_message gives in German (no texts of its own) and in the
// framework's language (null); "<failed>" when a call of the framework's
// failed or a length was wrong.
struct HostMessage {
  std::string id;
  std::vector<std::string> args;
  std::string text, where;
  int index = 0;
  std::vector<std::string> localeTexts;
  std::string str() const;  // "ID ARG ARG..."
};

class PluginHost {
 public:
  // In a fresh temporary folder (removed on destruction): the simulator's
  // state file with `model` (the default model when empty), its sysfs tree,
  // the cache and trace folders and a hosts file naming this host db1, and
  // the environment pointing the plugin, fihost and rmsim at them (no
  // configured targets). Then loads and initialises the plugin with a trace
  // at `traceLevel`, the framework's language en_US.
  explicit PluginHost(const std::string& model = std::string(), int traceLevel = 6);
  ~PluginHost();
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;

  rmsim::Simulator& sim() { return *m_sim; }
  const std::string& dir() const { return m_dir.path; }

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
  // Restores each (source, snapshot) pair of UDIDs ("-": a null entry).
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
  int listCall(const char* op, const char* session, const std::vector<HostNode*>& nodes);
  struct Folder {  // removed with everything in it, last
    std::string path;
    ~Folder();
  } m_dir;
  std::unique_ptr<rmsim::Simulator> m_sim;
  void* m_handle = nullptr;
  std::deque<std::unique_ptr<HostNode>> m_nodes;
};

#endif
