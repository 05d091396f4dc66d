// The provider and FIM lists the plugin hands to the framework.
#include "cfilist.h"
#include "plugin_fixture.h"

namespace {

class Enumeration : public PluginTest {
 protected:
  void expectLists() {
    zfi_provider_list* provider = nullptr;
    ASSERT_EQ(0, plugin->getProviderInfo(&provider));
    ASSERT_TRUE(provider && provider->prefix_count == 2);
    char line[200];
    std::snprintf(line, sizeof line, "%s %d.%d.%d.%d %d %d %s %s %p %p", provider->name, provider->version[0],
                  provider->version[1], provider->version[2], provider->version[3], provider->first_attribute,
                  provider->second_attribute, provider->udid_prefixes[0], provider->udid_prefixes[1],
                  static_cast<void*>(provider->udid_prefixes[2]), static_cast<void*>(provider->next));
    EXPECT_STREQ("hitachifi 7.0.0.0 1 2 UDID##HITACHI##HDS## UDID##HP##XP## (nil) (nil)", line);
    CFiProviderListFactory::freeList(provider);
    zfi_fim_list* fims = nullptr;
    ASSERT_EQ(0, plugin->enumerateFims(&fims));
    std::string described;
    for (zfi_fim_list* fim = fims; fim != nullptr; fim = fim->next) {
      std::snprintf(line, sizeof line, "%s %d %d %d %d %d %d %s %s %s\n", fim->name, fim->consistency_class,
                    fim->fim_type, fim->sync_type, fim->technology, fim->first_number, fim->second_number,
                    fim->display_name, fim->version, fim->text);
      described += line;
    }
    EXPECT_EQ(
        "Hitachi_ShadowImage 0 0 1 1 0 5 Hitachi_ShadowImage 1.0 none\n"
        "Hitachi_CopyOnWrite 0 0 1 0 0 5 Hitachi_CopyOnWrite 1.0 none\n"
        "HPXP_BusinessCopy 0 0 1 1 0 5 HPXP_BusinessCopy 1.0 none\n"
        "HPXP_Snapshot 0 0 1 0 0 5 HPXP_Snapshot 1.0 none\n",
        described);
    CFiFimListFactory::freeList(fims);
  }
};

TEST_F(Enumeration, ListsHoldTheTablesBeforeAndAfterInitAndANullOutPointerIsAccepted) {
  expectLists();
  EXPECT_EQ(0, plugin->getProviderInfo(nullptr));
  EXPECT_EQ(0, plugin->enumerateFims(nullptr));
  ASSERT_EQ(0, plugin->init());
  expectLists();
  plugin->fini();
}

}  // namespace
