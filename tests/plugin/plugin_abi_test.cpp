// The real plugin loaded with dlopen and driven through its exported C
// symbols against the simulator: a whole init, delayed init and fini.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "sim_control.h"
#include "sysfs_tree.h"
#include "test_helpers.h"
#include "zfi.h"

namespace {

TEST(PluginAbi, InitDelayedInitAndFiniAgainstTheSimulator) {
  SimControl sim(SIM_ROOT);
  for (const auto& var :
       {std::make_pair("HITACHIFI_SYSFS_ROOT", sim.dir() + "/sys"),
        std::make_pair("HITACHIFI_CACHE_DIR", sim.dir()), std::make_pair("HITACHIFI_TRACE_DIR", sim.dir()),
        std::make_pair("HITACHIFI_TRACE_FILE", std::string("abi.log")),
        std::make_pair("HITACHIFI_TRACE_LEVEL", std::string("3"))})
    ::setenv(var.first, var.second.c_str(), 1);
  SysfsTree tree(sim.dir() + "/sys");
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sdi", "3:0:0:0", "HP      ", "OPEN-V-CM       ", "5200020FFF");
  void* handle = ::dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, handle) << ::dlerror();
  auto entry = [handle](const char* op) {
    return ::dlsym(handle, (std::string("hitachifi_fi_pgn_") + op).c_str());
  };
  zfi_version version{};
  EXPECT_EQ(0, reinterpret_cast<int (*)(zfi_fw_info*, zfi_version*, const char*)>(entry("init"))(
                   nullptr, &version, "fim"));
  EXPECT_EQ(7, version.major);
  EXPECT_EQ(0, reinterpret_cast<int (*)(zfi_domain*)>(entry("cache_disable"))(nullptr));  // runs delayed init
  reinterpret_cast<void (*)()>(entry("fini"))();
  ::dlclose(handle);
  const std::string log = readText(sim.dir() + "/abi.log");
  EXPECT_NE(std::string::npos, log.find("udid=\"UDID##HITACHI##HDS##410001##4095\""));
  EXPECT_NE(std::string::npos, log.find("udid=\"UDID##HP##XP##520002##4095\""));
  EXPECT_EQ(0, sim.calls("attachcmddev"));  // nothing attached without work to do
}

}  // namespace
