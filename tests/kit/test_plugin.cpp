// A plugin for testing the entry-point shell, generated from the same macro
// as the real plugin: its operations record their calls and return what the
// test asks for. Its init registers the real message catalog, and
// objctl("push", "kind=..\ncall=..\nreason=..") reports a CHitachiException
// built from the arguments and stores 6, as the plugin's operation guard does.
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "cfiapiexport.h"
#include "hitachi_exception.h"

ACE_CString cfi_pgn_name_tstr("testfi");

namespace {
using namespace frim_pdk_4_4;

std::string g_calls;
std::map<std::string, int> g_results;
int g_livePlugins = 0;

int pushException(const CFiObjctlArgs& args) {
  auto number = [&](const char* name) { return std::atoi(args.get(name, "0").c_str()); };
  CHitachiException e;
  e.m_kind = number("kind");
  e.m_errorNumber = number("error");
  e.m_line = number("line");
  e.m_reason = args.get("reason");
  e.m_apiName = args.get("call");
  e.m_enclosureId = args.get("enclosure");
  e.m_file = args.get("file");
  e.push();
  return ZFI_E_REPORTED;
}

// Records "<op><detail>;" and answers what the test set for `op`, else `fallback`.
int note(const std::string& op, const std::string& detail = "", int fallback = 0) {
  g_calls += op + detail + ';';
  auto found = g_results.find(op);
  return found == g_results.end() ? fallback : found->second;
}

std::string names(const char* id, zfi_splitnode** nodes, int count) {
  std::string out = "(" + std::string(id ? id : "") + ":";
  for (int i = 0; nodes != nullptr && i < count; ++i) {
    out += (i ? "," : "");
    out += (nodes[i] && nodes[i]->node && nodes[i]->node->name) ? nodes[i]->node->name : "?";
  }
  return out + ")";
}

std::string names(CFiSessionPtr& session) {
  std::string out;
  for (auto& entry : session->getSplitNodeMap()) out += (out.empty() ? "" : ",") + entry.first;
  return "(" + session->getId() + ":" + out + ")";
}

}  // namespace

class CTestPlugin : public CFiPluginInterposer {
 public:
  CTestPlugin() { ++g_livePlugins; }
  ~CTestPlugin() override { --g_livePlugins; }
  int delayedInit() override { return note("delayedInit"); }
  int init() override {
    CFiCatalogManagerPtr catalogs =
        CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
    if (catalogs->factoryCount() == 0)
      catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", "testfi"));
    return note("init");
  }
  void fini() override { note("fini"); }
  int select(char* id, zfi_splitnode** nodes, int count) override {
    return note("select", names(id, nodes, count), CFiPluginInterposer::select(id, nodes, count));
  }
  int prepare(char* id, zfi_splitnode** nodes, int count, int flags) override {
    return note("prepare", names(std::to_string(flags).c_str(), nodes, count),
                CFiPluginInterposer::prepare(id, nodes, count, flags));
  }
  int make(char* id, zfi_splitnode** nodes, int count, frim_objid*** ids, int* idCount) override {
    return note("make", names(id, nodes, count), CFiPluginInterposer::make(id, nodes, count, ids, idCount));
  }
  int selectSnapshots(CFiSessionPtr& session) override { return note("selectSnapshots", names(session)); }
  int prepareSnapshots(CFiSessionPtr& session) override { return note("prepareSnapshots", names(session)); }
  // Names each node's snapshot as a plugin's make does: its second name.
  int makeSnapshots(CFiSessionPtr& session) override {
    const std::string listed = names(session);
    for (auto& entry : session->getSplitNodeMap())
      entry.second.m_secondName = ("SNAP-" + entry.first).c_str();
    return note("makeSnapshots", listed);
  }
  int isReady(char* id, zfi_splitnode** nodes, int count) override {
    return note("isReady", names(id, nodes, count));
  }
  int translateResourceNames(char**, int count, char**) override {
    return note("translateResourceNames", "(" + std::to_string(count) + ")");
  }
  int objctl(ACE_CString command, CFiObjctlArgs& args) override {
    if (command == "push") return pushException(args);
    args.add("out", "done=" + args.get("in"));
    return note("objctl");
  }
  int cacheDisable(zfi_domain*, int second) override {
    return note("cacheDisable", "(" + std::to_string(second) + ")");
  }
  int cacheEnable(zfi_domain*, int second) override {
    return note("cacheEnable", "(" + std::to_string(second) + ")");
  }
  int initAltNode(zfi_domain*, zfi_domain*, zfi_domain*, bool remote) override {
    return note("initAltNode", remote ? "(remote)" : "");
  }
  int postDeport(zfi_domain*, zfi_domain*) override { return note("postDeport"); }
};

CFI_API_EXPORT_ALL(testfi, CTestPlugin)

// Test controls, exported next to the entry points.
CFI_EXPORT_C void testfi_test_set_result(const char* op, int result) { g_results[op] = result; }
CFI_EXPORT_C const char* testfi_test_calls() { return g_calls.c_str(); }
CFI_EXPORT_C int testfi_test_live_plugins() { return g_livePlugins; }
