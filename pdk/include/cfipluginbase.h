#ifndef FRIM_PDK_CFIPLUGINBASE_H
#define FRIM_PDK_CFIPLUGINBASE_H

#include <ace/SString.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "cficonfigparam.h"
#include "cfismartptr.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

class CFiErrorManager;
class CFiMessageCatalogManager;
class CFiPrivateDataManager;
class CFiSessionManager;
class CFiSession;
class CFiObjctlArgs;

using CFiSessionPtr = CFiSmartPtr<CFiSession, CFiNullAllocator<CFiSession>>;
using CFiErrorManagerPtr = CFiSmartPtr<CFiErrorManager, CFiContextSingletonAllocator<CFiErrorManager>>;
using CFiCatalogManagerPtr =
    CFiSmartPtr<CFiMessageCatalogManager, CFiContextSingletonAllocator<CFiMessageCatalogManager>>;
using CFiPrivateDataManagerPtr =
    CFiSmartPtr<CFiPrivateDataManager, CFiContextSingletonAllocator<CFiPrivateDataManager>>;
using CFiSessionManagerPtr = CFiSmartPtr<CFiSessionManager, CFiContextSingletonAllocator<CFiSessionManager>>;

// A snapshot method (FIM) the plugin offers for devices whose UDID starts
// with `m_udidPrefix`.
struct CFiFimDefinition {
  std::string m_udidPrefix;
  std::string m_name;
  std::string m_quiesceMode;
  int m_level;
  std::string m_text;
};

// Problem operations of the kit; the plugin only constructs and destroys it.
class CFiPblmOps {
 public:
  CFiPblmOps();
  ~CFiPblmOps();
  // Problems recorded against nodes, by node name.
  void record(const std::string& node, const std::string& problem);
  const std::multimap<std::string, std::string>& problems() const { return m_problems; }

 private:
  std::multimap<std::string, std::string> m_problems;
};

