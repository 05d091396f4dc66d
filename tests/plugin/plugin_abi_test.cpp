// The real plugin loaded with dlopen and driven through its exported C
// symbols against the simulator: a whole init, delayed init and fini, and a
// message text from its embedded catalog.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "sim_control.h"
#include "sysfs_tree.h"
#include "test_helpers.h"
#include "zfi.h"

namespace {

class PluginAbi : public ::testing::Test {
 protected:
  PluginAbi() : sim(SIM_ROOT) {}
  void SetUp() override {
    for (const auto& var :
         {std::make_pair("HITACHIFI_SYSFS_ROOT", sim.dir() + "/sys"),
          std::make_pair("HITACHIFI_CACHE_DIR", sim.dir()), std::make_pair("HITACHIFI_TRACE_DIR", sim.dir()),
          std::make_pair("HITACHIFI_TRACE_FILE", std::string("abi.log")),
          std::make_pair("HITACHIFI_TRACE_LEVEL", std::string("3"))})
      ::setenv(var.first, var.second.c_str(), 1);
    SysfsTree tree(sim.dir() + "/sys");
    tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
    tree.disk("sdi", "3:0:0:0", "HP      ", "OPEN-V-CM       ", "5200020FFF");
    handle = ::dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, handle) << ::dlerror();
    zfi_version version{};
    ASSERT_EQ(0, entry<int (*)(zfi_fw_info*, zfi_version*, const char*)>("init")(nullptr, &version, "fim"));
    EXPECT_EQ(7, version.major);
  }
  void TearDown() override {
    if (handle) ::dlclose(handle);
    ::unsetenv("HITACHIFI_TRACE_FILE");
    ::unsetenv("HITACHIFI_TRACE_LEVEL");
  }
  template <class Fn>
  Fn entry(const char* op) {
    return reinterpret_cast<Fn>(::dlsym(handle, (std::string("hitachifi_fi_pgn_") + op).c_str()));
  }
  SimControl sim;
  void* handle = nullptr;
};

TEST_F(PluginAbi, InitDelayedInitAndFiniAgainstTheSimulator) {
  EXPECT_EQ(0, entry<int (*)(zfi_domain*)>("cache_disable")(nullptr));  // runs delayed initialisation
  zfi_msg_info* message = nullptr;
  EXPECT_EQ(0, entry<int (*)(zfi_msg_info**)>("get_last_error")(&message));
  EXPECT_EQ(nullptr, message);
  entry<void (*)()>("fini")();
  const std::string log = readText(sim.dir() + "/abi.log");
  EXPECT_NE(std::string::npos, log.find("udid=\"UDID##HITACHI##HDS##410001##4095\""));
  EXPECT_NE(std::string::npos, log.find("udid=\"UDID##HP##XP##520002##4095\""));
  EXPECT_EQ(0, sim.calls("attachcmddev"));  // nothing attached without work to do
}

TEST_F(PluginAbi, LocaleMessageOfAReportedRecord) {
  zfi_msg_arg args[1] = {{ZFI_MSG_ARG_STRING, 0, const_cast<char*>("HPXP_Clone")}};
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>("MSG_ERROR_INVALID_SPLIT_TYPE");
  record.arg_count = 1;
  record.args = args;
  char* text = nullptr;
  int length = 0;
  ASSERT_EQ(0, entry<int (*)(int*, zfi_msg_info*, const char*, char**)>("get_locale_message")(
                   &length, &record, "en_US", &text));
  EXPECT_STREQ("The snapshot method 'HPXP_Clone' is not supported by this provider.", text);
  EXPECT_EQ(0, entry<int (*)(char**)>("del_locale_message")(&text));
  entry<void (*)()>("fini")();
}

}  // namespace
