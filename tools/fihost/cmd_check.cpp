// fihost check: the preflight an administrator runs before the first
// backup. Nothing on the array is changed: devices are only selected, in a
// session of their own, and pairs are only read.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>

#include "catalogue.h"
#include "cfisafefolder.h"
#include "context.h"
#include "framework_nodes.h"
#include "hints.h"
#include "host_disks.h"
#include "instance_files.h"
#include "pair_probe.h"
#include "problem.h"
#include "provider_state.h"

namespace fihost {

namespace {

// A warning is shown with its hint but is no problem: it does not stand in
// the way of the checked devices' snapshots.
struct Finding {
  std::string name;
  bool ok = true;
  bool warning = false;
  std::string detail;
  std::string hint;
  std::string array;  // the array it concerns, "" for the host as a whole
};

class Findings {
 public:
  void add(const std::string& name, bool ok, const std::string& detail, const std::string& hint = "",
           const std::string& array = "") {
    m_list.push_back(Finding{name, ok, false, detail, ok ? "" : hint, array});
  }
  void warn(const std::string& name, const std::string& detail, const std::string& hint) {
    m_list.push_back(Finding{name, true, true, detail, hint, ""});
  }
  // Problems of arrays none of the checked devices is on become warnings.
  void relateTo(const std::vector<std::string>& arrays) {
    for (Finding& f : m_list) {
      if (f.ok || f.array.empty()) continue;
      bool related = false;
      for (const std::string& a : arrays) related = related || a == f.array;
      if (related) continue;
      f.ok = true;
      f.warning = true;
      f.detail += " (no device checked is on this array)";
    }
  }
  int problems() const {
    int n = 0;
    for (const Finding& f : m_list) n += f.ok ? 0 : 1;
    return n;
  }
  json toJson() const {
    json list = json::array();
    for (const Finding& f : m_list)
      list.push_back(
          {{"check", f.name}, {"ok", f.ok}, {"warning", f.warning}, {"detail", f.detail}, {"hint", f.hint}});
    return list;
  }
  void print(const char* indent) const {
    for (const Finding& f : m_list) {
      std::printf("%s%-4s %-18s %s\n", indent, f.ok ? (f.warning ? "warn" : "ok") : "FAIL", f.name.c_str(),
                  f.detail.c_str());
      if (!f.hint.empty()) std::printf("%s     %-18s hint: %s\n", indent, "", f.hint.c_str());
    }
  }

