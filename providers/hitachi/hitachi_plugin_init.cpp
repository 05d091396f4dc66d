// Plugin initialisation, delayed initialisation (command devices of the
// host's arrays) and shutdown.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "cficonfigparam.h"
#include "cficontextsingleton.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "cfisafefolder.h"
#include "cfiudid.h"
#include "device_discovery_base.h"
#include "hitachi_instanceManager.h"
#include "hitachi_plugin.h"
#include "hitachi_privatedata.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

void trimRight(std::string& text) {
  size_t end = text.find_last_not_of(' ');
  text.erase(end == std::string::npos ? 0 : end + 1);
}

bool isCommandDevice(const SScsiDevice& device) {
  const bool knownVendor = device.vendor == "HITACHI" || device.vendor == "HP";
  return knownVendor && device.product.find("-CM") != std::string::npos;
}

}  // namespace

int CHitachiPlugin::init() {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::init");
  CFiCatalogManagerPtr catalogs =
      CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
  catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", cfi_pgn_name_tstr));

  // init's own reference goes when it returns; the manager keeps its own.
  CFiPrivateDataFactoryPtr factory(new CFiPrivateDataConcreteFactory<CHitachiPrivateData>());
  {
    CFiPrivateDataManagerPtr manager =
        CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
    factory->registerTraceLog(hitachiTraceLog());
    manager->registerFactory(factory);
  }

  addFim("UDID##HITACHI##HDS##", "Hitachi_CopyOnWrite", "FI_QUIESCE_NONE", 3, "");
  addFim("UDID##HITACHI##HDS##", "Hitachi_ShadowImage", "FI_QUIESCE_NONE", 3, "");
  addFim("UDID##HP##XP##", "HPXP_Snapshot", "FI_QUIESCE_NONE", 3, "");
  addFim("UDID##HP##XP##", "HPXP_BusinessCopy", "FI_QUIESCE_NONE", 3, "");

  CFiConfigParamInfo parameter;
  parameter.m_name = "snapshot_resource_spec";
  parameter.m_value = "";
  parameter.m_firstAttribute = 0;
  parameter.m_secondAttribute = 0;
  parameter.m_flag = false;
  parameter.m_description = "";
  getConfigParamList().addParamInfo(parameter);

  HITACHI_TRACE(FI_TRACE_DETAIL, "Initializing RMLIB");
  if (m_cmdIntf.init() != 0) {
    HITACHI_TRACE(FI_TRACE_ERROR, "CHitachiPlugin::init : Library RMLIB init failed");
    return ZFI_E_RMLIB;
  }
  int version = 0;
  m_cmdIntf.getVersion(&version);
  HITACHI_TRACE(FI_TRACE_DETAIL, "CHitachiPlugin::init : Library RMLIB version '%d'", version);

  std::string path = CFiConfigurationPathTool::getCacheLocationInfo() + "/hitachi/";
  if (::access(path.c_str(), F_OK) != 0) ::mkdir(path.c_str(), 0755);  // failure shows when the file is used
  HITACHI_TRACE(FI_TRACE_DETAIL, "CHitachiPlugin::init : File location for instance number is %s",
                path.c_str());
  // Instance-number files are rewritten by every process, root's included:
  // a folder another user can change is refused here and by every later
  // use of the files, which then fail with the same reason. A folder that
  // could not be made shows when a file is used, as before.
  const std::string unsafe = ::access(path.c_str(), F_OK) == 0 ? unsafeFolderReason(path) : std::string();
  if (!unsafe.empty())
    HITACHI_TRACE(FI_TRACE_ERROR, "CHitachiPlugin::init : no instance number is taken from %s: %s",
                  path.c_str(), unsafe.c_str());
  CInstanceManager::setMinMaxInstanceNo(601, 699);
  CInstanceManager::setInstanceNoPath(path);
  return ZFI_OK;
}

