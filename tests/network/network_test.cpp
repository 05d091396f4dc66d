// This host's names, from the system resolver or a hosts-format file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "cmnnetwork.h"

namespace {

class HostNames : public ::testing::Test {
 protected:
  void TearDown() override {
    ::unsetenv("HITACHIFI_HOSTNAME");
    ::unsetenv("HITACHIFI_HOSTS_FILE");
    std::remove(hosts.c_str());
  }
  static std::string systemName() {
    char host[256] = {0};
    EXPECT_EQ(0, ::gethostname(host, sizeof host - 1));
    return host;
  }
  const std::string hosts = ::testing::TempDir() + "network-test-hosts";
};

TEST_F(HostNames, TheResolverGivesCanonicalNamesAndNothingForAnEmptyName) {
  EXPECT_EQ(systemName(), CCmnNetwork::getComputerName());
  std::string canonical = "left over";
  ASSERT_TRUE(CCmnNetwork::getFQDN("localhost", canonical));
  EXPECT_FALSE(canonical.empty());
  EXPECT_FALSE(CCmnNetwork::getFQDN("", canonical));
  EXPECT_EQ("", canonical);
  ::setenv("HITACHIFI_HOSTNAME", "cluster-a", 1);  // the override names the host for both calls
  EXPECT_EQ("cluster-a", CCmnNetwork::getComputerName());
  EXPECT_EQ("cluster-a", CCmnNetwork::getFQDN());
}

TEST_F(HostNames, AHostsFileIsTheOnlySourceOfCanonicalNames) {
  const std::string host = systemName();
  std::ofstream(hosts) << "# comment line\n10.0.0.7 db1.example.test db1 DB-ALIAS # trailing\n";
  ::setenv("HITACHIFI_HOSTS_FILE", hosts.c_str(), 1);
  std::string canonical;
  EXPECT_TRUE(CCmnNetwork::getFQDN("db-alias", canonical));
  EXPECT_EQ("db1.example.test", canonical);
  EXPECT_FALSE(CCmnNetwork::getFQDN("localhost", canonical));  // not in the file: no resolver asked
  EXPECT_FALSE(CCmnNetwork::getFQDN("trailing", canonical));
  EXPECT_EQ(host, CCmnNetwork::getFQDN());  // unknown: its plain name
  std::ofstream(hosts) << "10.0.0.8 " << host << ".example.test " << host << "\n";
  EXPECT_EQ(host + ".example.test", CCmnNetwork::getFQDN());
}

}  // namespace
