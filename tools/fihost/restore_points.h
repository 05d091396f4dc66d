#ifndef FIHOST_RESTORE_POINTS_H
#define FIHOST_RESTORE_POINTS_H

#include <string>
#include <vector>

#include "catalogue.h"
#include "host_disks.h"
#include "rmlib_probe.h"
#include "state_file.h"

namespace fihost {

// Whether a recorded snapshot can still be restored: no later snapshot was
// taken on its partner, and the array still shows the partner split from
// the source at the recorded mirror unit. `why` says what undid it.
struct PointCondition {
  bool intact = false;
  std::string why;
};

// Reads the point's pair through the array's command device (read-only)
// unless the catalogue already knows it was replaced. Without a library
// (null) the pair cannot be confirmed and the point does not count as intact.
PointCondition assessPoint(const Catalogue& catalogue, const CatalogueEntry& point, const RmLibrary* library,
                           const std::vector<HostDisk>& disks);

// What a restore of the point `id` needs, in the form a state file gives
// it. Throws Problem, before anything changes, when the catalogue lacks the
// point or the point is not intact.
StateFile stateOfPoint(const std::string& id, const std::vector<HostDisk>& disks);

}  // namespace fihost

#endif
