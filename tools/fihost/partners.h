#ifndef FIHOST_PARTNERS_H
#define FIHOST_PARTNERS_H

#include <string>
#include <vector>

#include "context.h"
#include "framework_nodes.h"
#include "host_disks.h"
#include "provider_state.h"
#include "rmlib_probe.h"

namespace fihost {

// The volumes a source can keep its points in time on: the secondaries of
// its pairs of one family. Full-copy pairs (ShadowImage, Business Copy) live
// at mirror units 0 to 2, Copy-on-Write pairs at 3 and above, so the family
// follows from the method.
struct Partner {
  int mirrorUnit = -1;
  std::string ldev;
  std::string udid;  // the source's UDID with the partner's LDEV, as make names it
  int status = 0;    // RMLIB's pair status code when it was read
};

bool isFullCopyMethod(const std::string& method);

// The source's LU address as the plugin's select records it, found by a
// select of `node` in a scratch session (nothing on the array changes).
// The plugin keeps a node's private data by name, holding on to the object
// id of the first node of that name, so the scratch session uses the very
// node the snapshot's session goes on with. Throws Problem with the plugin's
// messages collected.
DeviceRecord selectedSource(Context& context, Plugin& plugin, FrameworkNode& node);

// The source's partners of the method's family, in mirror-unit order, read
// through the array's command device under an instance number of this
// process. Throws Problem when the array cannot be read.
std::vector<Partner> partnersOf(const RmLibrary& library, const std::vector<HostDisk>& disks,
                                const DeviceRecord& source, const std::string& sourceUdid,
                                const std::string& method);

// "LDEV 512 (mirror unit 0), LDEV 516 (mirror unit 1)" for messages.
std::string describePartners(const std::vector<Partner>& partners);

// Where the next point in time goes when `keep` are kept: among the first
// `keep` partners, the first that holds no recorded point, else the one whose
// point is oldest. `newestPointOn[i]` is the age rank of the newest recorded
// point on partner i (larger is newer), -1 for none. Throws Problem naming
// the partners when fewer than `keep` exist.
size_t nextPartner(const std::vector<Partner>& partners, const std::vector<long>& newestPointOn, size_t keep,
                   const std::string& device, const std::string& method);

// Gives the plugin's snapshot_resource_spec parameter `value` through the
// config entry point, as a framework configures its providers. It replaces
// whatever the environment configured, for this process only. Throws Problem.
void configureTargets(Context& context, Plugin& plugin, const std::string& value);

}  // namespace fihost

#endif
