#ifndef HITACHI_PLUGIN_NODES_H
#define HITACHI_PLUGIN_NODES_H

// What the snapshot operations (select, isready, prepare, make) share about
// the framework's nodes: the snapshot methods, the node's private data and
// the bad-pair-status failure.

#include <string>

#include "cfiprivatedata.h"
#include "hitachi_privatedata.h"
#include "hitachi_vdisk.h"

namespace hitachi_nodes {

// The four snapshot methods, in the order they are tested. Both families
// (full copy and Copy-on-Write) are handled alike once a target is chosen.
bool isSnapshotFim(const std::string& fim);

// The plugin's private data in `holder`; null when the node has none (or
// what it has is not the plugin's). The holder keeps the object alive.
CHitachiPrivateData* hitachiData(const frim_pdk_4_4::CFiPrivateDataPtr& holder);

// Reports MSG_ERROR_PRIVATE_DATA_MALLOC (the operation, the node's name) and
// returns 5. An operation never works on a node without private data.
int reportNoPrivateData(const char* operation, const std::string& node);

// Throws the bad-pair-status CHitachiException (kind 5, code 6): the pair
// of `vdisk` and `vdiskCopy` is in a state the operation cannot work from.
// `status` is the word the administrator sees in the message.
[[noreturn]] void throwBadPairStatus(const char* status, const SHitachiVirtualDisk& vdisk,
                                     const SHitachiVirtualDisk& vdiskCopy, const char* file, int line);

}  // namespace hitachi_nodes

#endif
