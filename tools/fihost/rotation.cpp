#include "rotation.h"

#include "problem.h"

namespace fihost {

std::vector<Partner> rotateTargets(Context& context, Plugin& plugin, const Catalogue& catalogue,
                                   const std::vector<HostDisk>& disks,
                                   const std::vector<FrameworkNode*>& nodes,
                                   const std::vector<std::string>& deviceNames, size_t keep) {
  RmLibrary library;
  std::vector<Partner> chosen;
  std::string targets;
  for (size_t n = 0; n < nodes.size(); ++n) {
    FrameworkNode* node = nodes[n];
    const DeviceRecord source = selectedSource(context, plugin, *node);
    const std::vector<Partner> partners = partnersOf(library, disks, source, node->udid(), node->method());
    // What each partner holds, by the catalogue's rising ids. A partner whose
    // last run never reached make holds nothing worth keeping.
    std::vector<long> newest;
    for (const Partner& partner : partners) {
      std::optional<CatalogueEntry> held = catalogue.latestOn(source.enclosureId, partner.ldev);
      newest.push_back(held && held->made() ? static_cast<long>(held->id) : -1);
    }
    chosen.push_back(partners[nextPartner(partners, newest, keep, deviceNames[n], node->method())]);
    targets += (targets.empty() ? "" : "; ") + node->udid() + " = " + chosen.back().udid;
  }
  configureTargets(context, plugin, targets);
  return chosen;
}

}  // namespace fihost
