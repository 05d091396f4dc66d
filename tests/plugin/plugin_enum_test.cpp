// The provider and FIM lists the plugin hands to the framework.
#include "cfilist.h"
#include "plugin_fixture.h"

using namespace frim_pdk_4_4;

namespace {

class Enumeration : public PluginTest {
 protected:
  void expectProviderList() {
    zfi_provider_list* list = nullptr;
    ASSERT_EQ(0, plugin->getProviderInfo(&list));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(nullptr, list->next);
    EXPECT_STREQ("hitachifi", list->name);
    EXPECT_EQ(7, list->version[0]);
    EXPECT_EQ(0, list->version[1]);
    EXPECT_EQ(0, list->version[2]);
    EXPECT_EQ(0, list->version[3]);
    EXPECT_EQ(1, list->first_attribute);
    EXPECT_EQ(2, list->second_attribute);
    ASSERT_EQ(2, list->prefix_count);
    EXPECT_STREQ("UDID##HITACHI##HDS##", list->udid_prefixes[0]);
    EXPECT_STREQ("UDID##HP##XP##", list->udid_prefixes[1]);
    EXPECT_EQ(nullptr, list->udid_prefixes[2]);
    CFiProviderListFactory::freeList(list);
  }
  void expectFimList() {
    zfi_fim_list* list = nullptr;
    ASSERT_EQ(0, plugin->enumerateFims(&list));
    const struct {
      const char* name;
      int technology;
    } expected[] = {{"Hitachi_ShadowImage", 1},
                    {"Hitachi_CopyOnWrite", 0},
                    {"HPXP_BusinessCopy", 1},
                    {"HPXP_Snapshot", 0}};
    size_t i = 0;
    for (zfi_fim_list* fim = list; fim != nullptr; fim = fim->next, ++i) {
      ASSERT_LT(i, 4u);
      EXPECT_STREQ(expected[i].name, fim->name);
      EXPECT_EQ(0, fim->consistency_class);
      EXPECT_EQ(0, fim->fim_type);
      EXPECT_EQ(1, fim->sync_type);
      EXPECT_EQ(expected[i].technology, fim->technology);
      EXPECT_EQ(0, fim->first_number);
      EXPECT_EQ(5, fim->second_number);
      EXPECT_STREQ(expected[i].name, fim->display_name);
      EXPECT_STREQ("1.0", fim->version);
      EXPECT_STREQ("none", fim->text);
    }
    EXPECT_EQ(4u, i);
    CFiFimListFactory::freeList(list);
  }
};

TEST_F(Enumeration, ListsHoldTheTablesBeforeAndAfterInitAndANullOutPointerIsAccepted) {
  expectProviderList();
  expectFimList();
  EXPECT_EQ(0, plugin->getProviderInfo(nullptr));
  EXPECT_EQ(0, plugin->enumerateFims(nullptr));
  ASSERT_EQ(0, plugin->init());
  expectProviderList();
  expectFimList();
  plugin->fini();
}

TEST_F(Enumeration, ListsAreTheSameAfterAFailedInit) {
  ::setenv("FRIM_DLOPEN_ROOT", (sim.dir() + "/nothing-here").c_str(), 1);
  ASSERT_EQ(30, plugin->init());
  expectProviderList();
  expectFimList();
}

}  // namespace