// Base of every provider plugin: one virtual operation per framework
// operation, in the framework's slot order, each with a kit default.
//
// Defaults: the node-list forms of select, prepare and make return 4 so that
// the entry points run the session form; operations with nothing to do
// (cache control, quiesce, deinit, status notifications) return 0;
// enumerations and queries store empty results and return 0; error and
// message retrieval forward to the registered error manager; everything
// else returns ZFI_E_NOT_SUPPORTED (8).
class CFiPluginBase : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiPluginBase();
  ~CFiPluginBase() override;  // slot 1
  CFiPluginBase(const CFiPluginBase&) = delete;
  CFiPluginBase& operator=(const CFiPluginBase&) = delete;

  virtual int delayedInit();                                                                    // slot 2
  virtual CFiConfigParamInfo* globalConfigInfoList(int, bool);                                  // slot 3
  virtual int init();                                                                           // slot 4
  virtual void fini();                                                                          // slot 5
  virtual int claim(frim_objid*, frim_objid***, int*);                                          // slot 6
  virtual int supportsFiType(zfi_domain*, char*);                                               // slot 7
  virtual int deportTree(zfi_domain*, zfi_domain*, zfi_accessnode*);                            // slot 8
  virtual int importTreeNode(zfi_domain*, frim_objid**, frim_objid**, int, frim_objid**);       // slot 9
  virtual int initNode(zfi_domain*, zfi_domain**, int, frim_objid*);                            // slot 10
  virtual int config(zfi_domain*, int, char*, zfi_confspec*);                                   // slot 11
  virtual int initAltNode(zfi_domain*, zfi_domain*, zfi_domain*, bool);                         // slot 12
  virtual int reAccessTmpObj(zfi_domain*, frim_objid*, char*, zfi_domain*, char*, zfi_intent);  // slot 13
  virtual int reAccessAltNode(zfi_domain*, frim_objid*, frim_objid*, char*, frim_objid**, frim_objid**, int,
                              zfi_intent);                                                      // slot 14
  virtual int deInitNode(zfi_domain*);                                                          // slot 15
  virtual int dispose(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_disposition);               // slot 16
  virtual int online(zfi_domain*, zfi_domain*, int, zfi_disposition);                           // slot 17
  virtual int subobjList(zfi_domain*, frim_objid***, int*);                                     // slot 18
  virtual int errMsg(int, char const**);                                                        // slot 19
  virtual int buildAltTree(zfi_domain*, char*, frim_objid**, frim_objid**, int, frim_objid**);  // slot 20
  virtual int quiesce(zfi_quiescenode**, int, char*);                                           // slot 21
  virtual int unquiesce(zfi_quiescenode**, int);                                                // slot 22
  virtual int make(char*, zfi_splitnode**, int, frim_objid***, int*);                           // slot 23
  virtual int makeSnapshots(CFiSessionPtr&);                                                    // slot 24
  virtual int prepare(char*, zfi_splitnode**, int, int);                                        // slot 25
  virtual int prepareSnapshots(CFiSessionPtr&);                                                 // slot 26
  virtual int select(char*, zfi_splitnode**, int);                                              // slot 27
  virtual int selectSnapshots(CFiSessionPtr&);                                                  // slot 28
  virtual int isReady(char*, zfi_splitnode**, int);                                             // slot 29
  virtual int cacheDisable(zfi_domain*, int);                                                   // slot 30
  virtual int cacheEnable(zfi_domain*, int);                                                    // slot 31
  virtual int cacheFlush(zfi_domain*, int);                                                     // slot 32
  virtual int interpose(zfi_domain*, frim_objid**, frim_objid***, int*);                        // slot 33
  virtual int getAttr(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_attributes*);               // slot 34
  virtual int getProviderInfo(zfi_provider_list**);                                             // slot 35
  virtual int enumerateNodes(zfi_node_list**, int*, int, char*);                                // slot 36
  virtual int enumerateAssociations(zfi_assoc_list**);                                          // slot 37
  virtual int enumerateGroupNodes(zfi_group_node_list**);                                       // slot 38
  virtual int enumerateFims(zfi_fim_list**);                                                    // slot 39
  virtual int isValidNodeAssociation(zfi_assoc*, int*);                                         // slot 40
  virtual int getAssociatedNodes(zfi_node*, zfi_node_list**);                                   // slot 41
  virtual int checkNodeExistence(zfi_domain*, int*);                                            // slot 42
  virtual int objctl(ACE_CString, CFiObjctlArgs&);                                              // slot 43
  virtual int processProviderState(zfi_domain*, zfi_blob*, zfi_op_providerstate);               // slot 44
  virtual int getLastError(zfi_msg_info**);                                                     // slot 45
  virtual int delLastError(zfi_msg_info**);                                                     // slot 46
  virtual int getLocaleMessage(int*, zfi_msg_info*, char const*, char**);                       // slot 47
  virtual int delLocaleMessage(char**);                                                         // slot 48
  virtual int enableAccess(zfi_node_subobj_list*, long, int, int);                              // slot 49
  virtual int disableAccess(zfi_node_subobj_list*, long);                                       // slot 50
  virtual int restore(frim_objid**, frim_objid**, long, char*, char*, char***, long*, long,
                      long*);                                                                    // slot 51
  virtual int resync(frim_objid**, frim_objid**, long, char*, char*, long, long*);               // slot 52
  virtual int getStatus(frim_objid**, frim_objid**, long, char*, long, long*);                   // slot 53
  virtual int prePrepare(zfi_domain*);                                                           // slot 54
  virtual int queryValidSecondaries(char*, frim_objid***, long*);                                // slot 55
  virtual int resourceStatus(frim_objid*, long, long*, zfi_msg_info**);                          // slot 56
  virtual int revisitPluginNodes(zfi_pgn_node_list*);                                            // slot 57
  virtual int verifyQSCombos(zfi_splitnode**, int);                                              // slot 58
  virtual int setImportOptions(zfi_splitnode**, int, zfi_host_infn*, int, void*);                // slot 59
  virtual int startBuildAltTree(zfi_domain*, frim_objid**, void*);                               // slot 60
  virtual int translateResourceNames(char**, int, char**);                                       // slot 61
  virtual int enumerateEnclosures(zfi_enclosure_node_list**, int*, char*);                       // slot 62
  virtual int importResource(char**, char*, char*, char*, int, char**, char*);                   // slot 63
  virtual int format(char**, int, char*, char*, char*, int, char***, int*);                      // slot 64
  virtual int enumerateHostNodes(zfi_host_node_list**, int*, char*);                             // slot 65
  virtual int onlineResource(char**, int, char*, char*, char*, char*, int, char***, int*);       // slot 66
  virtual int deportResource(char*, char*, char*, char*, int);                                   // slot 67
  virtual int isParentPgn(char*, int*, int);                                                     // slot 68
  virtual int unformat(char**, int, int);                                                        // slot 69
  virtual int preDeportResource(char*, int, char*);                                              // slot 70
  virtual int refreshTree(zfi_domain*, int, int, zfi_resource*, int, int*, void*, int);          // slot 71
  virtual int getBackupset(zfi_domain*, int, char**, int, zfi_bkupset*);                         // slot 72
  virtual int getAppStatus(zfi_domain*, int, void*);                                             // slot 73
  virtual int setOpStatus(zfi_domain*, int);                                                     // slot 74
  virtual int setCompStatus(zfi_domain*, int, char*, int);                                       // slot 75
  virtual int setRestorepaths(zfi_domain*, char*, int);                                          // slot 76
  virtual int createSnapReplicaNode(zfi_domain*, zfi_snapreplica_ele*);                          // slot 77
  virtual int updateSnapshotId(zfi_domain*, zfi_domain*, zfi_snapreplica_ele*, int);             // slot 78
  virtual int getSnapshotSetId(zfi_domain*, char**);                                             // slot 79
  virtual int preselect(zfi_splitnode*, char*, zfi_splitnode**, int);                            // slot 80
  virtual int updateSnapshotHandle(CFiSessionPtr&, zfi_snapreplica_ele*);                        // slot 81
  virtual int getSnapdiff(zfi_domain*, zfi_snapreplica_ele*, zfi_snapreplica_ele*, TrieNode_*);  // slot 82
  virtual int postDeport(zfi_domain*, zfi_domain*);                                              // slot 83
  virtual void addIgnoreNodeType(int);                                                           // slot 84
  virtual void setDefaultNodeType(int);                                                          // slot 85

  void setProviderName(const ACE_CString& name) { m_providerName = name; }
  const ACE_CString& getProviderName() const { return m_providerName; }
  void setFimName(char const* name) { m_fimName = name ? name : ""; }
  const std::string& getFimName() const { return m_fimName; }
  void setMessageIndexOffset(long offset) { m_messageIndexOffset = static_cast<int>(offset); }
  int getMessageIndexOffset() const { return m_messageIndexOffset; }

  // Each keeps a counted reference for the kit defaults.
  void registerErrorManager(const CFiErrorManagerPtr& manager);
  void registerCatalogManager(const CFiCatalogManagerPtr& manager);
  void registerPrivateDataManager(const CFiPrivateDataManagerPtr& manager);
  void registerSessionManager(const CFiSessionManagerPtr& manager);
  CFiErrorManager* getErrorManager() const { return m_errorManager; }
  CFiMessageCatalogManager* getCatalogManager() const { return m_catalogManager; }
  const CFiPrivateDataManagerPtr& getPrivateDataManager() const { return m_privateDataManager; }
  CFiSessionManager* getSessionManager() const { return m_sessionManager; }

  // The plugin's configuration parameters (declared by init).
  CFiConfigParamInfoList& getConfigParamList() { return m_configParams; }

  // Only the exported entry points set the flag, before they run delayedInit.
  bool isDelayedInitDone() const { return m_delayedInitDone; }
  void setDelayedInitDone(bool done) { m_delayedInitDone = done; }

  // Records that the process is shutting down (true) and answers whether it is.
  static bool isShuttingDown(bool shuttingDown);
  static bool isShuttingDown();

 private:
  ACE_CString m_providerName;
  CFiErrorManager* m_errorManager = nullptr;             // counted reference
  CFiMessageCatalogManager* m_catalogManager = nullptr;  // counted reference
  CFiPrivateDataManagerPtr m_privateDataManager;
  CFiSessionManager* m_sessionManager = nullptr;  // counted reference
  CFiConfigParamInfo m_configInfo[2][2];
  std::string m_fimName;
  int m_messageIndexOffset = 6000;
  bool m_delayedInitDone = false;
  CFiConfigParamInfoList m_configParams;
};

