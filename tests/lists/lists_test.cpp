// Provider and FIM lists, freed here the way the framework frees them (every
// block with frim_free_buf, as zfi.h lays them out); the sanitizer build
// shows that nothing is left over.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "cfilist.h"

using namespace frim_pdk_4_4;

namespace {

void frameworkFreeText(char* text) {
  if (text) frim_free_buf(text, std::strlen(text) + 1);
}

int frameworkFree(zfi_provider_list* list) {
  int elements = 0;
  for (zfi_provider_list* next; list; list = next, ++elements) {
    next = list->next;
    frameworkFreeText(list->name);
    for (int i = 0; i < list->prefix_count; ++i) frameworkFreeText(list->udid_prefixes[i]);
    frim_free_buf(list->udid_prefixes, (list->prefix_count + 1) * sizeof(char*));
    frim_free_buf(list, sizeof *list);
  }
  return elements;
}

int frameworkFree(zfi_fim_list* list) {
  int elements = 0;
  for (zfi_fim_list* next; list; list = next, ++elements) {
    next = list->next;
    for (char* text : {list->name, list->display_name, list->version, list->text}) frameworkFreeText(text);
    frim_free_buf(list, sizeof *list);
  }
  return elements;
}

// The field values and orders of real lists are checked on the plugin's own;
// their prefix lists come from CFiStringTool::tstrduplist.
TEST(Lists, FactoriesHandTheHeadOverWhenDoneAndTheFrameworkFreesEveryBlock) {
  zfi_provider_list* providers = nullptr;
  zfi_fim_list* fims = nullptr;
  {
    CFiProviderListFactory factory(&providers);
    CFiProviderInfo info;
    info.m_name = "first";
    info.m_udidPrefixes = {"UDID##A##", "UDID##B##"};
    EXPECT_TRUE(factory.add(info) && factory.add(CFiProviderInfo()));
    CFiFimListFactory fimFactory(&fims);
    EXPECT_TRUE(fimFactory.add(CFiFim("Full", 1, 2, 3, 1, 4, 5, "Full copy", "1.0", "none")));
    EXPECT_TRUE(fimFactory.add(CFiFim("Cow", 0, 0, 1, 0, 0, 5, "Copy on write", "2.1", "")));
    EXPECT_EQ(nullptr, providers);
  }
  ASSERT_TRUE(providers && fims);
  EXPECT_STREQ("UDID##B##", providers->udid_prefixes[1]);
  EXPECT_EQ(nullptr, providers->udid_prefixes[2]);
  EXPECT_EQ(2, frameworkFree(providers));
  EXPECT_EQ(2, frameworkFree(fims));

  EXPECT_TRUE(CFiFimListFactory(nullptr).add(CFiFim("Dropped", 0, 0, 1, 0, 0, 5, "d", "1.0", "none")));
}

}  // namespace
