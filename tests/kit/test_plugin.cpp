// A plugin for testing the entry-point shell: generated from the same macro
// as the real plugin, its operations record their calls and return what the
// test asks for. Its init registers the real message catalog, and
//   objctl("push", "kind=..\ncall=..\nenclosure=..\nerror=..\nreason=..\n
//          file=..\nline=..\nvdisk=..\nvdiskCopy=..\nstatus=..")
// reports a CHitachiException built from the arguments and stores 6, as the
// plugin's operation guard does.
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "cfiapiexport.h"
#include "hitachi_exception.h"

ACE_CString cfi_pgn_name_tstr("testfi");

namespace {

std::string g_calls;
std::map<std::string, int> g_results;

int number(const frim_pdk_4_4::CFiObjctlArgs& args, const char* name) {
  return std::atoi(args.get(name, "0").c_str());
}

int pushException(const frim_pdk_4_4::CFiObjctlArgs& args) {
  CHitachiException e;
  e.m_kind = number(args, "kind");
  e.m_errorNumber = number(args, "error");
  e.m_reason = args.get("reason");
  e.m_apiName = args.get("call");
  e.m_enclosureId = args.get("enclosure");
  e.m_file = args.get("file");
  e.m_line = number(args, "line");
  e.m_vdisk = args.get("vdisk");
  e.m_vdiskCopy = args.get("vdiskCopy");
  e.m_pairStatus = args.get("status");
  e.push();
  return ZFI_E_REPORTED;
}

int resultFor(const std::string& op, int fallback) {
  auto found = g_results.find(op);
  return found == g_results.end() ? fallback : found->second;
}

void record(const std::string& what) {
  g_calls += what;
  g_calls += ';';
}

std::string nodeNames(zfi_splitnode** nodes, int count) {
  std::string names;
  for (int i = 0; nodes != nullptr && i < count; ++i) {
    names += (i ? "," : "");
    names += (nodes[i] && nodes[i]->node && nodes[i]->node->name) ? nodes[i]->node->name : "?";
  }
  return names;
}

std::string sessionNames(frim_pdk_4_4::CFiSessionPtr& session) {
  std::string names;
  for (auto& entry : session->getSplitNodeMap()) names += (names.empty() ? "" : ",") + entry.first;
  return names;
}

}  // namespace

int g_livePlugins = 0;

class CTestPlugin : public frim_pdk_4_4::CFiPluginInterposer {
 public:
  CTestPlugin() { ++g_livePlugins; }
  ~CTestPlugin() override { --g_livePlugins; }
  int delayedInit() override {
    record("delayedInit");
    return resultFor("delayedInit", 0);
  }
  int init() override {
    record("init");
    using namespace frim_pdk_4_4;
    CFiCatalogManagerPtr catalogs =
        CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
    if (catalogs->factoryCount() == 0) {
      catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", cfi_pgn_name_tstr));
    }
    return resultFor("init", 0);
  }
  void fini() override { record("fini"); }
  int select(char* id, zfi_splitnode** nodes, int count) override {
    record("select(" + std::string(id ? id : "") + ":" + nodeNames(nodes, count) + ")");
    return resultFor("select", CFiPluginInterposer::select(id, nodes, count));
  }
  int prepare(char* id, zfi_splitnode** nodes, int count, int flags) override {
    record("prepare(" + nodeNames(nodes, count) + ":" + std::to_string(flags) + ")");
    return resultFor("prepare", CFiPluginInterposer::prepare(id, nodes, count, flags));
  }
  int make(char* id, zfi_splitnode** nodes, int count, frim_objid*** ids, int* idCount) override {
    record("make(" + nodeNames(nodes, count) + ")");
    return resultFor("make", CFiPluginInterposer::make(id, nodes, count, ids, idCount));
  }
  int selectSnapshots(frim_pdk_4_4::CFiSessionPtr& session) override {
    record("selectSnapshots(" + session->getId() + ":" + sessionNames(session) + ")");
    return resultFor("selectSnapshots", 0);
  }
  int prepareSnapshots(frim_pdk_4_4::CFiSessionPtr& session) override {
    record("prepareSnapshots(" + session->getId() + ":" + sessionNames(session) + ")");
    return resultFor("prepareSnapshots", 0);
  }
  int makeSnapshots(frim_pdk_4_4::CFiSessionPtr& session) override {
    record("makeSnapshots(" + session->getId() + ":" + sessionNames(session) + ")");
    return resultFor("makeSnapshots", 0);
  }
  int isReady(char*, zfi_splitnode** nodes, int count) override {
    record("isReady(" + nodeNames(nodes, count) + ")");
    return 0;
  }
  int translateResourceNames(char**, int count, char**) override {
    record("translateResourceNames(" + std::to_string(count) + ")");
    return 0;
  }
  int objctl(ACE_CString command, frim_pdk_4_4::CFiObjctlArgs& args) override {
    if (command == "push") return pushException(args);
    record("objctl(" + std::string(command.c_str()) + ":" + args.get("in") + ")");
    args.add("out", "done=" + args.get("in"));
    return resultFor("objctl", 0);
  }
  int cacheDisable(zfi_domain*, int second) override {
    record("cacheDisable(" + std::to_string(second) + ")");
    return 0;
  }
  int cacheEnable(zfi_domain*, int second) override {
    record("cacheEnable(" + std::to_string(second) + ")");
    return 0;
  }
  int initAltNode(zfi_domain*, zfi_domain*, zfi_domain*, bool remote) override {
    record(std::string("initAltNode(") + (remote ? "true" : "false") + ")");
    return 0;
  }
  int postDeport(zfi_domain*, zfi_domain*) override {
    record("postDeport");
    return resultFor("postDeport", 0);
  }
};

CFI_API_EXPORT_ALL(testfi, CTestPlugin)

// Test control, exported next to the entry points.
CFI_EXPORT_C void testfi_test_set_result(const char* op, int result) { g_results[op] = result; }
CFI_EXPORT_C const char* testfi_test_calls() { return g_calls.c_str(); }
CFI_EXPORT_C void testfi_test_reset() {
  g_calls.clear();
  g_results.clear();
}
// How many plugin objects exist now.
CFI_EXPORT_C int testfi_test_live_plugins() { return g_livePlugins; }
