// This host's names, from the system resolver or a hosts-format file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "cmnnetwork.h"

namespace {

TEST(HostNames, ResolverOrHostsFileGiveCanonicalNamesAndAnOverrideNamesTheHost) {
  char host[256] = {0};
  ASSERT_EQ(0, ::gethostname(host, sizeof host - 1));
  EXPECT_EQ(host, CCmnNetwork::getComputerName());
  std::string canonical = "left over";
  ASSERT_TRUE(CCmnNetwork::getFQDN("localhost", canonical));
  EXPECT_FALSE(canonical.empty());
  EXPECT_FALSE(CCmnNetwork::getFQDN("", canonical));
  EXPECT_EQ("", canonical);

  const std::string hosts = ::testing::TempDir() + "network-test-hosts";
  std::ofstream(hosts) << "# comment line\n10.0.0.7 db1.example.test db1 DB-ALIAS # trailing\n";
  ::setenv("HITACHIFI_HOSTS_FILE", hosts.c_str(), 1);
  EXPECT_TRUE(CCmnNetwork::getFQDN("db-alias", canonical));
  EXPECT_EQ("db1.example.test", canonical);
  EXPECT_FALSE(CCmnNetwork::getFQDN("localhost", canonical));  // not in the file: no resolver asked
  EXPECT_FALSE(CCmnNetwork::getFQDN("trailing", canonical));
  EXPECT_EQ(host, CCmnNetwork::getFQDN());  // unknown: its plain name
  std::ofstream(hosts) << "10.0.0.8 " << host << ".example.test " << host << "\n";
  EXPECT_EQ(std::string(host) + ".example.test", CCmnNetwork::getFQDN());

  ::setenv("HITACHIFI_HOSTNAME", "cluster-a", 1);
  EXPECT_EQ("cluster-a", CCmnNetwork::getComputerName());
  EXPECT_EQ("cluster-a", CCmnNetwork::getFQDN());
  ::unsetenv("HITACHIFI_HOSTS_FILE");
  ::unsetenv("HITACHIFI_HOSTNAME");
  std::remove(hosts.c_str());
}

}  // namespace
