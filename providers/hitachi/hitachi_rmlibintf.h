#ifndef HITACHI_RMLIBINTF_H
#define HITACHI_RMLIBINTF_H

#include <string>

#include "cfismartptr.h"
#include "hitachi_cmdinfo.h"
#include "hitachi_rmlib_records.h"
#include "hitachi_vdisk.h"

// One row of the process-wide table of RAID Manager library functions.
// Mask bit 2: looked up by init's pass; bit 1: required (a library without
// it fails to load).
struct SSvrrmSymbol {
  int mask;
  const char* name;
  void** address;
};

// Ends with a row whose name is null.
extern SSvrrmSymbol svrrm_symbols[];

// The plugin's only path to the arrays: the RAID Manager library, opened at
// run time, its functions called through the ShadowImage_call_* wrappers,
// and the array operations built on them.
using frim_pdk_4_4::CFiSmartPtr;

class CHitachiCommandIntf {
 public:
  CHitachiCommandIntf() = default;
  // Unloads the library if it is still loaded.
  ~CHitachiCommandIntf();
  CHitachiCommandIntf(const CHitachiCommandIntf&) = delete;
  CHitachiCommandIntf& operator=(const CHitachiCommandIntf&) = delete;

  // Opens "/usr/lib/libsvrrm.so" and resolves the table. 0, or -1. A failed
  // resolve leaves the library open and the rows found so far set.
  int init();
  // Looks up every row whose mask shares a bit with `mask`; -1 at the first
  // required row that is missing.
  int resolveSvrrmSymbols(int mask);
  // Closes the library (when init succeeded) and clears the table. Always 0.
  int fini();
  int getVersion(int* version);
  bool isInitialized() const { return m_initialized; }

  // Each forwards to the library function of that name and returns its
  // result; a function the library does not have throws the "symbol empty"
  // CHitachiException (kind 4).
  int ShadowImage_call_attachcmddev(cmddevinfo* info, char* cmddev, int instance);
  int ShadowImage_call_detachcmddev(cmddevinfo* info);
  int ShadowImage_call_getldev(cmddevinfo* info, targdev* targ);
  int ShadowImage_call_getrminfo(cmddevinfo* info, int ope, int ldev, int port, rminfo* out);
  int ShadowImage_call_getdkclimit(cmddevinfo* info, dkc_limit* out);
  int ShadowImage_call_pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out);
  int ShadowImage_call_pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize);
  int ShadowImage_call_pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize);
  int ShadowImage_call_getrmver(int* version);
  // The library's own text for the last error on the block (not copied:
  // copy it before the next library call). May be null.
  char* ShadowImage_call_getrmerrmsg(cmddevinfo* info);
  // The library's formatted message for the last error on the block.
  std::string ShadowImage_call_getfmtmsg(cmddevinfo* info);

  // Command devices.
  bool attachCmd(SCmdInfoPtr cmd);
  int detachCmd(SCmdInfoPtr cmd);

  // Device map and LUN information.
  // The LUN of `ldev` on `port` (0), answered from the command device's
  // cache when it can be; -1 when not found or the library fails.
  int find_devmap(CFiSmartPtr<SCmdInfo> cmd, int ldev, int port, int& lun);
  // What the array says about one LDEV; with `hostMapping`, also this host's
  // host group and the LDEV's LUN in it.
  SHitachiVirtualDisk getLUNInfo(CFiSmartPtr<SCmdInfo> cmd, std::string ldev, bool hostMapping);
  // The source's record, narrowed to its pair with the target.
  SHitachiVirtualDisk getLUNInfo(CFiSmartPtr<SCmdInfo> cmd, std::string sourceLdev, std::string targetLdev);
  static void printLUNInfo(const SrmInfo& info);
  static void printHostGroupInfo(const SHostGroupInfoEx& info);

  // Pair operations: one library request each, no waiting.
  int pairVolStat(cmddevinfo* info, unsigned char porttype, int port, int targid, int lun, int mun,
                  pairstatinfo* out);
  int pairSplit(cmddevinfo* info, unsigned char porttype, int port, int targid, int lun, int mun, bool flag);
  int pairResync(cmddevinfo* info, unsigned char porttype, int port, int targid, int lun, int mun, bool ropt);
  static int printVolStat(targdev targ, pairstatinfo stat);
  int synchronize(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& disk, SHitachiVirtualDisk copy, bool ropt);
  int splitPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& disk, SHitachiVirtualDisk copy);
  int getPairStatus(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& disk, SHitachiVirtualDisk copy,
                    bool refresh);

  // Target discovery and pair selection. Neither takes a mirror unit whose
  // answer shows the source as the pair's secondary (S-VOL). autoDiscoverTarget
  // returns 0 with `targetId` set, 3 (ZFI_E_INVALID, traced at level 1 with
  // the primary's id) when the source is only ever a secondary, and -1 when
  // it has no pair at all.
  std::string findConfiguredTarget(std::string target);
  int autoDiscoverTarget(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& source, std::string& reserved,
                         std::string& targetId);
  int selectPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& source, SHitachiVirtualDisk secondary);

  // Traces a failed library call (`failedLine` at level 1, the library's
  // error text, its formatted message) and throws CHitachiException of
  // `kind` for `api` on the block's array, with the library's text as the
  // reason. With `nullGuard`, a missing library text is traced as "NULL"
  // and reported as "Empty error message".
  [[noreturn]] void reportFailure(cmddevinfo* info, const char* failedLine, int error, const char* api,
                                  int kind, const char* file, int line, bool nullGuard = false);

 private:
  void* m_handle = nullptr;
  bool m_initialized = false;
};

#endif
