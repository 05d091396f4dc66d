#ifndef FRIM_PDK_CFISESSIONMGR_H
#define FRIM_PDK_CFISESSIONMGR_H

#include <ace/SString.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cfismartptr.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

// One node of a snapshot job, with a done flag per phase. A flag only ever
// goes from 0 to 1, which is what lets a repeated select, prepare or make
// skip the nodes it already finished.
class CFiSplitNode {
 public:
  CFiSplitNode() = default;
  CFiSplitNode(const ACE_CString& name, const std::string& fimName) : m_name(name), m_fimName(fimName) {}

  // The object-id text that make returns for the node: the snapshot's name
  // once make has set it, the node's own name before.
  std::string getObjectIdText() const {
    const ACE_CString& text = m_secondName.length() != 0 ? m_secondName : m_name;
    return std::string(text.c_str(), text.length());
  }

  ACE_CString m_name;        // the framework node's name (marker and UDID text)
  ACE_CString m_secondName;  // the snapshot's name, set by make
  std::string m_fimName;     // the snapshot method chosen for the node
  int makeDone = 0;
  int selectDone = 0;
  int prepareDone = 0;
  int updateDone = 0;
};

// Phases of getSplitNodeList.
enum : int { FI_PHASE_SELECT = 1, FI_PHASE_PREPARE = 2, FI_PHASE_MAKE = 3, FI_PHASE_UPDATE = 4 };

// Session code traces under this header's name, wherever it is compiled.
constexpr char kCfiSessionTraceSource[] = __FILE__;

// The nodes of one snapshot job, keyed by node name (bytewise order).
class CFiSession : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  explicit CFiSession(const std::string& id = std::string());
  ~CFiSession() override;

  const std::string& getId() const { return m_id; }

  // Adds each node not yet in the session (name from the node record, FIM
  // name from the split node's first member). Nodes already present keep
  // their flags and second name. Null entries and nodes without a name are
  // passed over. A node that has no private data yet gets it from the
  // factory registered with the private data manager (none registered:
  // none given), so that the operations find it by the node's name.
  void addNodes(zfi_splitnode** nodes, int count);

  // Copies of the nodes whose flag for `phase` (FI_PHASE_*) is 0, in key
  // order; any other phase gives an empty list.
  std::vector<CFiSplitNode> getSplitNodeList(int phase);

  // The node of that name, created empty if absent.
  CFiSplitNode& operator[](const std::string& name) { return m_nodes[name]; }
  std::map<std::string, CFiSplitNode>& getSplitNodeMap() { return m_nodes; }
  size_t size() const { return m_nodes.size(); }

  // Order of last use among the manager's sessions, and when that was
  // (seconds on the manager's clock).
  uint64_t lastUse() const { return m_lastUse; }
  uint64_t lastUseTime() const { return m_lastUseTime; }
  void touch(uint64_t tick, uint64_t time) {
    m_lastUse = tick;
    m_lastUseTime = time;
  }

 private:
  std::string m_id;
  std::map<std::string, CFiSplitNode> m_nodes;
  uint64_t m_lastUse = 0;
  uint64_t m_lastUseTime = 0;
};

using CFiSessionPtr = CFiSmartPtr<CFiSession, CFiNullAllocator<CFiSession>>;

// Hands out sessions by the framework's session id.
//
// A session is the only record of what select and prepare did for a job, so
// the manager never forgets one that a framework can still use: a session
// is forgotten when it has been untouched (no select, preselect, prepare,
// make or update_snapshot_handle of its id) for kIdleSeconds, a week, which
// covers the longest resynchronisation between select and make. Idle
// sessions are swept when a new id arrives (traced at level 3 with the id).
// A safety cap of kMaxSessions keeps a host that starts jobs faster than
// they age from growing without bound: a new id over the cap forces out the
// least recently used session, traced at level 1 with its id, since a job
// of that id that comes back finds its session gone. A session that someone
// still holds survives being forgotten until it is released. A framework
// that knows a job has ended can call forgetSession at once.
class CFiSessionManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  static constexpr size_t kMaxSessions = 4096;
  static constexpr uint64_t kIdleSeconds = 7 * 24 * 3600;
  // Seconds on a clock that never goes back.
  using Clock = uint64_t (*)();

  CFiSessionManager();
  ~CFiSessionManager() override;

  // The session for `id` (null is taken as ""), created on first use.
  virtual CFiSessionPtr getSession(char const* id);
  // Returns whether a session of that id was known.
  bool forgetSession(char const* id);
  size_t size() const { return m_sessions.size(); }
  // Replaces the clock idle time is measured on (the monotonic clock).
  void setClock(Clock clock) { m_clock = clock; }

 private:
  void forgetIdleSessions(uint64_t now);
  void forgetLeastRecentlyUsed();
  CFiTraceLogPtr traceLog();

  std::map<std::string, CFiSessionPtr> m_sessions;
  Clock m_clock;
  uint64_t m_tick = 0;
};

using CFiSessionManagerPtr = CFiSmartPtr<CFiSessionManager, CFiContextSingletonAllocator<CFiSessionManager>>;

}  // namespace frim_pdk_4_4

#endif
