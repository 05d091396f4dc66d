// Provider and FIM lists handed to the framework, and the string list tools.
// The lists are freed here the way the framework frees them (every block
// with frim_free_buf, as zfi.h lays them out); the sanitizer build shows
// that nothing is left over.
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
  while (list) {
    zfi_provider_list* next = list->next;
    frameworkFreeText(list->name);
    for (int i = 0; i < list->prefix_count; ++i) frameworkFreeText(list->udid_prefixes[i]);
    frim_free_buf(list->udid_prefixes, (list->prefix_count + 1) * sizeof(char*));
    frim_free_buf(list, sizeof *list);
    list = next;
    ++elements;
  }
  return elements;
}

int frameworkFree(zfi_fim_list* list) {
  int elements = 0;
  while (list) {
    zfi_fim_list* next = list->next;
    frameworkFreeText(list->name);
    frameworkFreeText(list->display_name);
    frameworkFreeText(list->version);
    frameworkFreeText(list->text);
    frim_free_buf(list, sizeof *list);
    list = next;
    ++elements;
  }
  return elements;
}

CFiProviderInfo provider(const char* name, std::vector<ACE_CString> prefixes) {
  CFiProviderInfo info;
  info.m_name = name;
  info.m_version[0] = 7;
  info.m_version[3] = 9;
  info.m_firstAttribute = 1;
  info.m_secondAttribute = 2;
  info.m_udidPrefixes = prefixes;
  return info;
}

TEST(StringTool, DuplicatedListIsNullTerminatedAndIndependent) {
  std::vector<ACE_CString> texts = {"UDID##HITACHI##HDS##", "", "UDID##HP##XP##"};
  char** copy = CFiStringTool::tstrduplist(texts);
  ASSERT_NE(nullptr, copy);
  texts[0] = "changed";
  EXPECT_STREQ("UDID##HITACHI##HDS##", copy[0]);
  EXPECT_STREQ("", copy[1]);
  EXPECT_STREQ("UDID##HP##XP##", copy[2]);
  EXPECT_EQ(nullptr, copy[3]);
  CFiStringTool::tstrfreelist(copy);
  char** empty = CFiStringTool::tstrduplist({});
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(nullptr, empty[0]);
  CFiStringTool::tstrfreelist(empty);
  CFiStringTool::tstrfreelist(nullptr);
}

TEST(ProviderList, FactoryAppendsInOrderAndHandsTheHeadOver) {
  zfi_provider_list* list = nullptr;
  {
    CFiProviderListFactory factory(&list);
    EXPECT_TRUE(factory.add(provider("first", {"UDID##A##"})));
    EXPECT_TRUE(factory.add(provider("second", {"UDID##B##", "UDID##C##"})));
    EXPECT_EQ(2, factory.count());
    EXPECT_EQ(nullptr, list);  // handed over when the factory is done
  }
  ASSERT_NE(nullptr, list);
  EXPECT_STREQ("first", list->name);
  EXPECT_EQ(7, list->version[0]);
  EXPECT_EQ(9, list->version[3]);
  EXPECT_EQ(1, list->first_attribute);
  EXPECT_EQ(2, list->second_attribute);
  ASSERT_EQ(1, list->prefix_count);
  EXPECT_STREQ("UDID##A##", list->udid_prefixes[0]);
  ASSERT_NE(nullptr, list->next);
  EXPECT_STREQ("second", list->next->name);
  ASSERT_EQ(2, list->next->prefix_count);
  EXPECT_STREQ("UDID##C##", list->next->udid_prefixes[1]);
  EXPECT_EQ(nullptr, list->next->udid_prefixes[2]);
  EXPECT_EQ(2, frameworkFree(list));
}

TEST(ProviderList, WithoutAnOutPointerTheFactoryFreesItsListAndAnEmptyOneGivesNull) {
  {
    CFiProviderListFactory dropped(nullptr);
    EXPECT_TRUE(dropped.add(provider("dropped", {"UDID##A##"})));
  }
  zfi_provider_list sentinel{};
  zfi_provider_list* list = &sentinel;  // whatever the caller held is overwritten
  { CFiProviderListFactory factory(&list); }
  EXPECT_EQ(nullptr, list);
}

TEST(FimList, FactoryCopiesEveryFieldInOrder) {
  zfi_fim_list* list = nullptr;
  {
    CFiFimListFactory factory(&list);
    EXPECT_TRUE(factory.add(CFiFim("Full", 1, 2, 3, 1, 4, 5, "Full copy", "1.0", "none")));
    EXPECT_TRUE(factory.add(CFiFim("Cow", 0, 0, 1, 0, 0, 5, "Copy on write", "2.1", "")));
    EXPECT_EQ(2, factory.count());
  }
  ASSERT_NE(nullptr, list);
  EXPECT_STREQ("Full", list->name);
  EXPECT_EQ(1, list->consistency_class);
  EXPECT_EQ(2, list->fim_type);
  EXPECT_EQ(3, list->sync_type);
  EXPECT_EQ(1, list->technology);
  EXPECT_EQ(4, list->first_number);
  EXPECT_EQ(5, list->second_number);
  EXPECT_STREQ("Full copy", list->display_name);
  EXPECT_STREQ("1.0", list->version);
  EXPECT_STREQ("none", list->text);
  ASSERT_NE(nullptr, list->next);
  EXPECT_STREQ("Cow", list->next->name);
  EXPECT_EQ(0, list->next->technology);
  EXPECT_STREQ("", list->next->text);
  EXPECT_EQ(nullptr, list->next->next);
  EXPECT_EQ(2, frameworkFree(list));
}

}  // namespace
