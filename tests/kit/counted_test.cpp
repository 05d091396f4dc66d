// Counted pointers, context singletons and the plugin base's layout.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfipluginbase.h"

using namespace frim_pdk_4_4;

namespace {

std::vector<std::string> g_events;

// Records every change of its count and its destruction.
struct Counted : public virtual CFiRefCount {
  explicit Counted(const char* name = "t") : m_name(name) {}
  ~Counted() override { g_events.push_back(m_name + " deleted"); }
  int increment() override {
    g_events.push_back(m_name + "+");
    return CFiRefCount::increment();
  }
  int decrement() override {
    g_events.push_back(m_name + "-");
    return CFiRefCount::decrement();
  }
  std::string m_name;
};

// Takes and drops a counted pointer to itself while being destroyed.
struct SelfReferencing : public virtual CFiRefCount {
  ~SelfReferencing() override {
    CFiSmartPtr<SelfReferencing, CFiNullAllocator<SelfReferencing>> again(this);
    g_events.push_back("deleted");
  }
};

TEST(CountedPointers, TheLastReleaseCountsBackToOneBeforeDeletingAndAssignmentReleasesFirst) {
  g_events.clear();
  CFiSmartPtr<Counted, CFiContextSingletonAllocator<Counted>> first(true);
  auto copy = first;
  EXPECT_EQ(1, copy.release());
  EXPECT_EQ(0, first.release());
  EXPECT_EQ((std::vector<std::string>{"t+", "t+", "t-", "t-", "t+", "t deleted"}), g_events);
  EXPECT_EQ(-1, first.release());
  using CountedPtr = CFiSmartPtr<Counted, CFiNullAllocator<Counted>>;
  EXPECT_TRUE(CountedPtr(true).isNull());  // never creates

  // Assignment releases the old target before counting the new.
  CountedPtr a(new Counted("a")), b(new Counted("b"));
  a = *&a;
  g_events.clear();
  a = b;
  EXPECT_EQ((std::vector<std::string>{"a-", "a+", "a deleted", "b+"}), g_events);

  // So a destructor that takes a reference to its object deletes it once.
  g_events.clear();
  CFiSmartPtr<SelfReferencing, CFiContextSingletonAllocator<SelfReferencing>> self(true);
  EXPECT_EQ(0, self.release());
  EXPECT_EQ((std::vector<std::string>{"deleted"}), g_events);
}

TEST(ContextSingleton, SuccessiveInstancesShareOneObjectUntilReleased) {
  struct Tag {};
  using Singleton = CFiContextSingleton<Counted, Tag>;
  EXPECT_TRUE(Singleton::instance(true).isNull());  // nothing to release, nothing made
  auto first = Singleton::instance(false);
  EXPECT_EQ(first.get(), Singleton::instance(false).get());
  EXPECT_EQ(2, first->getCount());  // the holder's and ours
  first.release();
  g_events.clear();
  EXPECT_TRUE(Singleton::instance(true).isNull());
  EXPECT_EQ((std::vector<std::string>{"t-", "t+", "t deleted"}), g_events);
}

// Index of a virtual operation in its class's table (Itanium C++ ABI: a
// pointer to a virtual member holds 1 + the byte offset of its slot).
template <class F>
std::ptrdiff_t slotOf(F member) {
  struct {
    std::uintptr_t ptr;
    std::ptrdiff_t adj;
  } rep;
  static_assert(sizeof(member) == sizeof(rep), "Itanium member pointer");
  std::memcpy(&rep, &member, sizeof rep);
  return static_cast<std::ptrdiff_t>((rep.ptr - 1) / sizeof(void*));
}

template <class... F>
std::vector<std::ptrdiff_t> slotsOf(F... members) {
  return {slotOf(members)...};
}

TEST(PluginBase, VirtualOperationsKeepTheFrameworksSlotOrderAndConfigRecordsTheirPlaces) {
  using B = CFiPluginBase;
  // Slot 1, the destructor, takes the first two entries of the table.
  const std::vector<std::ptrdiff_t> slots = slotsOf(
      &B::delayedInit, &B::globalConfigInfoList, &B::init, &B::fini, &B::claim, &B::supportsFiType,
      &B::deportTree, &B::importTreeNode, &B::initNode, &B::config, &B::initAltNode, &B::reAccessTmpObj,
      &B::reAccessAltNode, &B::deInitNode, &B::dispose, &B::online, &B::subobjList, &B::errMsg,
      &B::buildAltTree, &B::quiesce, &B::unquiesce, &B::make, &B::makeSnapshots, &B::prepare,
      &B::prepareSnapshots, &B::select, &B::selectSnapshots, &B::isReady, &B::cacheDisable, &B::cacheEnable,
      &B::cacheFlush, &B::interpose, &B::getAttr, &B::getProviderInfo, &B::enumerateNodes,
      &B::enumerateAssociations, &B::enumerateGroupNodes, &B::enumerateFims, &B::isValidNodeAssociation,
      &B::getAssociatedNodes, &B::checkNodeExistence, &B::objctl, &B::processProviderState, &B::getLastError,
      &B::delLastError, &B::getLocaleMessage, &B::delLocaleMessage, &B::enableAccess, &B::disableAccess,
      &B::restore, &B::resync, &B::getStatus, &B::prePrepare, &B::queryValidSecondaries, &B::resourceStatus,
      &B::revisitPluginNodes, &B::verifyQSCombos, &B::setImportOptions, &B::startBuildAltTree,
      &B::translateResourceNames, &B::enumerateEnclosures, &B::importResource, &B::format,
      &B::enumerateHostNodes, &B::onlineResource, &B::deportResource, &B::isParentPgn, &B::unformat,
      &B::preDeportResource, &B::refreshTree, &B::getBackupset, &B::getAppStatus, &B::setOpStatus,
      &B::setCompStatus, &B::setRestorepaths, &B::createSnapReplicaNode, &B::updateSnapshotId,
      &B::getSnapshotSetId, &B::preselect, &B::updateSnapshotHandle, &B::getSnapdiff, &B::postDeport,
      &B::addIgnoreNodeType, &B::setDefaultNodeType);
  ASSERT_EQ(84u, slots.size());
  for (size_t i = 0; i < slots.size(); ++i) EXPECT_EQ(static_cast<std::ptrdiff_t>(i + 2), slots[i]) << i + 2;
  // The interposer's overrides take the base's slots and add none before them.
  EXPECT_EQ(slots[83], slotOf(&CFiPluginInterposer::setDefaultNodeType));
  EXPECT_EQ(slots[83] + 1, slotOf(&CFiPluginInterposer::importNode));  // slot 86, the interposer's own
  CFiPluginInterposer plugin;  // config records: two lists of two, the second after the first
  EXPECT_EQ(plugin.globalConfigInfoList(0, false) + 3, plugin.globalConfigInfoList(1, true));
}

}  // namespace
