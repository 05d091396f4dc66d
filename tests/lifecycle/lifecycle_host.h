#ifndef TESTS_LIFECYCLE_LIFECYCLE_HOST_H
#define TESTS_LIFECYCLE_LIFECYCLE_HOST_H

// A framework host for the snapshot lifecycle: the real plugin loaded with
// dlopen over a private simulator state, driven through its exported C
// entry points only. Shared by the lifecycle tests and benchmark.

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host_node.h"
#include "rmsim.h"
#include "zfi.h"

// A message the plugin reported: id and arguments ("S:text" / "I:number").
struct HostMessage {
  std::string id;
  std::vector<std::string> args;
};

class LifecycleHost {
 public:
  // Loads `model` (the default model when empty) and initialises the plugin.
  explicit LifecycleHost(const std::string& model = std::string(), int traceLevel = 6);
  ~LifecycleHost();
  LifecycleHost(const LifecycleHost&) = delete;
  LifecycleHost& operator=(const LifecycleHost&) = delete;

  rmsim::Simulator& sim() { return *m_sim; }

  // A node named "<hitachifi>UDID##<vendor>##<product>##<serial>##<ldev>".
  HostNode& node(const std::string& name, const std::string& fim);
  static std::string marked(const std::string& udid) { return "<hitachifi>" + udid; }

  int select(const std::string& session, const std::vector<HostNode*>& nodes);
  int prepare(const std::string& session, const std::vector<HostNode*>& nodes);
  int isready(const std::vector<HostNode*>& nodes);
  // The object-id names that make returned (empty when it returned none).
  int make(const std::string& session, const std::vector<HostNode*>& nodes, std::vector<std::string>* names);

  // Every message reported since the last call, oldest first.
  std::vector<HostMessage> messages();
  // The pending messages as text, for a failing assertion (drains them).
  std::string describeMessages();
  std::vector<std::string> traced(const std::string& text) const {
    return tracedLines(m_dir + "/trace.log", text);
  }
  // The journal since the last call, then cleared.
  std::vector<rmsim::CallRecord> calls();
  // The `ldevArg`s of the getrminfo calls among `made`.
  static std::vector<std::string> infos(const std::vector<rmsim::CallRecord>& made);

  template <class Fn>
  Fn entry(const char* op) {
    return reinterpret_cast<Fn>(symbol(op));
  }

 private:
  void* symbol(const char* op);
  std::string m_dir;
  std::unique_ptr<rmsim::Simulator> m_sim;
  void* m_handle = nullptr;
  std::deque<std::unique_ptr<HostNode>> m_nodes;
};

#endif