// The kit's interposer layer: node types, group nodes and the table of
// snapshot methods by UDID prefix.
class CFiPluginInterposer : public CFiPluginBase {
 public:
  CFiPluginInterposer();
  ~CFiPluginInterposer() override;

  int claim(frim_objid*, frim_objid***, int*) override;
  int supportsFiType(zfi_domain*, char*) override;
  int importTreeNode(zfi_domain*, frim_objid**, frim_objid**, int, frim_objid**) override;
  int initNode(zfi_domain*, zfi_domain**, int, frim_objid*) override;
  int initAltNode(zfi_domain*, zfi_domain*, zfi_domain*, bool) override;
  int deInitNode(zfi_domain*) override;
  int interpose(zfi_domain*, frim_objid**, frim_objid***, int*) override;
  int checkNodeExistence(zfi_domain*, int*) override;
  int importResource(char**, char*, char*, char*, int, char**, char*) override;
  int deportResource(char*, char*, char*, char*, int) override;
  void addIgnoreNodeType(int) override;
  void setDefaultNodeType(int) override;
  // Slot 86, the last: the framework's import of a node. import_resource
  // arrives here with the node's name, the resource names (up to the first
  // null) and the import flags; the three truth values are false. A plugin
  // without an import of its own answers 8 (not supported).
  virtual int importNode(ACE_CString nodeName, std::vector<ACE_CString> resourceNames, bool, bool, bool,
                         int importFlags);

  // A group node is one whose UDID starts with a prefix registered with
  // addGroupNodePrefix. Such a prefix sits in the FIM table as an entry with
  // no snapshot method (the group node's type as its level), since a group
  // node is never snapped itself.
  bool isGroupNode(ACE_CString udid);
  void addGroupNodePrefix(const std::string& prefix);
  void addFim(std::string udidPrefix, std::string fimName, std::string quiesceMode, int level,
              std::string text);
  // The snapshot methods, by UDID prefix and, within one prefix, in
  // registration order.
  std::vector<CFiFimDefinition> getFims() const;
  // The snapshot methods offered for a device with this UDID, in the same order.
  std::vector<CFiFimDefinition> fimsForUdid(const std::string& udid) const;
  int getDefaultNodeType() const { return m_defaultNodeType; }
  int getGroupNodeType() const { return m_groupNodeType; }
  bool isIgnoredNodeType(int type) const;

 private:
  int m_defaultNodeType = 2048;  // 0x800
  int m_groupNodeType = 4098;    // 0x1002
  CFiPblmOps m_pblmOps;
  std::multimap<std::string, CFiFimDefinition> m_fims;  // by UDID prefix
  std::set<int> m_ignoredNodeTypes;
};

}  // namespace frim_pdk_4_4

#endif
