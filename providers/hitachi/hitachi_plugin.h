#ifndef HITACHI_PLUGIN_H
#define HITACHI_PLUGIN_H

#include <ace/SString.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include "cfipluginbase.h"
#include "cfiprivatedatafactory.h"
#include "hitachi_cmdinfo.h"
#include "hitachi_privatedata.h"
#include "hitachi_rmlibintf.h"

// The plugin's name and the UDID text constants, set by static
// initialisation before any entry point runs.
extern ACE_CString cfi_pgn_name_tstr;
extern std::wstring cfi_pgn_name_wstr;
extern std::string cfi_pgn_name_str;
extern std::string udid_prefix;
extern std::string udid_separator;

// The Hitachi / HP XP snapshot provider.
class CHitachiPlugin : public frim_pdk_4_4::CFiPluginInterposer {
 public:
  CHitachiPlugin();
  ~CHitachiPlugin() override;

  int delayedInit() override;
  int init() override;
  void fini() override;
  int makeSnapshots(frim_pdk_4_4::CFiSessionPtr& session) override;
  int prepareSnapshots(frim_pdk_4_4::CFiSessionPtr& session) override;
  int selectSnapshots(frim_pdk_4_4::CFiSessionPtr& session) override;
  int isReady(char* fimName, zfi_splitnode** nodes, int count) override;
  int getProviderInfo(zfi_provider_list** out) override;
  int enumerateFims(zfi_fim_list** out) override;
  int processProviderState(zfi_domain* node, zfi_blob* block, zfi_op_providerstate op) override;
  int restore(frim_objid** sources, frim_objid** snapshots, long count, char* a, char* b, char*** out,
              long* outCount, long flags, long* status) override;
  // The framework's import of a node: 0, or 4 for the off-host import mode.
  int importNode(ACE_CString name, std::vector<ACE_CString> names, bool a, bool b, bool c, int mode) override;

  // Pair-state rule for synchronising one pair (forward, or reverse for a
  // restore): 0 when the pair is or is becoming what was asked, -1 when a
  // copy in the other direction is running, 6 for a state that cannot be
  // synchronised, else the resync's result. A simplex pair throws the
  // bad-pair-status CHitachiException.
  int syncPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk vdisk, SHitachiVirtualDisk vdiskCopy,
               bool reverse);
  // Pair-state rule for one split: 0 for a pair already split (it is the
  // snapshot), the split's result for a pair in PAIR; any other state throws
  // the bad-pair-status CHitachiException.
  int splitPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk vdisk, SHitachiVirtualDisk vdiskCopy);

  // The private data attached to the node, or null when the node is null or
  // has none. Never creates it; the node keeps the object alive.
  CHitachiPrivateData* GetPrivateData(zfi_domain* node);
  // Fills the block with the node's two device records as text.
  int getProviderState(zfi_domain* node, zfi_blob* block);
  // Reads the block's records into the node's private data: 0, or 5 when the
  // node has no private data and none can be allocated.
  int setProviderState(zfi_domain* node, zfi_blob* block);

  // ---- Snapshot lifecycle (select, isready, prepare, make) ----
 protected:
  // The command device of the enclosure; an unknown enclosure adds nothing. An
  // array cannot be reached without a command device: an empty one throws
  // the command-failed CHitachiException naming the enclosure.
  CFiSmartPtr<SCmdInfo> commandDeviceOf(const std::string& enclosure);
  // The private data kept for the node name (ordinary table); empty when
  // there is none or no factory is registered.
  static frim_pdk_4_4::CFiPrivateDataPtr privateDataByName(const std::string& name);
  // The private data attached to the node, else the one kept for its name;
  // never creates any. Empty for a null node or without a factory.
  static frim_pdk_4_4::CFiPrivateDataPtr privateDataOf(zfi_domain* node);
  // One node of selectSnapshots: 0 when it is done with (selected, or
  // skipped), else the operation's result.
  int selectNode(frim_pdk_4_4::CFiSessionPtr& session, const std::string& name, const std::string& fim);
  // Sets a done flag of the session's node of that name, if it has one.
  static void markDone(frim_pdk_4_4::CFiSessionPtr& session, const std::string& name, int phase);

 public:
  // ---- End of snapshot lifecycle ----

  const std::map<std::string, std::list<std::string>>& enclosureCmdDevNames() const {
    return m_enclosureCmdDevNames;
  }
  const std::map<std::string, CFiSmartPtr<SCmdInfo>>& cmdDevices() const { return m_cmdDevices; }
  CHitachiCommandIntf& cmdIntf() { return m_cmdIntf; }

 protected:
  // The factory the plugin registered for its nodes' private data; empty
  // before init.
  static frim_pdk_4_4::CFiPrivateDataFactoryPtr privateDataFactory();

  // Frees what a command-device record points to (its path copy and block).
  static void releaseCmdInfo(SCmdInfoPtr& cmd);

  // The binding to the RAID Manager library.
  CHitachiCommandIntf m_cmdIntf;
  // Enclosure id -> names of that array's command devices on this host, in
  // discovery order. Filled by delayedInit; fini leaves it.
  std::map<std::string, std::list<std::string>> m_enclosureCmdDevNames;
  // Enclosure id -> the one command device the plugin talks to that array
  // through (the first found). Emptied by fini.
  std::map<std::string, CFiSmartPtr<SCmdInfo>> m_cmdDevices;
};

#endif
