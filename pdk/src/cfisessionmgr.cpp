#include "cfisessionmgr.h"

#include <chrono>

#include "cficontextsingleton.h"
#include "cfiprivatedatamgr.h"

namespace frim_pdk_4_4 {

CFiSession::CFiSession(const std::string& id) : m_id(id) {}
CFiSession::~CFiSession() = default;

namespace {

// The factory the plugin registered for its nodes' private data; empty
// before the plugin's init.
CFiPrivateDataFactoryPtr privateDataFactory() {
  CFiPrivateDataManagerPtr manager =
      CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  return manager->getFactory();
}

}  // namespace

void CFiSession::addNodes(zfi_splitnode** nodes, int count) {
  if (nodes == nullptr) return;
  CFiPrivateDataFactoryPtr factory = privateDataFactory();
  for (int i = 0; i < count; ++i) {
    zfi_splitnode* split = nodes[i];
    if (split == nullptr || split->node == nullptr || split->node->name == nullptr) continue;
    // allocate() keeps what the node already has.
    if (factory) factory->allocate(split->node, false);
    std::string name(split->node->name);
    if (m_nodes.count(name) != 0) continue;
    m_nodes.emplace(name, CFiSplitNode(ACE_CString(name.c_str()), split->fim_name ? split->fim_name : ""));
  }
}

namespace {

// Each phase's done flag and the line traced for a node still to do.
struct PhaseFlag {
  int CFiSplitNode::*done;
  const char* line;
};

const PhaseFlag* phaseFlag(int phase) {
  static const PhaseFlag kFlags[] = {
      {&CFiSplitNode::selectDone, "DBG : Found selectDone zero, adding node"},
      {&CFiSplitNode::prepareDone, "DBG : Found prepareDone zero, adding node"},
      {&CFiSplitNode::makeDone, "DBG : Found makeDone zero, adding node"},
      {&CFiSplitNode::updateDone, "DBG : Found updateDone zero, adding node"},
  };
  if (phase < FI_PHASE_SELECT || phase > FI_PHASE_UPDATE) return nullptr;
  return &kFlags[phase - FI_PHASE_SELECT];
}

}  // namespace

std::vector<CFiSplitNode> CFiSession::getSplitNodeList(int phase) {
  CFiTraceLogFunction trace(m_traceLog, "getSplitNodeList", __LINE__, kCfiSessionTraceSource);
  std::vector<CFiSplitNode> list;
  const PhaseFlag* flag = phaseFlag(phase);
  if (flag == nullptr) return list;
  for (auto& entry : m_nodes) {
    const CFiSplitNode& node = entry.second;
    if (node.*(flag->done) != 0) continue;
    if (m_traceLog) m_traceLog->trace(FI_TRACE_DETAIL, "%s", flag->line);
    list.push_back(node);
  }
  return list;
}

namespace {

uint64_t monotonicSeconds() {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

}  // namespace

CFiSessionManager::CFiSessionManager() : m_clock(&monotonicSeconds) {}
CFiSessionManager::~CFiSessionManager() = default;

CFiTraceLogPtr CFiSessionManager::traceLog() {
  return m_traceLog ? m_traceLog : CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
}

void CFiSessionManager::forgetIdleSessions(uint64_t now) {
  for (auto it = m_sessions.begin(); it != m_sessions.end();) {
    const uint64_t used = it->second->lastUseTime();
    if (now < used || now - used < kIdleSeconds) {
      ++it;
      continue;
    }
    traceLog()->trace(FI_TRACE_DETAIL,
                      "CFiSessionManager::getSession : forgetting session '%s', idle for %llu s",
                      it->first.c_str(), static_cast<unsigned long long>(now - used));
    it = m_sessions.erase(it);
  }
}

void CFiSessionManager::forgetLeastRecentlyUsed() {
  auto oldest = m_sessions.begin();
  for (auto it = m_sessions.begin(); it != m_sessions.end(); ++it) {
    if (it->second->lastUse() < oldest->second->lastUse()) oldest = it;
  }
  traceLog()->trace(FI_TRACE_ERROR,
                    "CFiSessionManager::getSession : %zu sessions in use, forgetting the least recently used "
                    "session '%s'",
                    m_sessions.size(), oldest->first.c_str());
  m_sessions.erase(oldest);
}

CFiSessionPtr CFiSessionManager::getSession(char const* id) {
  std::string key = id ? id : "";
  const uint64_t now = m_clock();
  ++m_tick;
  auto found = m_sessions.find(key);
  if (found != m_sessions.end()) {
    found->second->touch(m_tick, now);
    return found->second;
  }
  forgetIdleSessions(now);
  if (m_sessions.size() >= kMaxSessions) forgetLeastRecentlyUsed();
  CFiSessionPtr session(new CFiSession(key));
  session->registerTraceLog(traceLog());
  session->touch(m_tick, now);
  m_sessions.emplace(key, session);
  return session;
}

bool CFiSessionManager::forgetSession(char const* id) { return m_sessions.erase(id ? id : "") != 0; }

}  // namespace frim_pdk_4_4
