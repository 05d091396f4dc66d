// Counted pointers and context singletons.
#include <gtest/gtest.h>

#include "cficontextsingleton.h"
#include "cfipluginbase.h"

using namespace frim_pdk_4_4;

namespace {

int g_destroyed = 0;

struct Counted : public virtual CFiRefCount {
  ~Counted() override { ++g_destroyed; }
};

// Takes and drops a counted pointer to itself while being destroyed.
struct SelfReferencing : public virtual CFiRefCount {
  ~SelfReferencing() override {
    CFiSmartPtr<SelfReferencing, CFiNullAllocator<SelfReferencing>> again(this);
    ++g_destroyed;
  }
};

struct Widget : public virtual CFiRefCount {
  int value = 6000;
};
struct OtherTag {};

class CountedPointers : public ::testing::Test {
 protected:
  void SetUp() override { g_destroyed = 0; }
};

TEST_F(CountedPointers, CopiesShareAndLastReleaseDeletes) {
  CFiSmartPtr<Counted, CFiContextSingletonAllocator<Counted>> first(true);
  EXPECT_EQ(1, first->getCount());
  auto copy = first;
  EXPECT_EQ(2, first->getCount());
  EXPECT_EQ(1, copy.release());
  EXPECT_EQ(0, g_destroyed);
  EXPECT_EQ(0, first.release());
  EXPECT_EQ(1, g_destroyed);
  EXPECT_TRUE(first.isNull());
}

TEST_F(CountedPointers, ReleaseOfEmptyReturnsMinusOne) {
  CFiSmartPtr<Counted, CFiNullAllocator<Counted>> empty;
  EXPECT_EQ(-1, empty.release());
  CFiSmartPtr<Counted, CFiNullAllocator<Counted>> nullAllocator(true);  // never creates
  EXPECT_TRUE(nullAllocator.isNull());
}

TEST_F(CountedPointers, SelfAssignmentKeepsTheObject) {
  CFiSmartPtr<Counted, CFiContextSingletonAllocator<Counted>> p(true);
  auto& alias = p;
  p = alias;
  EXPECT_EQ(1, p->getCount());
  EXPECT_EQ(0, g_destroyed);
}

TEST_F(CountedPointers, AssignmentReleasesTheOldTargetFirst) {
  CFiSmartPtr<Counted, CFiContextSingletonAllocator<Counted>> a(true), b(true);
  a = b;
  EXPECT_EQ(1, g_destroyed);
  EXPECT_EQ(2, b->getCount());
}

TEST_F(CountedPointers, DestructionThatTakesAReferenceDeletesOnce) {
  CFiSmartPtr<SelfReferencing, CFiContextSingletonAllocator<SelfReferencing>> p(true);
  EXPECT_EQ(0, p.release());
  EXPECT_EQ(1, g_destroyed);
}

TEST(ContextSingleton, TwoInstancesAreTheSameObjectWithCountOne) {
  auto first = CFiContextSingleton<Widget, OtherTag>::instance(false);
  auto second = CFiContextSingleton<Widget, OtherTag>::instance(false);
  EXPECT_EQ(first.get(), second.get());
  first.release();
  second.release();
  auto holder = CFiContextSingleton<Widget, OtherTag>::instance(false);
  EXPECT_EQ(2, holder->getCount());  // the holder's and ours
  holder.release();
  CFiContextSingleton<Widget, OtherTag>::instance(true);
}

TEST(ContextSingleton, ReleaseOnEmptyHolderCreatesNothing) {
  struct Tag {};
  using Singleton = CFiContextSingleton<Widget, Tag>;
  EXPECT_TRUE(Singleton::instance(true).isNull());
  EXPECT_TRUE(Singleton::instance(true).isNull());
}

TEST(ContextSingleton, AfterReleaseANewObjectWithDefaultsIsMade) {
  struct Tag {};
  auto plugin = CFiContextSingleton<CFiPluginInterposer, Tag>::instance(false);
  plugin->setMessageIndexOffset(17);
  plugin->setDelayedInitDone(true);
  CFiPluginInterposer* old = plugin.get();
  plugin.release();
  CFiContextSingleton<CFiPluginInterposer, Tag>::instance(true);
  auto fresh = CFiContextSingleton<CFiPluginInterposer, Tag>::instance(false);
  EXPECT_EQ(6000, fresh->getMessageIndexOffset());
  EXPECT_FALSE(fresh->isDelayedInitDone());
  (void)old;
  fresh.release();
  CFiContextSingleton<CFiPluginInterposer, Tag>::instance(true);
}

TEST(PluginBase, GlobalConfigRecordsAreAddressedByIndexAndList) {
  CFiPluginInterposer plugin;
  CFiConfigParamInfo* first = plugin.globalConfigInfoList(0, false);
  CFiConfigParamInfo* fourth = plugin.globalConfigInfoList(1, true);
  EXPECT_EQ(first + 3, fourth);
  EXPECT_EQ(6, fourth->m_firstAttribute);
  EXPECT_EQ(3, fourth->m_secondAttribute);
  EXPECT_EQ(-1, fourth->m_minimum);
  EXPECT_EQ(-1, fourth->m_maximum);
}

TEST(PluginBase, NodeListFormsDeferToTheSessionForm) {
  CFiPluginInterposer plugin;
  EXPECT_EQ(ZFI_E_USE_SESSION, plugin.select(nullptr, nullptr, 0));
  EXPECT_EQ(ZFI_E_USE_SESSION, plugin.prepare(nullptr, nullptr, 0, 0));
  EXPECT_EQ(ZFI_E_USE_SESSION, plugin.make(nullptr, nullptr, 0, nullptr, nullptr));
  frim_objid** list = reinterpret_cast<frim_objid**>(0x1);
  int count = 5;
  EXPECT_EQ(ZFI_OK, plugin.claim(nullptr, &list, &count));
  EXPECT_EQ(nullptr, list);
  EXPECT_EQ(0, count);
  zfi_msg_info* info = reinterpret_cast<zfi_msg_info*>(0x1);
  EXPECT_EQ(ZFI_E_INVALID, plugin.getLastError(&info));  // no error manager registered
  EXPECT_EQ(nullptr, info);
}

TEST(PluginBase, GroupNodesAndFimsByUdidPrefix) {
  CFiPluginInterposer plugin;
  plugin.addFim("UDID##HP##XP##", "HPXP_Snapshot", "FI_QUIESCE_NONE", 3, "");
  plugin.addFim("UDID##HITACHI##HDS##", "Hitachi_ShadowImage", "FI_QUIESCE_NONE", 3, "");
  ASSERT_EQ(1u, plugin.fimsForUdid("UDID##HP##XP##1##2").size());
  EXPECT_EQ("HPXP_Snapshot", plugin.fimsForUdid("UDID##HP##XP##1##2")[0].m_name);
  EXPECT_TRUE(plugin.fimsForUdid("UDID##EMC##X##1").empty());
  plugin.addGroupNodePrefix("UDID##GROUP##");
  EXPECT_TRUE(plugin.isGroupNode("UDID##GROUP##7"));
  EXPECT_FALSE(plugin.isGroupNode("UDID##HP##XP##1"));
}

}  // namespace
