// Node import through import_resource, the entry point that carries the
// framework's import flags.
#include "plugin_host.h"

namespace {

class NodeImport : public PluginOnSimulator {};

TEST_F(NodeImport, OnlyTheOffHostModeIsRefused) {
  const std::string refused =
      "CHitachiPlugin::importNode - importNode for ZFI_IMPORT_OFFHOST use case is not supported.";
  auto import = plugin->entry<int (*)(char**, char*, char*, char*, int, char**, char*)>("import_resource");
  char resource[] = "UDID##HITACHI##HDS##410001##512";
  char* names[] = {resource, nullptr};
  char node[] = "<hitachifi>UDID##HITACHI##HDS##410001##256";
  sim.resetCounters();
  struct Case {
    int flags;
    int result;
  };
  for (const Case& c : {Case{0, 0}, Case{1, 0}, Case{4, 0}, Case{2, 4}, Case{3, 4}, Case{6, 4}}) {
    SCOPED_TRACE(c.flags);
    const size_t before = traceTexts(tracePath(), 1).size();
    EXPECT_EQ(c.result, import(names, node, nullptr, nullptr, c.flags, nullptr, nullptr));
    EXPECT_EQ(c.result, import(nullptr, nullptr, nullptr, nullptr, c.flags, nullptr, nullptr));
    const std::vector<std::string> errors = traceTexts(tracePath(), 1);
    EXPECT_EQ(before + (c.result ? 2 : 0), errors.size());
    if (c.result) {
      EXPECT_EQ(refused, errors.back());
    }
  }
  EXPECT_EQ(0, sim.totalCalls());
}

}  // namespace
