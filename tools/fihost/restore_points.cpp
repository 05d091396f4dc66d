#include "restore_points.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "framework_nodes.h"
#include "pair_probe.h"
#include "problem.h"
#include "provider_state.h"

namespace fihost {

namespace {

constexpr int kCopy = 2, kPair = 3, kSplit = 4;  // RMLIB's COPY, PAIR, PSUS

}  // namespace

PointCondition assessPoint(const Catalogue& catalogue, const CatalogueEntry& point, const RmLibrary* library,
                           const std::vector<HostDisk>& disks) {
  if (point.replacedBy != 0) {
    std::optional<CatalogueEntry> later = catalogue.find(point.replacedBy);
    const std::string when = !later          ? ""
                             : later->made() ? " taken " + later->taken
                                             : " started " + later->started;
    return {false, "replaced by snapshot " + std::to_string(point.replacedBy) + when};
  }
  if (!library) return {false, "cannot read the pair: no RAID Manager library"};
  ProviderState recorded;
  try {
    recorded = parseProviderState(point.providerState);
  } catch (const Problem& problem) {
    return {false, problem.what()};
  }
  const std::string& ldev = point.targetLdev;
  PairProbe probe = probePair(*library, disks, recorded.source, ldev);
  if (!probe.error.empty()) return {false, "cannot read the pair: " + probe.error};
  // Any state but split means the partner was resynchronised, is being
  // copied back or broke: none of them holds the point any longer.
  if (!probe.pair.found) return {false, "LDEV " + ldev + " is no longer paired with the source"};
  if (point.mirrorUnit >= 0 && probe.pair.mirrorUnit != point.mirrorUnit)
    return {false, "LDEV " + ldev + " is now paired at mirror unit " + std::to_string(probe.pair.mirrorUnit) +
                       ", not " + std::to_string(point.mirrorUnit)};
  const int status = probe.pair.status;
  if (status != kSplit)
    return {false, std::string("the pair is ") + pairStatusName(status) +
                       (status == kCopy || status == kPair ? ": resynchronised since" : "")};
  return {true, ""};
}

StateFile stateOfPoint(const std::string& id, const std::vector<HostDisk>& disks) {
  char* end = nullptr;
  errno = 0;
  const long long number = std::strtoll(id.c_str(), &end, 10);
  const bool isNumber = !id.empty() && *end == '\0' && errno == 0 && number > 0;
  Catalogue catalogue;
  std::optional<CatalogueEntry> point;
  if (isNumber) point = catalogue.find(number);
  if (!point || !point->made())
    throw Problem("no snapshot " + id + " in the catalogue " + catalogue.path() + " (see fihost snapshots)");
  std::unique_ptr<RmLibrary> library;
  try {
    library = std::make_unique<RmLibrary>();
  } catch (const Problem&) {
    // assessPoint says the pair cannot be confirmed.
  }
  const PointCondition condition = assessPoint(catalogue, *point, library.get(), disks);
  if (!condition.intact)
    throw Problem("snapshot " + id + " of " + point->device + " (taken " + point->taken +
                  ") can no longer be restored: " + condition.why + "; nothing was changed");
  StateFile state;
  state.created = point->taken;
  state.session = point->session;
  SnapshotEntry entry;
  entry.device = point->device;
  entry.node = nodeNameFor(point->source);
  entry.source = point->source;
  entry.snapshot = point->target;
  entry.method = point->method;
  entry.providerState = point->providerState;
  state.snapshots.push_back(entry);
  return state;
}

}  // namespace fihost
