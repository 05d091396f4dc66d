#ifndef FRIM_PDK_CFIAPIEXPORT_H
#define FRIM_PDK_CFIAPIEXPORT_H

// Generation of a plugin's exported entry points.
//
// CFI_API_EXPORT_ALL(PREFIX, PLUGIN) defines the 77 unmangled entry points
// PREFIX_fi_pgn_<operation> over the plugin class PLUGIN (a CFiPluginBase
// reached through its context singleton). Each is one CFI_API_EXPORT shell:
//   1. a function trace named after the entry point;
//   2. with DELAYED set, the plugin's once-only delayed initialisation: the
//      flag is set before delayedInit() runs, so a failure returns 1 on this
//      call only and is never retried;
//   3. the plugin's operation, whose result is returned unchanged.
// The entry points catch nothing: plugin operations turn their own failures
// into status codes. Calls must come from one thread at a time.

#include <ace/SString.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiobjctlargs.h"
#include "cfipluginbase.h"
#include "cfiprivatedatamgr.h"
#include "cfisessionmgr.h"
#include "cfitracelog.h"
#include "zfi.h"

#define CFI_EXPORT_C extern "C" __attribute__((visibility("default")))

namespace frim_pdk_4_4 {

// Entry points trace under this header's name, wherever they are generated.
constexpr char kCfiApiExportSource[] = __FILE__;

// Runs delayedInit() once per process. Returns its status on the call that
// ran it, 0 on every other call.
template <class P>
int cfiRunDelayedInit() {
  int status = 0;
  CFiSmartPtr<P, CFiContextSingletonAllocator<P>> plugin =
      CFiContextSingleton<P, FI_PLUGIN_NAME>::instance(false);
  if (!plugin->isDelayedInitDone()) {
    plugin->setDelayedInitDone(true);
    status = plugin->delayedInit();
  }
  plugin.release();
  return status;
}

// With no node array and a count of 0, a non-null single node stands in as
// a one-element array.
template <class N>
struct CFiNodeArgs {
  CFiNodeArgs(N* single, N** array, int n) : nodes(array), count(n) {
    if (array == nullptr && n == 0 && single != nullptr) {
      one[0] = single;
      nodes = one;
      count = 1;
    }
  }
  CFiNodeArgs(const CFiNodeArgs&) = delete;
  N* one[1] = {nullptr};
  N** nodes;
  int count;
};

template <class N, class Op>
int cfiWithNodes(N* single, N** array, int n, Op op) {
  CFiNodeArgs<N> args(single, array, n);
  return op(args.nodes, args.count);
}

inline CFiSessionPtr cfiSession(char const* id) {
  CFiSessionManagerPtr manager = CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(false);
  return manager->getSession(id);
}

template <class P>
int cfiSelect(P& plugin, zfi_splitnode* node, char* id, zfi_splitnode** array, int n) {
  CFiNodeArgs<zfi_splitnode> args(node, array, n);
  int status = plugin.select(id, args.nodes, args.count);
  if (status == ZFI_E_USE_SESSION) {
    CFiSessionPtr session = cfiSession(id);
    session->addNodes(args.nodes, args.count);
    return plugin.selectSnapshots(session);
  }
  if (status == ZFI_OK) {
    CFiSessionPtr session = cfiSession(id);
    session->addNodes(args.nodes, args.count);
  }
  return status;
}

template <class P>
int cfiPrepare(P& plugin, zfi_splitnode* node, char* id, zfi_splitnode** array, int n, int flags) {
  CFiNodeArgs<zfi_splitnode> args(node, array, n);
  int status = plugin.prepare(id, args.nodes, args.count, flags);
  if (status != ZFI_E_USE_SESSION) return status;
  CFiSessionPtr session = cfiSession(id);
  return plugin.prepareSnapshots(session);
}

// After a successful makeSnapshots: marks every node made and returns, in
// node order, one object id per node (the session's split node of that
// name). If an object id cannot be made the array is freed and the caller's
// pointer is null while its count stays set.
inline void cfiMakeOutput(CFiSessionPtr& session, zfi_splitnode** nodes, int count, frim_objid*** objids,
                          int* objcount) {
  std::vector<std::string> texts;
  for (int i = 0; nodes != nullptr && i < count; ++i) {
    zfi_splitnode* split = nodes[i];
    if (split == nullptr || split->node == nullptr) continue;
    split->node->flags |= ZFI_NODE_MADE;
    std::string name = split->node->name ? split->node->name : "";
    texts.push_back((*session)[name].getObjectIdText());
  }
  if (objids) *objids = nullptr;
  if (objcount) *objcount = static_cast<int>(texts.size());
  if (texts.empty() || objids == nullptr) return;
  const size_t size = texts.size() * 8;
  frim_objid** array = static_cast<frim_objid**>(frim_alloc_buf(size));
  if (array == nullptr) return;
  for (size_t i = 0; i < texts.size(); ++i) {
    array[i] = frim_get_objid(texts[i].c_str(), texts[i].size() + 1, 1);
    if (array[i] == nullptr) {
      frim_free_buf(array, size);
      return;
    }
  }
  *objids = array;
}

template <class P>
int cfiMake(P& plugin, zfi_splitnode* node, char* id, zfi_splitnode** array, int n, frim_objid*** objids,
            int* objcount) {
  CFiNodeArgs<zfi_splitnode> args(node, array, n);
  int status = plugin.make(id, args.nodes, args.count, objids, objcount);
  if (status != ZFI_E_USE_SESSION) return status;
  CFiSessionPtr session = cfiSession(id);
  status = plugin.makeSnapshots(session);
  if (status == ZFI_OK) cfiMakeOutput(session, args.nodes, args.count, objids, objcount);
  return status;
}

inline int cfiPreselect(zfi_splitnode* node, char* id, zfi_splitnode** array, int n) {
  CFiNodeArgs<zfi_splitnode> args(node, array, n);
  CFiSessionPtr session = cfiSession(id);
  session->addNodes(args.nodes, args.count);
  return ZFI_OK;
}

template <class P>
int cfiObjctl(P& plugin, char* command, char* input, char** output, long* result) {
  CFiObjctlArgs args;
  args.importArgs(input);
  long status = plugin.objctl(ACE_CString(command ? command : ""), args);
  if (result) *result = status;
  std::string exported = args.exportArgs();
  if (output) *output = ::strdup(exported.c_str());
  return ZFI_OK;
}

// Only the one form the framework uses is passed on: names and an output
// place, with no count.
template <class P>
int cfiTranslateResourceNames(P& plugin, char** names, int count, char** out) {
  if (names == nullptr || out == nullptr || count != 0) return ZFI_E_INVALID;
  return plugin.translateResourceNames(names, 0, out);
}

template <class P>
int cfiUpdateSnapshotHandle(P& plugin, char* id, zfi_snapreplica_ele* element) {
  CFiSessionPtr session = cfiSession(id);
  return plugin.updateSnapshotHandle(session, element);
}

// init: answers the interface version, sets up the kit singletons and runs
// the plugin's init. A null version record returns 7 before anything else.
template <class P>
int cfiInit(zfi_fw_info* info, zfi_version* version, char const* fimName, const ACE_CString& pluginName) {
  if (version == nullptr) return ZFI_E_VERSION;
  version->major = 7;
  version->minor = 0;
  version->update = 0;
  version->patch = 0;

  CFiSmartPtr<P, CFiContextSingletonAllocator<P>> plugin =
      CFiContextSingleton<P, FI_PLUGIN_NAME>::instance(false);
  plugin->setProviderName(pluginName);
  plugin->setFimName(fimName);
  plugin->setMessageIndexOffset(6000);

  CFiCatalogManagerPtr catalogs =
      CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
  CFiTraceLogPtr traceLog = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
  CFiErrorManagerPtr errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  CFiPrivateDataManagerPtr privateData =
      CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  CFiSessionManagerPtr sessions = CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(false);

  traceLog->setErrorManager(errors);
  privateData->registerTraceLog(traceLog);
  if (!traceLog->isInitialized()) traceLog->initialize(pluginName, ACE_CString(), ACE_CString(), 1, false);

  const char* language = nullptr;
  if (info != nullptr && info->languages != nullptr && info->languages[0] != nullptr)
    language = info->languages[0];
  if (language != nullptr) catalogs->setNativeLanguage(language);
  errors->registerHandler(new CFiErrorHandler(info, language ? language : "", catalogs));

  plugin->registerTraceLog(traceLog);
  plugin->registerErrorManager(errors);
  plugin->registerCatalogManager(catalogs);
  plugin->registerPrivateDataManager(privateData);
  plugin->registerSessionManager(sessions);
  return plugin->init();
}

// fini: runs the plugin's fini and drops the singletons' own references.
// The session manager is left to process exit.
template <class P>
void cfiFini() {
  {
    CFiSmartPtr<P, CFiContextSingletonAllocator<P>> plugin =
        CFiContextSingleton<P, FI_PLUGIN_NAME>::instance(false);
    CFiPluginBase::isShuttingDown(true);
    plugin->fini();
  }
  CFiContextSingleton<P, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
}

}  // namespace frim_pdk_4_4

