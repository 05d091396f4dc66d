// Configuration parameters, their XML description, and the cache location.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "cficonfigparam.h"

using namespace frim_pdk_4_4;

namespace {

CFiConfigParamInfo parameter(const std::string& name, const std::string& value = "") {
  CFiConfigParamInfo param;
  param.m_name = name;
  param.m_value = value;
  return param;
}

TEST(ConfigParamList, ParametersKeepTheirOrderASameNameReplacesAndTheXmlRoundTrips) {
  CFiConfigParamInfoList list;
  CFiConfigParamInfo a =
      parameter("snapshot_resource_spec", "UDID##A##B##1##2=UDID##A##B##1##3 <&> \"q\" 'a'");
  a.m_description = "tab\there, ]]> and a line\nbreak, del\x7f, Z\xC3\xBCrich \xE6\x9D\xB1\xE4\xBA\xAC";
  a.m_allowedValues = {"a<b", "]]>", "", "\xC3\xA9t\xC3\xA9"};
  CFiConfigParamInfo b = parameter("second");
  b.m_flag = true;
  b.m_minimum = 1;
  list.addParamInfo(parameter("snapshot_resource_spec", "first"));
  list.addParamInfo(b);
  list.addParamInfo(a);
  ASSERT_EQ(2u, list.getParams().size());
  EXPECT_EQ(nullptr, list.find("absent"));
  std::vector<CFiConfigParamInfo> back = CFiConfigParamInfoList::parseXML(list.getXML());
  ASSERT_EQ(2u, back.size());
  EXPECT_TRUE(back[0] == a);
  EXPECT_TRUE(back[1] == b);
}

TEST(ConfigParamList, MalformedXmlAndTextXmlCannotCarryAreClearErrorsThatChangeNothing) {
  for (const char* xml :
       {"<parameters><oops/></parameters>", "<parameters><parameter", "", "<parameters>\xff\xfe</parameters>",
        "<parameters><parameter name=\"n\" first=\"six\"/></parameters>",
        "<parameters><parameter name=\"n\" minimum=\"99999999999\"/></parameters>"}) {
    EXPECT_THROW(CFiConfigParamInfoList::parseXML(xml), CFiConfigXmlError) << xml;
  }
  CFiConfigParamInfoList list;
  list.addParamInfo(parameter("snapshot_resource_spec"));
  const std::string before = list.getXML();
  CFiConfigParamInfo bad = parameter("bad");
  bad.m_allowedValues = {"\x01"};
  for (const CFiConfigParamInfo& refused :
       {parameter("bad", "bell\x07"), parameter("snapshot_resource_spec", "\xc3"), bad}) {
    EXPECT_THROW(list.addParamInfo(refused), CFiConfigXmlError);
  }
  EXPECT_TRUE(list.getParams() == std::vector<CFiConfigParamInfo>{parameter("snapshot_resource_spec")});
  EXPECT_EQ(before, list.getXML());
}

// Each kind of document type is refused through the plugin's config entry
// by the rows of config.scenarios. A bare one declares nothing and reads
// nothing; an undeclared entity is no way around the refusal; the predefined
// ones still work.
TEST(ConfigParamList, ABareDocumentTypeAndPredefinedEntitiesAreAllThatIsRead) {
  EXPECT_EQ(
      1u,
      CFiConfigParamInfoList::parseXML("<!DOCTYPE parameters><parameters><parameter/></parameters>").size());
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<parameters><parameter name=\"&e5;\"/></parameters>"),
               CFiConfigXmlError);
  EXPECT_EQ("<&>", CFiConfigParamInfoList::parseXML(
                       "<parameters><parameter name=\"&lt;&amp;&#62;\"/></parameters>")[0]
                       .m_name);
}

// A schema location names a file or a URL: the parser opens neither.
// inotify sees any open of the file; a loopback listener counts and closes
// at once every connection, before the parser could go on, so a fetch is
// counted by the time parseXML returns.
TEST(ConfigParamList, SchemaLocationsAreNeitherReadNorFetched) {
  char folder[] = "/tmp/config-schema.XXXXXX";
  ASSERT_NE(nullptr, ::mkdtemp(folder));
  const std::string schema = std::string(folder) + "/parameters.xsd";
  std::ofstream(schema) << "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"/>";
  const int watch = ::inotify_init1(IN_NONBLOCK);
  ASSERT_LE(0, ::inotify_add_watch(watch, schema.c_str(), IN_OPEN));
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(0, ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
  ASSERT_EQ(0, ::listen(listener, 4));
  ASSERT_EQ(0, ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size));
  int stop[2];
  ASSERT_EQ(0, ::pipe(stop));
  std::atomic<int> connections{0};
  std::thread server([&] {
    for (pollfd ready[2] = {{listener, POLLIN, 0}, {stop[0], POLLIN, 0}};
         ::poll(ready, 2, -1) > 0 && ready[1].revents == 0;) {
      ++connections;
      ::close(::accept(listener, nullptr, nullptr));
    }
  });
  const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/parameters.xsd";
  const std::string xsi = "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" ";
  for (const std::string& root :
       {"<parameters " + xsi + "xsi:noNamespaceSchemaLocation=\"" + schema + "\">",
        "<parameters " + xsi + "xsi:noNamespaceSchemaLocation=\"" + url + "\">",
        "<parameters xmlns=\"urn:p\" " + xsi + "xsi:schemaLocation=\"urn:p " + url + "\">",
        "<parameters xmlns=\"urn:p\" " + xsi + "xsi:schemaLocation=\"urn:p file://" + schema + "\">"}) {
    SCOPED_TRACE(root);
    size_t read = 0;
    EXPECT_NO_THROW(
        read = CFiConfigParamInfoList::parseXML(root + "<parameter name=\"n\"/></parameters>").size());
    EXPECT_EQ(1u, read);
    char event[sizeof(inotify_event) + 256];
    EXPECT_EQ(-1, ::read(watch, event, sizeof event)) << "the schema file was opened";
    EXPECT_EQ(0, connections.load()) << "the schema URL was fetched";
  }
  ASSERT_EQ(1, ::write(stop[1], "x", 1));
  server.join();
  for (int fd : {listener, watch, stop[0], stop[1]}) ::close(fd);
  ::unlink(schema.c_str());
  ::rmdir(folder);
}

// The plugin tests move it with HITACHIFI_CACHE_DIR.
TEST(CacheLocation, DefaultIsVarCache) {
  ::unsetenv("HITACHIFI_CACHE_DIR");
  EXPECT_EQ("/var/cache/hitachifi", CFiConfigurationPathTool::getCacheLocationInfo());
}

}  // namespace