int CHitachiPlugin::delayedInit() {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::delayedInit");
  CDeviceDiscoveryBase discovery(std::unique_ptr<CScsiTool>(new CScsiTool()),
                                 std::unique_ptr<CMpathDiscoveryManager>(new CMpathDiscoveryManager()));
  CUDIDFactory udids;
  std::vector<SScsiDevice> devices = discovery.rescan(false, false, false);
  std::map<std::string, SDeviceInfo> deviceMap = udids.enumerateDeviceMap(false, false, false);

  // Kept: a command device missing from the map is traced (and recorded)
  // with the UDID taken last.
  std::string udid;
  for (SScsiDevice& device : devices) {
    trimRight(device.vendor);
    trimRight(device.product);
    if (!isCommandDevice(device)) continue;
    auto found = deviceMap.find(device.name);
    if (found != deviceMap.end()) {
      udid = found->second.udid;
      CFiUdid parsed;
      parsed.parse(udid);
      m_enclosureCmdDevNames[parsed.getEnclosureId()].push_back(device.name);
    }
    HITACHI_TRACE(FI_TRACE_DETAIL, "\t<Device name=\"%-15s\" udid=\"%s\" bus=\"%d\" target=\"%d\" />",
                  device.name.c_str(), udid.c_str(), device.bus, device.target);
  }

  for (const auto& enclosure : m_enclosureCmdDevNames) {
    if (enclosure.second.empty()) continue;
    const std::string& first = enclosure.second.front();
    auto found = deviceMap.find(first);
    std::string cmdUdid = found != deviceMap.end() ? found->second.udid : udid;
    CFiUdid parsed;
    parsed.parse(cmdUdid);
    SCmdInfoPtr cmd(new SCmdInfo());
    cmd->cmddev = ::strdup(first.c_str());
    cmd->udid = cmdUdid;
    cmd->serial = parsed.getEnclosureId();
    auto previous = m_cmdDevices.find(parsed.getEnclosureId());
    if (previous != m_cmdDevices.end()) releaseCmdInfo(previous->second);
    m_cmdDevices[parsed.getEnclosureId()] = cmd;
  }
  return ZFI_OK;
}

void CHitachiPlugin::releaseCmdInfo(SCmdInfoPtr& cmd) {
  // A lookup of an enclosure without a command device leaves an empty entry.
  if (!cmd) return;
  std::free(cmd->cmddev);
  cmd->cmddev = nullptr;
  ::operator delete(cmd->info);
  cmd->info = nullptr;
}

void CHitachiPlugin::fini() {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::fini");
  for (auto& entry : m_cmdDevices) {
    HITACHI_TRACE(FI_TRACE_DETAIL, "RMLIB detach cmddev is being called for device '%s'",
                  entry.first.c_str());
    int rc = -1;
    try {
      rc = m_cmdIntf.detachCmd(entry.second);
    } catch (...) {
      // RMLIB's refusal arrives as an exception. Shutdown goes on whatever
      // one device does: the failure is traced below and the remaining
      // devices are still detached.
    }
    if (rc != 0) {
      HITACHI_TRACE(FI_TRACE_DETAIL, "CHitachiPlugin::fini() : RMLIB detach cmddev failed for device '%s'",
                    entry.first.c_str());
      // RMLIB has not let go of the device, so it may still use the block:
      // it stays allocated for the rest of the process.
      continue;
    }
    releaseCmdInfo(entry.second);
  }
  m_cmdDevices.clear();
  m_cmdIntf.fini();
}

CHitachiPlugin::~CHitachiPlugin() {
  // Traced through the plugin's own reference: at process exit the trace
  // log's singleton may already be gone.
  CFiTraceLogFunction trace(m_traceLog, "CHitachiPlugin::~CHitachiPlugin", __LINE__, __FILE__);
  // Frees nothing the records point to: without fini the devices are still
  // attached and RMLIB may still use their blocks.
  m_cmdDevices.clear();
  m_enclosureCmdDevNames.clear();
  if (m_cmdIntf.isInitialized()) m_cmdIntf.fini();
}