// The common shell of one entry point. CALL is an expression in which
// `plugin` is the counted pointer to the plugin object.
#define CFI_API_EXPORT(PREFIX, PLUGIN, RET, ENTRY, DELAYED, PARAMS, CALL)                           \
  CFI_EXPORT_C RET PREFIX##_fi_pgn_##ENTRY PARAMS {                                                 \
    using namespace frim_pdk_4_4;                                                                   \
    CFiTraceLogFunction cfiTrace(CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false), \
                                 #PREFIX "_fi_pgn_" #ENTRY, __LINE__, kCfiApiExportSource);         \
    if ((DELAYED) && cfiRunDelayedInit<PLUGIN>() != 0) return static_cast<RET>(ZFI_E_DELAYED_INIT); \
    CFiSmartPtr<PLUGIN, CFiContextSingletonAllocator<PLUGIN>> plugin =                              \
        CFiContextSingleton<PLUGIN, FI_PLUGIN_NAME>::instance(false);                               \
    return static_cast<RET>(CALL);                                                                  \
  }

#define CFI_API_EXPORT_ALL(PREFIX, PLUGIN)                                                                   \
  CFI_EXPORT_C int PREFIX##_fi_pgn_init(zfi_fw_info* info, zfi_version* version, char const* fimName) {      \
    return frim_pdk_4_4::cfiInit<PLUGIN>(info, version, fimName, cfi_pgn_name_tstr);                         \
  }                                                                                                          \
  CFI_EXPORT_C void PREFIX##_fi_pgn_fini() {                                                                 \
    using namespace frim_pdk_4_4;                                                                            \
    CFiTraceLogFunction cfiTrace(CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false),          \
                                 #PREFIX "_fi_pgn_fini", __LINE__, kCfiApiExportSource);                     \
    cfiFini<PLUGIN>();                                                                                       \
  }                                                                                                          \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, init_altnode, 1, (zfi_domain * a0, zfi_domain * a1, zfi_domain * a2),  \
                 plugin->initAltNode(a0, a1, a2, false))                                                     \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, init_remnode, 1, (zfi_domain * a0, zfi_domain * a1, zfi_domain * a2),  \
                 plugin->initAltNode(a0, a1, a2, true))                                                      \
  CFI_API_EXPORT(PREFIX, PLUGIN, void, deinit_node, 0, (zfi_domain * a0), plugin->deInitNode(a0))            \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, quiesce, 1,                                                            \
                 (zfi_quiescenode * node, zfi_quiescenode * *nodes, int count, char* text),                  \
                 cfiWithNodes(node, nodes, count,                                                            \
                              [&](zfi_quiescenode** n, int c) { return plugin->quiesce(n, c, text); }))      \
  CFI_API_EXPORT(                                                                                            \
      PREFIX, PLUGIN, void, unquiesce, 0, (zfi_quiescenode * node, zfi_quiescenode * *nodes, int count),     \
      cfiWithNodes(node, nodes, count, [&](zfi_quiescenode** n, int c) { return plugin->unquiesce(n, c); })) \
  CFI_API_EXPORT(                                                                                            \
      PREFIX, PLUGIN, int, isready, 1, (zfi_splitnode * node, char* id, zfi_splitnode** nodes, int count),   \
      cfiWithNodes(node, nodes, count, [&](zfi_splitnode** n, int c) { return plugin->isReady(id, n, c); })) \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, verify_qscombos, 1,                                                    \
                 (zfi_splitnode * node, zfi_splitnode * *nodes, int count),                                  \
                 cfiWithNodes(node, nodes, count,                                                            \
                              [&](zfi_splitnode** n, int c) { return plugin->verifyQSCombos(n, c); }))       \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, set_import_options, 1,                                                 \
                 (zfi_splitnode * node, zfi_splitnode * *nodes, int count, zfi_host_infn* hosts,             \
                  int hostCount, void* data),                                                                \
                 cfiWithNodes(node, nodes, count, [&](zfi_splitnode** n, int c) {                            \
                   return plugin->setImportOptions(n, c, hosts, hostCount, data);                            \
                 }))                                                                                         \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, select, 1,                                                             \
                 (zfi_splitnode * node, char* id, zfi_splitnode** nodes, int count),                         \
                 cfiSelect(*plugin, node, id, nodes, count))                                                 \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, prepare, 1,                                                            \
                 (zfi_splitnode * node, char* id, zfi_splitnode** nodes, int count, int flags),              \
                 cfiPrepare(*plugin, node, id, nodes, count, flags))                                         \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, make, 1,                                                               \
                 (zfi_splitnode * node, char* id, zfi_splitnode** nodes, int count, frim_objid*** objids,    \
                  int* objcount),                                                                            \
                 cfiMake(*plugin, node, id, nodes, count, objids, objcount))                                 \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, preselect, 1,                                                          \
                 (zfi_splitnode * node, char* id, zfi_splitnode** nodes, int count),                         \
                 cfiPreselect(node, id, nodes, count))                                                       \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, cache_disable, 1, (zfi_domain * a0), plugin->cacheDisable(a0, 0))      \
  CFI_API_EXPORT(PREFIX, PLUGIN, void, cache_enable, 0, (zfi_domain * a0), plugin->cacheEnable(a0, 0))       \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, objctl, 1, (char* command, char* input, char** output, long* result),  \
                 cfiObjctl(*plugin, command, input, output, result))                                         \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, update_snapshot_handle, 1, (char* id, zfi_snapreplica_ele* element),   \
                 cfiUpdateSnapshotHandle(*plugin, id, element))                                              \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, translate_resource_names, 1, (char** names, int count, char** out),    \
                 cfiTranslateResourceNames(*plugin, names, count, out))                                      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, claim, 0, (frim_objid * a0, frim_objid * **a1, int* a2),               \
                 plugin->claim(a0, a1, a2))                                                                  \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, supports_fitype, 0, (zfi_domain * a0, char* a1),                       \
                 plugin->supportsFiType(a0, a1))                                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, deport_tree, 1,                                                        \
                 (zfi_domain * a0, zfi_domain * a1, zfi_accessnode * a2), plugin->deportTree(a0, a1, a2))    \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, import_tree, 1,                                                        \
                 (zfi_domain * a0, frim_objid * *a1, frim_objid * *a2, int a3, frim_objid** a4),             \
                 plugin->importTreeNode(a0, a1, a2, a3, a4))                                                 \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, init_node, 1,                                                          \
                 (zfi_domain * a0, zfi_domain * *a1, int a2, frim_objid* a3),                                \
                 plugin->initNode(a0, a1, a2, a3))                                                           \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, config, 1, (zfi_domain * a0, int a1, char* a2, zfi_confspec* a3),      \
                 plugin->config(a0, a1, a2, a3))                                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, reaccess_tmpobj, 0,                                                    \
                 (zfi_domain * a0, frim_objid * a1, char* a2, zfi_domain* a3, char* a4, zfi_intent a5),      \
                 plugin->reAccessTmpObj(a0, a1, a2, a3, a4, a5))                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, reaccess_altnode, 1,                                                   \
                 (zfi_domain * a0, frim_objid * a1, frim_objid * a2, char* a3, frim_objid** a4,              \
                  frim_objid** a5, int a6, zfi_intent a7),                                                   \
                 plugin->reAccessAltNode(a0, a1, a2, a3, a4, a5, a6, a7))                                    \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, dispose, 1,                                                            \
                 (zfi_domain * a0, zfi_domain * a1, zfi_splitnode * a2, zfi_disposition a3),                 \
                 plugin->dispose(a0, a1, a2, a3))                                                            \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, online, 1,                                                             \
                 (zfi_domain * a0, zfi_domain * a1, int a2, zfi_disposition a3),                             \
                 plugin->online(a0, a1, a2, a3))                                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, subobj_list, 1, (zfi_domain * a0, frim_objid * **a1, int* a2),         \
                 plugin->subobjList(a0, a1, a2))                                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, errmsg, 0, (int a0, char const** a1), plugin->errMsg(a0, a1))          \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, build_alttree, 1,                                                      \
                 (zfi_domain * a0, char* a1, frim_objid** a2, frim_objid** a3, int a4, frim_objid** a5),     \
                 plugin->buildAltTree(a0, a1, a2, a3, a4, a5))                                               \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, interpose, 1,                                                          \
                 (zfi_domain * a0, frim_objid * *a1, frim_objid * **a2, int* a3),                            \
                 plugin->interpose(a0, a1, a2, a3))                                                          \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, getattr, 1,                                                            \
                 (zfi_domain * a0, zfi_domain * a1, zfi_splitnode * a2, zfi_attributes * a3),                \
                 plugin->getAttr(a0, a1, a2, a3))                                                            \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_provider_info, 0, (zfi_provider_list * *a0),                       \
                 plugin->getProviderInfo(a0))                                                                \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enumerate_nodes, 0, (zfi_node_list * *a0, int* a1, int a2, char* a3),  \
                 plugin->enumerateNodes(a0, a1, a2, a3))                                                     \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enumerate_associations, 1, (zfi_assoc_list * *a0),                     \
                 plugin->enumerateAssociations(a0))                                                          \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enumerate_group_nodes, 1, (zfi_group_node_list * *a0),                 \
                 plugin->enumerateGroupNodes(a0))                                                            \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enumerate_fims, 0, (zfi_fim_list * *a0), plugin->enumerateFims(a0))    \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, isvalid_node_association, 1, (zfi_assoc * a0, int* a1),                \
                 plugin->isValidNodeAssociation(a0, a1))                                                     \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_associated_nodes, 1, (zfi_node * a0, zfi_node_list * *a1),         \
                 plugin->getAssociatedNodes(a0, a1))                                                         \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, check_node_existence, 1, (zfi_domain * a0, int* a1),                   \
                 plugin->checkNodeExistence(a0, a1))                                                         \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, process_providerstate, 1,                                              \
                 (zfi_domain * a0, zfi_blob * a1, zfi_op_providerstate a2),                                  \
                 plugin->processProviderState(a0, a1, a2))                                                   \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_last_error, 0, (zfi_msg_info * *a0), plugin->getLastError(a0))     \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, del_last_error, 0, (zfi_msg_info * *a0), plugin->delLastError(a0))     \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_locale_message, 0,                                                 \
                 (int* a0, zfi_msg_info* a1, char const* a2, char** a3),                                     \
                 plugin->getLocaleMessage(a0, a1, a2, a3))                                                   \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, del_locale_message, 0, (char** a0), plugin->delLocaleMessage(a0))      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enable_access, 1,                                                      \
                 (zfi_node_subobj_list * a0, long a1, int a2, int a3), plugin->enableAccess(a0, a1, a2, a3)) \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, disable_access, 1, (zfi_node_subobj_list * a0, long a1),               \
                 plugin->disableAccess(a0, a1))                                                              \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, restore, 1,                                                            \
                 (frim_objid * *a0, frim_objid * *a1, long a2, char* a3, char* a4, char*** a5, long* a6,     \
                  long a7, long* a8),                                                                        \
                 plugin->restore(a0, a1, a2, a3, a4, a5, a6, a7, a8))                                        \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, resync, 1,                                                             \
                 (frim_objid * *a0, frim_objid * *a1, long a2, char* a3, char* a4, long a5, long* a6),       \
                 plugin->resync(a0, a1, a2, a3, a4, a5, a6))                                                 \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_status, 1,                                                         \
                 (frim_objid * *a0, frim_objid * *a1, long a2, char* a3, long a4, long* a5),                 \
                 plugin->getStatus(a0, a1, a2, a3, a4, a5))                                                  \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, pre_prepare, 1, (zfi_domain * a0), plugin->prePrepare(a0))             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, query_valid_secondaries, 1, (char* a0, frim_objid*** a1, long* a2),    \
                 plugin->queryValidSecondaries(a0, a1, a2))                                                  \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, res_status, 1,                                                         \
                 (frim_objid * a0, long a1, long* a2, zfi_msg_info** a3),                                    \
                 plugin->resourceStatus(a0, a1, a2, a3))                                                     \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, revisit_pgn_nodes, 0, (zfi_pgn_node_list * a0),                        \
                 plugin->revisitPluginNodes(a0))                                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, start_build_alttree, 1, (zfi_domain * a0, frim_objid * *a1, void* a2), \
                 plugin->startBuildAltTree(a0, a1, a2))                                                      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enumerate_enclosures, 0,                                               \
                 (zfi_enclosure_node_list * *a0, int* a1, char* a2),                                         \
                 plugin->enumerateEnclosures(a0, a1, a2))                                                    \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, import_resource, 1,                                                    \
                 (char** a0, char* a1, char* a2, char* a3, int a4, char** a5, char* a6),                     \
                 plugin->importResource(a0, a1, a2, a3, a4, a5, a6))                                         \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, format, 1,                                                             \
                 (char** a0, int a1, char* a2, char* a3, char* a4, int a5, char*** a6, int* a7),             \
                 plugin->format(a0, a1, a2, a3, a4, a5, a6, a7))                                             \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, enumerate_host_nodes, 0,                                               \
                 (zfi_host_node_list * *a0, int* a1, char* a2), plugin->enumerateHostNodes(a0, a1, a2))      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, online_resource, 1,                                                    \
                 (char** a0, int a1, char* a2, char* a3, char* a4, char* a5, int a6, char*** a7, int* a8),   \
                 plugin->onlineResource(a0, a1, a2, a3, a4, a5, a6, a7, a8))                                 \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, deport_resource, 1, (char* a0, char* a1, char* a2, char* a3, int a4),  \
                 plugin->deportResource(a0, a1, a2, a3, a4))                                                 \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, is_parent_pgn, 1, (char* a0, int* a1, int a2),                         \
                 plugin->isParentPgn(a0, a1, a2))                                                            \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, unformat, 1, (char** a0, int a1, int a2),                              \
                 plugin->unformat(a0, a1, a2))                                                               \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, pre_deport_resource, 1, (char* a0, int a1, char* a2),                  \
                 plugin->preDeportResource(a0, a1, a2))                                                      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, refresh_tree, 1,                                                       \
                 (zfi_domain * a0, int a1, int a2, zfi_resource* a3, int a4, int* a5, void* a6, int a7),     \
                 plugin->refreshTree(a0, a1, a2, a3, a4, a5, a6, a7))                                        \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_backupset, 1,                                                      \
                 (zfi_domain * a0, int a1, char** a2, int a3, zfi_bkupset* a4),                              \
                 plugin->getBackupset(a0, a1, a2, a3, a4))                                                   \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_app_status, 1, (zfi_domain * a0, int a1, void* a2),                \
                 plugin->getAppStatus(a0, a1, a2))                                                           \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, set_op_status, 1, (zfi_domain * a0, int a1),                           \
                 plugin->setOpStatus(a0, a1))                                                                \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, set_comp_status, 1, (zfi_domain * a0, int a1, char* a2, int a3),       \
                 plugin->setCompStatus(a0, a1, a2, a3))                                                      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, set_restorepaths, 1, (zfi_domain * a0, char* a1, int a2),              \
                 plugin->setRestorepaths(a0, a1, a2))                                                        \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, createSnapReplicaNode, 1, (zfi_domain * a0, zfi_snapreplica_ele * a1), \
                 plugin->createSnapReplicaNode(a0, a1))                                                      \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, update_snapshot_id, 1,                                                 \
                 (zfi_domain * a0, zfi_domain * a1, zfi_snapreplica_ele * a2, int a3),                       \
                 plugin->updateSnapshotId(a0, a1, a2, a3))                                                   \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, getSnapshotSetId, 1, (zfi_domain * a0, char** a1),                     \
                 plugin->getSnapshotSetId(a0, a1))                                                           \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, get_snapdiff, 1,                                                       \
                 (zfi_domain * a0, zfi_snapreplica_ele * a1, zfi_snapreplica_ele * a2, TrieNode_ * a3),      \
                 plugin->getSnapdiff(a0, a1, a2, a3))                                                        \
  CFI_API_EXPORT(PREFIX, PLUGIN, int, post_deport, 1, (zfi_domain * a0, zfi_domain * a1),                    \
                 plugin->postDeport(a0, a1))

#endif
