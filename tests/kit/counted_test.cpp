// Counted pointers and context singletons.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cficontextsingleton.h"

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

}  // namespace
