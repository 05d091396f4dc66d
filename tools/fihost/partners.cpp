#include "partners.h"

#include <unistd.h>

#include "hints.h"
#include "instance_files.h"
#include "pair_probe.h"
#include "problem.h"

namespace fihost {

namespace {

// Full-copy pairs take mirror units 0 to 2 on these arrays; Copy-on-Write
// pairs the ones above.
constexpr int kFullCopyMirrorUnits = 3;

std::string xmlAttribute(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace

bool isFullCopyMethod(const std::string& method) {
  return method == "Hitachi_ShadowImage" || method == "HPXP_BusinessCopy";
}

DeviceRecord selectedSource(Context& context, Plugin& plugin, FrameworkNode& node) {
  FrameworkSession session(plugin, "fihost-partners-" + std::to_string(::getpid()), {&node});
  int rc = session.initNodes();
  if (rc == 0) rc = session.preselect();
  if (rc == 0) rc = session.select();
  std::string state;
  try {
    if (rc == 0) state = session.providerState(node);
  } catch (const Problem&) {
    rc = -1;
  }
  if (rc != 0) {
    context.collect(plugin);
    throw Problem("cannot read the source " + node.udid() + " from the array (select returned " +
                  resultText(rc) + "); nothing was changed; see fihost check " + node.udid());
  }
  return parseProviderState(state).source;
}

std::vector<Partner> partnersOf(const RmLibrary& library, const std::vector<HostDisk>& disks,
                                const DeviceRecord& source, const std::string& sourceUdid,
                                const std::string& method) {
  const HostDisk* command = commandDeviceOf(disks, source.enclosureId);
  if (!command) throw Problem("no command device of array " + source.enclosureId + " on this host");
  HeldInstance instance(instanceDirectory(), command->udid);
  RmLibrary::Attached attached(library, command->name, instance.number());
  const int lun = attached.firstLun(std::stoi(source.deviceId));
  if (lun < 0) throw Problem("LDEV " + source.deviceId + " has no LU path");
  const bool fullCopy = isFullCopyMethod(method);
  const std::string prefix = sourceUdid.substr(0, sourceUdid.rfind("##") + 2);
  std::vector<Partner> partners;
  for (const PairSide& pair : attached.pairsOf(source.port, source.hostGroup, lun)) {
    // Only pairs whose primary is the source; a partner need not be mapped
    // to this host, since a configured target is found by its LDEV alone.
    if (pair.volumeStatus != 2 || (pair.mirrorUnit < kFullCopyMirrorUnits) != fullCopy) continue;
    const std::string ldev = std::to_string(pair.partnerLdev);
    partners.push_back(Partner{pair.mirrorUnit, ldev, prefix + ldev, pair.status});
  }
  return partners;
}

std::string describePartners(const std::vector<Partner>& partners) {
  std::string text;
  for (const Partner& p : partners)
    text += (text.empty() ? "" : ", ") + std::string("LDEV ") + p.ldev + " (mirror unit " +
            std::to_string(p.mirrorUnit) + ")";
  return text.empty() ? "none" : text;
}

size_t nextPartner(const std::vector<Partner>& partners, const std::vector<long>& newestPointOn, size_t keep,
                   const std::string& device, const std::string& method) {
  if (keep > partners.size())
    throw Problem("--keep " + std::to_string(keep) + " needs " + std::to_string(keep) + " partners of " +
                  method + " for " + device + "; it has " + std::to_string(partners.size()) + ": " +
                  describePartners(partners));
  size_t oldest = 0;
  for (size_t i = 0; i < keep; ++i) {
    if (newestPointOn[i] < 0) return i;
    if (newestPointOn[i] < newestPointOn[oldest]) oldest = i;
  }
  return oldest;
}

void configureTargets(Context& context, Plugin& plugin, const std::string& value) {
  std::string xml = "<parameters><parameter name=\"snapshot_resource_spec\" value=\"" + xmlAttribute(value) +
                    "\"/></parameters>";
  auto config = plugin.entry<int (*)(zfi_domain*, int, char*, zfi_confspec*)>("config");
  context.require(plugin, config(nullptr, ZFI_CONFIG_SET, &xml[0], nullptr), "config");
}

}  // namespace fihost
