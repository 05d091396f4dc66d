#ifndef HITACHI_CMDINFO_H
#define HITACHI_CMDINFO_H

#include <string>
#include <vector>

#include "cfirefcount.h"
#include "cfismartptr.h"
#include "hitachi_instanceManager.h"
#include "hitachi_rmlib_records.h"

// A LUN already matched to its LDEV number on a command device's array.
struct SLunLdevPair {
  int lun;
  int ldev;
};

// One array command device: the path RMLIB attaches, the block it fills,
// the instance number held for it and the LUN/LDEV matches found so far.
//
// The record owns neither its `cmddev` copy nor its `cmddevinfo` block:
// whoever created it (plugin shutdown) frees them, and the destructor
// neither detaches nor frees them.
struct SCmdInfo : public virtual frim_pdk_4_4::CFiRefCount {
  SCmdInfo() = default;
  ~SCmdInfo() override = default;
  SCmdInfo(const SCmdInfo&) = delete;
  SCmdInfo& operator=(const SCmdInfo&) = delete;

  char* cmddev = nullptr;      // strdup'd device path
  cmddevinfo* info = nullptr;  // null until the first attach
  bool attached = false;
  std::string udid;  // also the key of the instance-number file
  CInstanceNumber instance;
  std::string serial;  // the array's serial number, as text
  std::vector<SLunLdevPair> deviceCache;
};

using SCmdInfoPtr = frim_pdk_4_4::CFiSmartPtr<SCmdInfo>;

#endif
