#ifndef HITACHI_PRIVATEDATA_H
#define HITACHI_PRIVATEDATA_H

#include "cfiprivatedata.h"
#include "hitachi_vdisk.h"

// What the plugin keeps with each node: the kit's private data plus the
// node's source device and the snapshot device paired with it.
class CHitachiPrivateData : public frim_pdk_4_4::CFiPrivateData {
 public:
  CHitachiPrivateData(frim_objid* objectId, bool isAltNode);
  ~CHitachiPrivateData() override;

  SHitachiVirtualDisk m_vdisk;      // the source; IsSnap false
  SHitachiVirtualDisk m_vdiskCopy;  // the snapshot side; IsSnap true
};

#endif
