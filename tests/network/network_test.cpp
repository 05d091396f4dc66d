// This host's names from the system resolver.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "cmnnetwork.h"

namespace {

class HostNames : public ::testing::Test {
 protected:
  void SetUp() override { ::unsetenv("HITACHIFI_HOSTNAME"); }
  void TearDown() override { ::unsetenv("HITACHIFI_HOSTNAME"); }
  static std::string systemName() {
    char host[256] = {0};
    EXPECT_EQ(0, ::gethostname(host, sizeof host - 1));
    return host;
  }
};

TEST_F(HostNames, ComputerNameIsTheSystemsHostName) {
  EXPECT_EQ(systemName(), CCmnNetwork::getComputerName());
}

TEST_F(HostNames, FqdnIsTheResolversCanonicalNameElseTheHostName) {
  const std::string host = systemName();
  std::string canonical;
  const bool resolved = CCmnNetwork::getFQDN(host, canonical);
  EXPECT_EQ(resolved ? canonical : host, CCmnNetwork::getFQDN());
  EXPECT_FALSE(CCmnNetwork::getFQDN().empty());
}

TEST_F(HostNames, LocalhostResolvesToACanonicalName) {
  std::string canonical = "left over";
  ASSERT_TRUE(CCmnNetwork::getFQDN("localhost", canonical));
  EXPECT_FALSE(canonical.empty());
}

TEST_F(HostNames, AnEmptyNameIsNotLookedUp) {
  std::string canonical = "left over";
  EXPECT_FALSE(CCmnNetwork::getFQDN("", canonical));
  EXPECT_EQ("", canonical);
}

TEST_F(HostNames, OverrideNamesTheHostForBothCalls) {
  ::setenv("HITACHIFI_HOSTNAME", "cluster-a", 1);
  EXPECT_EQ("cluster-a", CCmnNetwork::getComputerName());
  EXPECT_EQ("cluster-a", CCmnNetwork::getFQDN());
  ::setenv("HITACHIFI_HOSTNAME", "", 1);
  EXPECT_EQ(systemName(), CCmnNetwork::getComputerName());
}

}  // namespace
