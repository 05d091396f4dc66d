#ifndef FIHOST_ROTATION_H
#define FIHOST_ROTATION_H

#include <string>
#include <vector>

#include "catalogue.h"
#include "context.h"
#include "framework_nodes.h"
#include "host_disks.h"
#include "partners.h"

namespace fihost {

// For `snapshot --keep N`: finds each node's partners of its method
// (read-only), picks the one the next snapshot goes to, and names it to the
// plugin as the device's configured target for this run (`deviceNames`
// name the devices in messages). Returns the chosen
// partner of each node, in order. Throws Problem before anything on the
// array changes: a device that cannot be read, or fewer partners than `keep`.
std::vector<Partner> rotateTargets(Context& context, Plugin& plugin, const Catalogue& catalogue,
                                   const std::vector<HostDisk>& disks,
                                   const std::vector<FrameworkNode*>& nodes,
                                   const std::vector<std::string>& deviceNames, size_t keep);

}  // namespace fihost

#endif
