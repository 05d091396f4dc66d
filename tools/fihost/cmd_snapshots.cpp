// fihost snapshots: the restore points this host has recorded, newest
// first, and whether each can still be restored.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "catalogue.h"
#include "context.h"
#include "host_disks.h"
#include "problem.h"
#include "restore_points.h"

namespace fihost {

int runSnapshots(Context& context, const SnapshotsOptions& options) {
  const std::vector<HostDisk> disks = hostDisks();
  Catalogue catalogue;
  std::vector<CatalogueEntry> points;
  if (options.devices.empty()) points = catalogue.list();
  for (const std::string& given : options.devices)
    for (CatalogueEntry& point : catalogue.list(resolveDevice(given, disks).udid)) points.push_back(point);
  std::sort(points.begin(), points.end(),
            [](const CatalogueEntry& a, const CatalogueEntry& b) { return a.id > b.id; });
  points.erase(std::unique(points.begin(), points.end(),
                           [](const CatalogueEntry& a, const CatalogueEntry& b) { return a.id == b.id; }),
               points.end());
  std::unique_ptr<RmLibrary> library;
  try {
    library = std::make_unique<RmLibrary>();
  } catch (const Problem&) {
    // Each point then says its pair cannot be read.
  }

  json list = json::array();
  std::vector<std::vector<std::string>> rows = {
      {"ID", "TAKEN", "DEVICE", "METHOD", "PARTNER", "MU", "INTACT"}};
  for (const CatalogueEntry& p : points) {
    const PointCondition c = assessPoint(catalogue, p, library.get(), disks);
    list.push_back({{"id", p.id},
                    {"taken", p.taken},
                    {"device", p.device},
                    {"source", p.source},
                    {"method", p.method},
                    {"partner", p.target},
                    {"mirror_unit", p.mirrorUnit},
                    {"state_file", p.stateFile},
                    {"intact", c.intact},
                    {"why", c.why}});
    rows.push_back({std::to_string(p.id), p.taken, p.device, p.method, p.target,
                    p.mirrorUnit < 0 ? "-" : std::to_string(p.mirrorUnit),
                    c.intact ? "yes" : "no: " + c.why});
  }
  if (context.asJson) {
    emit(context,
         {{"command", "snapshots"}, {"ok", true}, {"catalogue", catalogue.path()}, {"snapshots", list}});
  } else if (points.empty()) {
    std::printf("no snapshots recorded in %s%s\n", catalogue.path().c_str(),
                options.devices.empty() ? "" : " for these devices");
  } else {
    printTable(rows);
  }
  return kExitDone;
}

}  // namespace fihost
