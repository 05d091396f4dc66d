#include "framework_nodes.h"

#include <cstdlib>
#include <cstring>

#include "problem.h"

namespace fihost {

namespace {

frim_objid* newObjid(const std::string& text) { return frim_get_objid(text.c_str(), text.size() + 1, 0); }

void freeObjid(frim_objid* objid) {
  if (!objid) return;
  std::free(objid->name);
  std::free(objid);
}

}  // namespace

std::string nodeNameFor(const std::string& udid) { return kNodeMarker + udid; }

FrameworkNode::FrameworkNode(const std::string& udid, const std::string& method)
    : m_udid(udid), m_name(nodeNameFor(udid)), m_method(method) {
  m_objid = newObjid(m_name);
  if (!m_objid) throw Problem("out of memory");
  m_domain.name = const_cast<char*>(m_name.c_str());
  m_domain.objid = m_objid;
  m_split.fim_name = const_cast<char*>(m_method.c_str());
  m_split.node = &m_domain;
}

FrameworkNode::~FrameworkNode() { freeObjid(m_objid); }

FrameworkSession::FrameworkSession(Plugin& plugin, const std::string& id, std::vector<FrameworkNode*> nodes)
    : m_plugin(plugin), m_id(id), m_nodes(std::move(nodes)) {
  for (FrameworkNode* node : m_nodes) m_splits.push_back(node->split());
}

int FrameworkSession::initNodes() {
  auto initNode = m_plugin.entry<int (*)(zfi_domain*, zfi_domain**, int, frim_objid*)>("init_node");
  for (FrameworkNode* node : m_nodes) {
    int rc = initNode(node->domain(), nullptr, 0, node->objid());
    // A plugin that keeps nothing per node answers "not supported"; the
    // framework goes on without private data then, and so does fihost.
    if (rc != 0 && rc != ZFI_E_NOT_SUPPORTED) return rc;
  }
  return 0;
}

void FrameworkSession::deinitNodes() {
  auto deinitNode = m_plugin.entry<void (*)(zfi_domain*)>("deinit_node");
  for (FrameworkNode* node : m_nodes) deinitNode(node->domain());
}

int FrameworkSession::preselect() {
  auto call = m_plugin.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("preselect");
  return call(nullptr, const_cast<char*>(m_id.c_str()), m_splits.data(), static_cast<int>(m_splits.size()));
}

int FrameworkSession::select() {
  auto call = m_plugin.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("select");
  return call(nullptr, const_cast<char*>(m_id.c_str()), m_splits.data(), static_cast<int>(m_splits.size()));
}

void FrameworkSession::refuseAfterProviderState(const char* step) const {
  if (m_plugin.providerStateSet())
    throw Problem(std::string(step) +
                  " after a provider state was set in this process would address the "
                  "wrong LUN; fihost does not do it");
}

int FrameworkSession::prepare() {
  refuseAfterProviderState("prepare");
  auto call = m_plugin.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>("prepare");
  return call(nullptr, const_cast<char*>(m_id.c_str()), m_splits.data(), static_cast<int>(m_splits.size()),
              0);
}

int FrameworkSession::isReady() {
  refuseAfterProviderState("isready");
  auto call = m_plugin.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("isready");
  return call(nullptr, const_cast<char*>(m_id.c_str()), m_splits.data(), static_cast<int>(m_splits.size()));
}

int FrameworkSession::make(std::vector<std::string>& snapshots) {
  refuseAfterProviderState("make");
  auto call =
      m_plugin.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*)>("make");
  frim_objid** objids = nullptr;
  int count = 0;
  int rc = call(nullptr, const_cast<char*>(m_id.c_str()), m_splits.data(), static_cast<int>(m_splits.size()),
                &objids, &count);
  snapshots.clear();
  if (objids != nullptr) {
    for (int i = 0; i < count; ++i) {
      snapshots.push_back(objids[i] && objids[i]->name ? objids[i]->name : "");
      freeObjid(objids[i]);
    }
    frim_free_buf(objids, static_cast<size_t>(count) * 8);
  }
  if (rc == 0 && snapshots.size() != m_nodes.size())
    throw Problem("make returned " + std::to_string(snapshots.size()) + " snapshot names for " +
                  std::to_string(m_nodes.size()) + " devices");
  return rc;
}

std::string FrameworkSession::providerState(FrameworkNode& node) {
  auto call = m_plugin.entry<int (*)(zfi_domain*, zfi_blob*, int)>("process_providerstate");
  zfi_blob blob{};
  int rc = call(node.domain(), &blob, kProviderStateGet);
  std::string text;
  if (blob.data != nullptr && blob.length > 0)
    text.assign(static_cast<const char*>(blob.data),
                ::strnlen(static_cast<const char*>(blob.data), blob.length));
  std::free(blob.data);  // strdup'ed by the plugin
  if (rc != 0)
    throw Problem("the plugin's provider state of " + node.udid() + " failed with " + std::to_string(rc));
  if (text.empty()) throw Problem("the plugin gave an empty provider state for " + node.udid());
  return text;
}

int FrameworkSession::setProviderState(FrameworkNode& node, const std::string& text) {
  auto call = m_plugin.entry<int (*)(zfi_domain*, zfi_blob*, int)>("process_providerstate");
  std::string copy = text;
  zfi_blob blob{};
  blob.length = copy.size() + 1;
  blob.data = &copy[0];
  m_plugin.noteProviderStateSet();
  return call(node.domain(), &blob, kProviderStateSet);
}

int restoreSnapshots(Plugin& plugin, const std::vector<std::string>& sources,
                     const std::vector<std::string>& snapshots) {
  auto call =
      plugin.entry<int (*)(frim_objid**, frim_objid**, long, char*, char*, char***, long*, long, long*)>(
          "restore");
  std::vector<frim_objid*> sourceIds, snapshotIds;
  for (size_t i = 0; i < sources.size(); ++i) {
    sourceIds.push_back(newObjid(sources[i]));
    snapshotIds.push_back(newObjid(snapshots[i]));
  }
  char** paths = nullptr;
  long count = 0, status = 0;
  int rc = call(sourceIds.data(), snapshotIds.data(), static_cast<long>(sources.size()), nullptr, nullptr,
                &paths, &count, ZFI_RESTORE_START, &status);
  for (frim_objid* id : sourceIds) freeObjid(id);
  for (frim_objid* id : snapshotIds) freeObjid(id);
  return rc;
}

}  // namespace fihost