 private:
  std::vector<Finding> m_list;
};

std::string env(const char* name, const char* fallback) {
  const char* value = ::secure_getenv(name);
  return value && *value ? value : fallback;
}

bool writableFile(const std::string& path) {
  int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  ::close(fd);
  return true;
}

void checkHost(Findings& findings, Plugin& plugin, std::unique_ptr<RmLibrary>& library,
               const std::vector<HostDisk>& disks) {
  const zfi_version& v = plugin.version();
  findings.add("plugin", true,
               plugin.path() + ", interface " + std::to_string(v.major) + "." + std::to_string(v.minor) +
                   "." + std::to_string(v.update) + "." + std::to_string(v.patch));
  try {
    library = std::make_unique<RmLibrary>();
    findings.add("library", true, rmlibPath() + ", version " + std::to_string(library->version()));
  } catch (const Problem& problem) {
    findings.add(
        "library", false, problem.what(),
        "install the RAID Manager library as /usr/lib/libsvrrm.so (FRIM_DLOPEN_ROOT prefixes the path)");
  }

  // The plugin refuses a folder that another user could change under a root
  // process; a check that passed such a folder would pass a host whose
  // backups then fail.
  const std::string cache = instanceDirectory();
  struct stat info {};
  const bool present =
      ::stat(cache.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && ::access(cache.c_str(), W_OK) == 0;
  const std::string cacheRefusal = present ? frim_pdk_4_4::unsafeFolderReason(cache) : "";
  const bool folder = present && cacheRefusal.empty();
  findings.add("cache folder", folder,
               !present ? cache + " is missing or not writable"
                        : folder ? cache + " is writable" : "refused by the plugin: " + cacheRefusal,
               "create it as root with mode 0755, or set HITACHIFI_CACHE_DIR; the plugin refuses a folder "
               "that belongs to neither root nor the user running it, or that group or others may write");
  try {
    for (const InstanceFile& file : readInstanceFiles(cache)) {
      bool writable = ::access(file.path.c_str(), R_OK | W_OK) == 0;
      bool free = file.freeCount() > 0;
      int stale = 0;
      for (const InstanceRecord& r : file.records) stale += (r.holder >= 0 && !r.running) ? 1 : 0;
      const std::string detail = file.key + ": " + std::to_string(file.freeCount()) + " of " +
                                 std::to_string(file.records.size()) + " numbers free, " +
                                 std::to_string(stale) + " held by ended processes" +
                                 (writable ? "" : ", not writable");
      const char* reclaim = "run fihost instances --reclaim to free the numbers of ended processes";
      if (writable && free && stale > 0)
        findings.warn("instance file", detail, reclaim);
      else
        findings.add(
            "instance file", writable && free, detail,
            writable ? reclaim
                     : "run fihost as the user that runs backups; never make the file writable for others");
    }
  } catch (const Problem& problem) {
    findings.add("instance file", false, problem.what(),
                 "remove the damaged file; the plugin creates it anew");
  }

  try {
    Catalogue catalogue;
    findings.add("catalogue", true,
                 catalogue.path() + ", " + std::to_string(catalogue.list().size()) + " snapshots recorded");
  } catch (const Problem& problem) {
    findings.add("catalogue", false, problem.what(),
                 "make the cache folder writable for the user that runs backups: fihost snapshot records "
                 "there which snapshot each partner holds");
  }

  const std::string traceDir = env("HITACHIFI_TRACE_DIR", "/var/log/hitachifi");
  const std::string trace = traceDir + "/" + env("HITACHIFI_TRACE_FILE", "hitachifi.log");
  const std::string traceRefusal =
      ::access(traceDir.c_str(), F_OK) == 0 ? frim_pdk_4_4::unsafeFolderReason(traceDir) : "";
  // Probed only in a folder the plugin accepts, so that the probe never
  // leaves a file where the plugin would not write one.
  const bool traceOk = traceRefusal.empty() && writableFile(trace);
  findings.add(
      "trace file", traceOk,
      !traceRefusal.empty() ? "refused by the plugin: " + traceRefusal
                            : trace + (traceOk ? " is writable" : " cannot be written"),
      "create the folder as root with mode 0755, or set HITACHIFI_TRACE_DIR; no trace is written into "
      "a folder that belongs to another user or that group or others may write");
  std::map<std::string, const HostDisk*> arrays;  // serial -> a disk of that array
  for (const HostDisk& disk : disks)
    if (!disk.serial.empty() && !arrays.count(disk.serial)) arrays[disk.serial] = &disk;
  if (arrays.empty())
    findings.add("arrays", false, "no disk of a Hitachi or HP XP array",
                 "map the array's LUNs and command device to this host and rescan");
  for (const auto& array : arrays) {
    const HostDisk* command = commandDeviceOf(disks, array.first);
    const std::string name = "command device";
    if (!command) {
      findings.add(name, false, "array " + array.first + " has no command device on this host",
                   "map a command device (a LUN whose product name holds -CM) of array " + array.first +
                       " to this host",
                   array.first);
      continue;
    }
    if (!folder) {
      findings.add(name, false, command->name + " of array " + array.first + " not tried: no cache folder");
      continue;
    }
    if (!library) {
      findings.add(name, false, command->name + " of array " + array.first + " not tried: no library");
      continue;
    }
    try {
      HeldInstance instance(instanceDirectory(), command->udid);
      RmLibrary::Attached attached(*library, command->name, instance.number());
      findings.add(name, true,
                   command->name + " of array " + array.first + " answers (instance " +
                       std::to_string(instance.number()) + ")");
    } catch (const Problem& problem) {
      findings.add(name, false, command->name + " of array " + array.first + ": " + problem.what(),
                   "check that the command device is an LDEV of this array with the command device attribute",
                   array.first);
    }
  }
}

// The first target configured for a device in
// HITACHIFI_SNAPSHOT_RESOURCE_SPEC ("source = target, target" entries, by
// line or ";"), "" when none. Only for reporting: the plugin reads the value.
std::string configuredTarget(const std::string& udid) {
  std::string fault = env("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", "");
  if (!fault.empty() && fault[0] == '@') {
    std::ifstream in(fault.substr(1));
    fault.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  for (size_t at = fault.find(udid); at != std::string::npos; at = fault.find(udid, at + udid.size())) {
    size_t equals = fault.find_first_not_of(" \t", at + udid.size());
    if (equals == std::string::npos || fault[equals] != '=') continue;
    size_t first = fault.find_first_not_of(" \t", equals + 1);
    if (first == std::string::npos) return "";
    size_t end = fault.find_first_of(",;\n \t", first);
    return fault.substr(first, end == std::string::npos ? std::string::npos : end - first);
  }
  return "";
}

json checkDevice(Context& context, Plugin& plugin, RmLibrary* library, const std::vector<HostDisk>& disks,
                 const std::string& given, const std::string& methodOption, Findings& findings, int serial) {
  json report = {{"device", given}};
  DeviceName device;
  try {
    device = resolveDevice(given, disks);
  } catch (const Problem& problem) {
    findings.add("device", false, problem.what(), "name a disk listed by fihost devices, or a device UDID");
    return report;
  }
  const std::string method = methodOption.empty() ? defaultMethod(device.vendor) : methodOption;
  report.update(
      {{"udid", device.udid}, {"disk", device.disk}, {"method", method}, {"node", nodeNameFor(device.udid)}});
  for (const HostDisk& disk : disks) {
    if (disk.udid != device.udid || !disk.commandDevice) continue;
    findings.add("device", false,
                 given + " is the command device of array " + device.serial + ", not a data volume",
                 "name a data volume of the array: the command device only carries RAID Manager's commands");
    return report;
  }
  const std::string mismatch = methodMismatch(method, device);
  if (!mismatch.empty()) {
    findings.add("method", false, method + " on a disk of a " + device.vendor + " array", mismatch);
    return report;
  }

  if (plugin.initResult() != 0) {
    findings.add("select", false, "not tried: " + plugin.initFailure(), "fix the host checks first");
    return report;
  }
  FrameworkNode node(device.udid, method);
  FrameworkSession session(
      plugin, "fihost-check-" + std::to_string(::getpid()) + "-" + std::to_string(serial), {&node});
  int rc = session.initNodes();
  const char* step = "init_node";
  if (rc == 0) {
    step = "preselect";
    rc = session.preselect();
  }
  if (rc == 0) {
    step = "select";
    rc = session.select();
  }
  if (rc != 0) {
    size_t before = context.messages.size();
    context.collect(plugin);
    std::vector<PluginMessage> met(context.messages.begin() + static_cast<long>(before),
                                   context.messages.end());
    std::string hint = library && rc == ZFI_E_INVALID ? secondaryVolumeHint(*library, disks, device) : "";
    if (hint.empty()) hint = selectHint(met, rc);
    const std::string target = configuredTarget(device.udid);
    std::string vendor, serial, ldev;
    if (splitUdid(target, vendor, serial, ldev) && serial != device.serial)
      hint = "the configured target " + target + " is in another array (" + serial + ") than the source (" +
             device.serial + "): configure a target of array " + device.serial;
    findings.add("select", false, std::string(step) + " returned " + resultText(rc), hint);
    session.deinitNodes();
    return report;
  }
  ProviderState state;
  try {
    state = parseProviderState(session.providerState(node));
  } catch (const Problem& problem) {
    context.collect(plugin);
    findings.add("select", false, problem.what(), "see the plugin's messages and its trace file");
    session.deinitNodes();
    return report;
  }
  session.deinitNodes();
  const bool configured = !configuredTarget(device.udid).empty();
  report.update({{"source_ldev", state.source.deviceId},
                 {"array", state.source.enclosureId},
                 {"host_group",
                  {{"port", state.source.port},
                   {"number", state.source.hostGroup},
                   {"name", state.source.hostGroupName}}},
                 {"target_ldev", state.snapshot.deviceId},
                 {"target_array", state.snapshot.enclosureId},
                 {"target_from", configured ? "configured" : "discovered"}});
  findings.add("select", true,
               "source LDEV " + state.source.deviceId + " via host group " + state.source.hostGroupName +
                   " (port " + std::to_string(state.source.port) + ", group " +
                   std::to_string(state.source.hostGroup) + "), target LDEV " + state.snapshot.deviceId +
                   " (" + (configured ? "configured" : "discovered") + ")");
  if (!library) {
    findings.add("pair", false, "not read: no RAID Manager library");
    return report;
  }
  PairProbe probe = probePair(*library, disks, state.source, state.snapshot.deviceId);
  if (!probe.error.empty()) {
    findings.add("pair", false, probe.error, "check the command device and the host group's LU paths");
    return report;
  }
  report["lun"] = probe.lun;
  if (!probe.pair.found) {
    report["pair"] = nullptr;
    report["snapshot_possible"] = false;
    findings.add("pair", false,
                 "LDEV " + state.source.deviceId + " (LUN " + std::to_string(probe.lun) +
                     ") has no pair with LDEV " + state.snapshot.deviceId + " (SMPL)",
                 "create the pair on the array, or configure a target that is paired with the source");
    return report;
  }
  const int status = probe.pair.status;
  const bool possible = status == 2 || status == 3 || status == 4;  // COPY reaches PAIR; PSUS is resynced
  report["pair"] = {{"mirror_unit", probe.pair.mirrorUnit},
                    {"state", pairStatusName(status)},
                    {"copy_rate", probe.pair.copyRate}};
  report["snapshot_possible"] = possible;
  std::string holds;
  try {
    auto held = Catalogue().latestOn(state.snapshot.enclosureId, state.snapshot.deviceId);
    if (held && held->made()) {
      holds = "; it holds snapshot " + std::to_string(held->id) + " taken " + held->taken;
      report["holds"] = held->id;
    }
  } catch (const Problem&) {
    // Reported with the host's checks.
  }
  findings.add("pair", possible,
               "LUN " + std::to_string(probe.lun) + ", partner LDEV " + state.snapshot.deviceId +
                   " at mirror unit " + std::to_string(probe.pair.mirrorUnit) + ", " +
                   pairStatusName(status) +
                   (possible ? ": a snapshot can be taken now, on that partner" + holds : ""),
               pairStateHint(status));
  return report;
}

}  // namespace

int runCheck(Context& context, const CheckOptions& options) {
  Findings host;
  std::vector<HostDisk> disks = hostDisks();
  Plugin plugin(context.pluginPath, false);
  std::unique_ptr<RmLibrary> library;
  checkHost(host, plugin, library, disks);
  json devices = json::array();
  std::vector<Findings> perDevice(options.devices.size());
  if (!options.devices.empty()) {
    std::vector<std::string> arrays;
    for (const std::string& given : options.devices) {
      try {
        arrays.push_back(resolveDevice(given, disks).serial);
      } catch (const Problem&) {
        // Reported with the device.
      }
    }
    host.relateTo(arrays);
  }
  int problems = host.problems();
  for (size_t i = 0; i < options.devices.size(); ++i) {
    json report = checkDevice(context, plugin, library.get(), disks, options.devices[i], options.method,
                              perDevice[i], static_cast<int>(i));
    report["checks"] = perDevice[i].toJson();
    report["ok"] = perDevice[i].problems() == 0;
    problems += perDevice[i].problems();
    devices.push_back(report);
  }
  if (context.asJson) {
    emit(context, {{"command", "check"},
                   {"ok", problems == 0},
                   {"problems", problems},
                   {"host", host.toJson()},
                   {"devices", devices}});
  } else {
    std::printf("host\n");
    host.print("  ");
    for (size_t i = 0; i < options.devices.size(); ++i) {
      std::printf("%s\n", options.devices[i].c_str());
      perDevice[i].print("  ");
    }
    std::printf("%d problem%s found\n", problems, problems == 1 ? "" : "s");
  }
  return problems == 0 ? kExitDone : kExitProblem;
}

}  // namespace fihost
