#ifndef FIHOST_FRAMEWORK_NODES_H
#define FIHOST_FRAMEWORK_NODES_H

#include <memory>
#include <string>
#include <vector>

#include "plugin.h"
#include "zfi.h"

namespace fihost {

// The marker that makes the plugin act on a node: select and make pass
// over node names without it.
constexpr char kNodeMarker[] = "<hitachifi>";

// The name fihost gives the node of a device: the marker, then the UDID.
// The UDID reader looks for "UDID##" anywhere and ignores what stands
// before it, so the marker in front leaves the array serial and the LDEV
// intact; after the UDID it would become part of the LDEV field.
std::string nodeNameFor(const std::string& udid);

// The provider-state requests of process_providerstate.
enum ProviderStateOp { kProviderStateSet = 0, kProviderStateGet = 1 };

// One framework node of a device and its split-node record, owned by fihost
// for the life of a session. The node's object id carries the node's name,
// which is how the plugin finds the node's private data again.
class FrameworkNode {
 public:
  FrameworkNode(const std::string& udid, const std::string& method);
  ~FrameworkNode();
  FrameworkNode(const FrameworkNode&) = delete;
  FrameworkNode& operator=(const FrameworkNode&) = delete;

  const std::string& udid() const { return m_udid; }
  const std::string& name() const { return m_name; }
  const std::string& method() const { return m_method; }
  zfi_domain* domain() { return &m_domain; }
  zfi_splitnode* split() { return &m_split; }
  frim_objid* objid() { return m_objid; }
  bool ready() const { return (m_domain.flags & ZFI_NODE_READY) != 0; }

 private:
  std::string m_udid;
  std::string m_name;
  std::string m_method;
  zfi_domain m_domain{};
  zfi_splitnode m_split{};
  frim_objid* m_objid = nullptr;
};

// A snapshot session as a framework runs it: every call goes to the
// plugin's entry points with the session id and the nodes. Each call
// returns the plugin's result; a caller that sees a failure takes the
// plugin's messages with Plugin::takeMessages. isready, prepare and make
// throw Problem once a provider state has been set in this process.
class FrameworkSession {
 public:
  FrameworkSession(Plugin& plugin, const std::string& id, std::vector<FrameworkNode*> nodes);

  int initNodes();  // init_node for each node: the plugin attaches its private data
  int preselect();
  int select();
  int prepare();
  int isReady();  // marks ready nodes (FrameworkNode::ready)
  // make; on success the snapshot names (object id texts), in node order.
  int make(std::vector<std::string>& snapshots);
  // The node's provider state text (GET); throws Problem on failure.
  std::string providerState(FrameworkNode& node);
  int setProviderState(FrameworkNode& node, const std::string& text);
  void deinitNodes();

 private:
  void refuseAfterProviderState(const char* step) const;
  Plugin& m_plugin;
  std::string m_id;
  std::vector<FrameworkNode*> m_nodes;
  std::vector<zfi_splitnode*> m_splits;
};

// restore through the entry point: sources and snapshots by UDID text,
// index-aligned, with the framework's start flag.
int restoreSnapshots(Plugin& plugin, const std::vector<std::string>& sources,
                     const std::vector<std::string>& snapshots);

}  // namespace fihost

#endif
