// Kit defaults of every framework operation a plugin does not override.
#include "cfipluginbase.h"

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "cfisessionmgr.h"

namespace frim_pdk_4_4 {

namespace {

bool g_shuttingDown = false;

// The registered managers are held as raw pointers that own one count each.
template <class T>
void assignCounted(T*& slot, T* object) {
  if (slot == object) return;
  if (object) object->increment();
  T* old = slot;
  slot = object;
  if (old) {
    CFiSmartPtr<T, CFiNullAllocator<T>> last(old);  // +1, so release() below does the delete
    old->decrement();
    last.release();
  }
}

template <class T, class U>
void setNull(T** out, U* count) {
  if (out) *out = nullptr;
  if (count) *count = 0;
}

}  // namespace

CFiPblmOps::CFiPblmOps() = default;
CFiPblmOps::~CFiPblmOps() = default;
void CFiPblmOps::record(const std::string& node, const std::string& problem) {
  m_problems.emplace(node, problem);
}

CFiPluginBase::CFiPluginBase() = default;

CFiPluginBase::~CFiPluginBase() {
  assignCounted<CFiErrorManager>(m_errorManager, nullptr);
  assignCounted<CFiMessageCatalogManager>(m_catalogManager, nullptr);
  assignCounted<CFiSessionManager>(m_sessionManager, nullptr);
  m_privateDataManager.release();
}

void CFiPluginBase::registerErrorManager(const CFiErrorManagerPtr& manager) {
  assignCounted(m_errorManager, manager.get());
}
void CFiPluginBase::registerCatalogManager(const CFiCatalogManagerPtr& manager) {
  assignCounted(m_catalogManager, manager.get());
}
void CFiPluginBase::registerPrivateDataManager(const CFiPrivateDataManagerPtr& manager) {
  m_privateDataManager = manager;
}
void CFiPluginBase::registerSessionManager(const CFiSessionManagerPtr& manager) {
  assignCounted(m_sessionManager, manager.get());
}

bool CFiPluginBase::isShuttingDown(bool shuttingDown) {
  if (shuttingDown) g_shuttingDown = true;
  return g_shuttingDown;
}
bool CFiPluginBase::isShuttingDown() { return g_shuttingDown; }

// No bounds check: valid indices are 0 and 1.
CFiConfigParamInfo* CFiPluginBase::globalConfigInfoList(int index, bool second) {
  return &m_configInfo[second ? 1 : 0][index];
}

void CFiPluginBase::fini() {}

int CFiPluginBase::errMsg(int code, char const** text) {
  if (text == nullptr) return ZFI_E_INVALID;
  switch (code) {
    case ZFI_OK:
      *text = "success";
      break;
    case ZFI_E_DELAYED_INIT:
      *text = "delayed initialisation failed";
      break;
    case ZFI_E_INVALID:
      *text = "invalid argument or refused request";
      break;
    case ZFI_E_USE_SESSION:
      *text = "use the session form of the operation";
      break;
    case ZFI_E_NO_PRIVDATA:
      *text = "private data cannot be allocated";
      break;
    case ZFI_E_REPORTED:
      *text = "failure reported through the error manager";
      break;
    case ZFI_E_VERSION:
      *text = "no version record";
      break;
    case ZFI_E_NOT_SUPPORTED:
      *text = "operation not supported by this provider";
      break;
    case ZFI_E_RMLIB:
      *text = "the RAID Manager library cannot be initialised";
      break;
    default:
      *text = "unknown status";
      break;
  }
  return ZFI_OK;
}

int CFiPluginBase::subobjList(zfi_domain*, frim_objid*** list, int* count) {
  setNull(list, count);
  return ZFI_OK;
}
int CFiPluginBase::enumerateNodes(zfi_node_list** list, int* count, int, char*) {
  setNull(list, count);
  return ZFI_OK;
}
int CFiPluginBase::enumerateAssociations(zfi_assoc_list** list) {
  setNull(list, static_cast<int*>(nullptr));
  return ZFI_OK;
}
int CFiPluginBase::enumerateGroupNodes(zfi_group_node_list** list) {
  setNull(list, static_cast<int*>(nullptr));
  return ZFI_OK;
}
int CFiPluginBase::getAssociatedNodes(zfi_node*, zfi_node_list** list) {
  setNull(list, static_cast<int*>(nullptr));
  return ZFI_OK;
}
int CFiPluginBase::enumerateEnclosures(zfi_enclosure_node_list** list, int* count, char*) {
  setNull(list, count);
  return ZFI_OK;
}
int CFiPluginBase::enumerateHostNodes(zfi_host_node_list** list, int* count, char*) {
  setNull(list, count);
  return ZFI_OK;
}
int CFiPluginBase::queryValidSecondaries(char*, frim_objid*** list, long* count) {
  setNull(list, count);
  return ZFI_OK;
}
int CFiPluginBase::getProviderInfo(zfi_provider_list** list) {
  setNull(list, static_cast<int*>(nullptr));
  return ZFI_OK;
}
int CFiPluginBase::enumerateFims(zfi_fim_list** list) {
  setNull(list, static_cast<int*>(nullptr));
  return ZFI_OK;
}
int CFiPluginBase::getSnapshotSetId(zfi_domain*, char** id) {
  setNull(id, static_cast<int*>(nullptr));
  return ZFI_E_NOT_SUPPORTED;
}

int CFiPluginBase::getLastError(zfi_msg_info** info) {
  if (m_errorManager == nullptr) {
    if (info) *info = nullptr;
    return ZFI_E_INVALID;
  }
  m_errorManager->setMessageIndexOffset(m_messageIndexOffset);  // catalog index + offset
  return m_errorManager->getLastError(info);
}
int CFiPluginBase::delLastError(zfi_msg_info** info) {
  if (m_errorManager == nullptr) return ZFI_E_INVALID;
  return m_errorManager->delLastError(info);
}
int CFiPluginBase::getLocaleMessage(int* length, zfi_msg_info* info, char const* locale, char** text) {
  if (m_errorManager == nullptr) {
    if (text) *text = nullptr;
    if (length) *length = 0;
    return ZFI_E_INVALID;
  }
  return m_errorManager->getLocaleMessage(length, info, locale, text);
}
int CFiPluginBase::delLocaleMessage(char** text) {
  if (m_errorManager == nullptr) return ZFI_E_INVALID;
  return m_errorManager->delLocaleMessage(text);
}

CFiPluginInterposer::CFiPluginInterposer() = default;
CFiPluginInterposer::~CFiPluginInterposer() = default;

int CFiPluginInterposer::claim(frim_objid*, frim_objid*** claimed, int* count) {
  setNull(claimed, count);
  return ZFI_OK;
}
int CFiPluginInterposer::interpose(zfi_domain*, frim_objid**, frim_objid*** list, int* count) {
  setNull(list, count);
  return ZFI_OK;
}
int CFiPluginInterposer::checkNodeExistence(zfi_domain* node, int* exists) {
  if (exists) *exists = node != nullptr ? 1 : 0;
  return ZFI_OK;
}
void CFiPluginInterposer::addIgnoreNodeType(int type) { m_ignoredNodeTypes.insert(type); }
void CFiPluginInterposer::setDefaultNodeType(int type) { m_defaultNodeType = type; }
bool CFiPluginInterposer::isIgnoredNodeType(int type) const { return m_ignoredNodeTypes.count(type) != 0; }

namespace {

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

bool CFiPluginInterposer::isGroupNode(ACE_CString udid) {
  const std::string text(udid.c_str(), udid.length());
  for (const auto& entry : m_fims) {
    if (entry.second.m_name.empty() && startsWith(text, entry.first)) return true;
  }
  return false;
}

void CFiPluginInterposer::addGroupNodePrefix(const std::string& prefix) {
  m_fims.emplace(prefix,
                 CFiFimDefinition{prefix, std::string(), std::string(), m_groupNodeType, std::string()});
}

void CFiPluginInterposer::addFim(std::string udidPrefix, std::string fimName, std::string quiesceMode,
                                 int level, std::string text) {
  m_fims.emplace(udidPrefix, CFiFimDefinition{udidPrefix, fimName, quiesceMode, level, text});
}

std::vector<CFiFimDefinition> CFiPluginInterposer::getFims() const {
  std::vector<CFiFimDefinition> fims;
  for (const auto& entry : m_fims) {
    if (!entry.second.m_name.empty()) fims.push_back(entry.second);
  }
  return fims;
}

std::vector<CFiFimDefinition> CFiPluginInterposer::fimsForUdid(const std::string& udid) const {
  std::vector<CFiFimDefinition> matching;
  for (const CFiFimDefinition& fim : getFims()) {
    if (startsWith(udid, fim.m_udidPrefix)) matching.push_back(fim);
  }
  return matching;
}

// Everything below: not offered by the kit (ZFI_E_NOT_SUPPORTED), nothing to
// do (ZFI_OK), or the node-list form that defers to the session form (4).
int CFiPluginBase::delayedInit() { return ZFI_OK; }
int CFiPluginBase::init() { return ZFI_OK; }
int CFiPluginInterposer::supportsFiType(zfi_domain*, char*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::deportTree(zfi_domain*, zfi_domain*, zfi_accessnode*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginInterposer::importTreeNode(zfi_domain*, frim_objid**, frim_objid**, int, frim_objid**) {
  return ZFI_E_NOT_SUPPORTED;
}
// Node initialisation gives the node its private data before any snapshot
// operation needs it: 0, 3 without a node, 5 when it cannot be had (no
// factory registered: the plugin was not initialised).
namespace {

int allocateFor(const CFiPrivateDataManagerPtr& manager, zfi_domain* node, bool isAltNode) {
  if (node == nullptr) return ZFI_E_INVALID;
  CFiPrivateDataManagerPtr registered =
      manager ? manager : CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  const CFiPrivateDataFactoryPtr& factory = registered->getFactory();
  if (!factory || !factory->allocate(node, isAltNode)) return ZFI_E_NO_PRIVDATA;
  return ZFI_OK;
}

}  // namespace

int CFiPluginInterposer::initNode(zfi_domain* node, zfi_domain**, int, frim_objid*) {
  return allocateFor(getPrivateDataManager(), node, false);
}
// The second node is the alternate (snapshot-side) one, local or remote.
int CFiPluginInterposer::initAltNode(zfi_domain*, zfi_domain* altNode, zfi_domain*, bool) {
  return allocateFor(getPrivateDataManager(), altNode, true);
}
int CFiPluginBase::reAccessTmpObj(zfi_domain*, frim_objid*, char*, zfi_domain*, char*, zfi_intent) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::reAccessAltNode(zfi_domain*, frim_objid*, frim_objid*, char*, frim_objid**, frim_objid**,
                                   int, zfi_intent) {
  return ZFI_E_NOT_SUPPORTED;
}
// What init_node, init_altnode, init_remnode or select attached to the node
// goes with it, so private data lives as long as the framework's node.
int CFiPluginInterposer::deInitNode(zfi_domain* node) {
  CFiPrivateDataManagerPtr manager = getPrivateDataManager();
  CFiPrivateDataFactoryPtr factory = manager ? manager->getFactory() : CFiPrivateDataFactoryPtr();
  if (factory && node != nullptr) factory->deallocate(node);
  return ZFI_OK;
}
int CFiPluginBase::dispose(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_disposition) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::online(zfi_domain*, zfi_domain*, int, zfi_disposition) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::buildAltTree(zfi_domain*, char*, frim_objid**, frim_objid**, int, frim_objid**) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::quiesce(zfi_quiescenode**, int, char*) { return ZFI_OK; }
int CFiPluginBase::unquiesce(zfi_quiescenode**, int) { return ZFI_OK; }
int CFiPluginBase::make(char*, zfi_splitnode**, int, frim_objid***, int*) { return ZFI_E_USE_SESSION; }
int CFiPluginBase::makeSnapshots(CFiSessionPtr&) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::prepare(char*, zfi_splitnode**, int, int) { return ZFI_E_USE_SESSION; }
int CFiPluginBase::prepareSnapshots(CFiSessionPtr&) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::select(char*, zfi_splitnode**, int) { return ZFI_E_USE_SESSION; }
int CFiPluginBase::selectSnapshots(CFiSessionPtr&) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::isReady(char*, zfi_splitnode**, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::cacheDisable(zfi_domain*, int) { return ZFI_OK; }
int CFiPluginBase::cacheEnable(zfi_domain*, int) { return ZFI_OK; }
int CFiPluginBase::cacheFlush(zfi_domain*, int) { return ZFI_OK; }
int CFiPluginBase::getAttr(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_attributes*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::isValidNodeAssociation(zfi_assoc*, int*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::objctl(ACE_CString, CFiObjctlArgs&) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::processProviderState(zfi_domain*, zfi_blob*, zfi_op_providerstate) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::enableAccess(zfi_node_subobj_list*, long, int, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::disableAccess(zfi_node_subobj_list*, long) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::restore(frim_objid**, frim_objid**, long, char*, char*, char***, long*, long, long*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::resync(frim_objid**, frim_objid**, long, char*, char*, long, long*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::getStatus(frim_objid**, frim_objid**, long, char*, long, long*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::prePrepare(zfi_domain*) { return ZFI_OK; }
int CFiPluginBase::resourceStatus(frim_objid*, long, long*, zfi_msg_info**) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::revisitPluginNodes(zfi_pgn_node_list*) { return ZFI_OK; }
int CFiPluginBase::verifyQSCombos(zfi_splitnode**, int) { return ZFI_OK; }
int CFiPluginBase::setImportOptions(zfi_splitnode**, int, zfi_host_infn*, int, void*) { return ZFI_OK; }
int CFiPluginBase::startBuildAltTree(zfi_domain*, frim_objid**, void*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::translateResourceNames(char**, int, char**) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginInterposer::importResource(char** resourceNames, char* nodeName, char*, char*, int importFlags,
                                        char**, char*) {
  std::vector<ACE_CString> names;
  for (char** name = resourceNames; name != nullptr && *name != nullptr; ++name) names.push_back(*name);
  return importNode(ACE_CString(nodeName != nullptr ? nodeName : ""), names, false, false, false,
                    importFlags);
}
int CFiPluginInterposer::importNode(ACE_CString, std::vector<ACE_CString>, bool, bool, bool, int) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::format(char**, int, char*, char*, char*, int, char***, int*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::onlineResource(char**, int, char*, char*, char*, char*, int, char***, int*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginInterposer::deportResource(char*, char*, char*, char*, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::isParentPgn(char*, int*, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::unformat(char**, int, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::preDeportResource(char*, int, char*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::refreshTree(zfi_domain*, int, int, zfi_resource*, int, int*, void*, int) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::getBackupset(zfi_domain*, int, char**, int, zfi_bkupset*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::getAppStatus(zfi_domain*, int, void*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::setOpStatus(zfi_domain*, int) { return ZFI_OK; }
int CFiPluginBase::setCompStatus(zfi_domain*, int, char*, int) { return ZFI_OK; }
int CFiPluginBase::setRestorepaths(zfi_domain*, char*, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::createSnapReplicaNode(zfi_domain*, zfi_snapreplica_ele*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::updateSnapshotId(zfi_domain*, zfi_domain*, zfi_snapreplica_ele*, int) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::preselect(zfi_splitnode*, char*, zfi_splitnode**, int) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::updateSnapshotHandle(CFiSessionPtr&, zfi_snapreplica_ele*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::getSnapdiff(zfi_domain*, zfi_snapreplica_ele*, zfi_snapreplica_ele*, TrieNode_*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::postDeport(zfi_domain*, zfi_domain*) { return ZFI_OK; }

// The base has no node model; the interposer layer answers these.
int CFiPluginBase::claim(frim_objid*, frim_objid***, int*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::supportsFiType(zfi_domain*, char*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::importTreeNode(zfi_domain*, frim_objid**, frim_objid**, int, frim_objid**) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::initNode(zfi_domain*, zfi_domain**, int, frim_objid*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::initAltNode(zfi_domain*, zfi_domain*, zfi_domain*, bool) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::deInitNode(zfi_domain*) { return ZFI_OK; }
int CFiPluginBase::interpose(zfi_domain*, frim_objid**, frim_objid***, int*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::checkNodeExistence(zfi_domain*, int*) { return ZFI_E_NOT_SUPPORTED; }
int CFiPluginBase::importResource(char**, char*, char*, char*, int, char**, char*) {
  return ZFI_E_NOT_SUPPORTED;
}
int CFiPluginBase::deportResource(char*, char*, char*, char*, int) { return ZFI_E_NOT_SUPPORTED; }
void CFiPluginBase::addIgnoreNodeType(int) {}
void CFiPluginBase::setDefaultNodeType(int) {}

}  // namespace frim_pdk_4_4
