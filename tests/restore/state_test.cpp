// Provider state through the C ABI (request 0 sets the block the framework
// kept, 1 gets it), and node import with the framework's import flags.
#include <cstring>

#include "plugin_host.h"

namespace {

const char kNodeName[] = "<hitachifi>UDID##HITACHI##HDS##410001##256";

std::string snapPair(int mu, int lun, int status) {
  return "<SnapPair><MUN>" + std::to_string(mu) + "</MUN><LUN>" + std::to_string(lun) + "</LUN><Status>" +
         std::to_string(status) + "</Status><SerialNo>410001</SerialNo></SnapPair>";
}

std::string vdisk(const std::string& id, const std::string& enclosure, bool shadowImage, bool snap, int group,
                  const std::string& groupName, const std::string& pairs) {
  return "<Vdisk><DeviceId>" + id + "</DeviceId><EnclosureId>" + enclosure +
         "</EnclosureId><IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</"
         "SupportTrueCopy><SupportShadowImage>" +
         (shadowImage ? "1" : "0") + "</SupportShadowImage><SupportSnapshot>0</SupportSnapshot><IsSnap>" +
         (snap ? "1" : "0") + "</IsSnap><HostInfo><PortNo>0</PortNo><HostGroupNo>" + std::to_string(group) +
         "</HostGroupNo><HostGroupName>" + groupName + "</HostGroupName></HostInfo><PairList>" + pairs +
         "</PairList></Vdisk>";
}
std::string vdisk(const std::string& id, bool snap, const std::string& pairs) {
  return vdisk(id, "410001", true, snap, 1, "db1", pairs);
}
std::string list(const std::string& vdisks) { return "<VdiskList>" + vdisks + "</VdiskList>"; }

const std::string kSource = vdisk("256", false, snapPair(0, 3, 4));
const std::string kCopy = vdisk("512", true, snapPair(0, 1, 4));

class ProviderState : public PluginOnSimulator {
 protected:
  // The node's state; checks the block's form and frees it as the framework does.
  std::string get(zfi_domain* node) {
    int marker = 0;
    zfi_blob block{99, &marker, 0xff};  // what a reused block may hold
    EXPECT_EQ(0, plugin->providerState(node, &block, 1));
    EXPECT_EQ(0u, block.flags);
    if (block.data == nullptr) {
      EXPECT_EQ(0u, block.length);
      return "";
    }
    std::string text(static_cast<const char*>(block.data));
    EXPECT_EQ(text.size() + 1, block.length);
    std::free(block.data);
    return text;
  }
  // Sets the first `length` bytes of `text` (0: all and the terminator) in a
  // block of exactly that size.
  int set(zfi_domain* node, const std::string& text, size_t length = 0) {
    if (length == 0) length = text.size() + 1;
    std::unique_ptr<char[]> bytes(new char[length]);
    std::memcpy(bytes.get(), text.c_str(), std::min(length, text.size() + 1));
    zfi_blob block{length, bytes.get(), 0};
    return plugin->providerState(node, &block, 0);
  }
  TestNode node{kNodeName};
};

TEST_F(ProviderState, RecordsNeverFilledGiveTwoCompleteEmptyVdisks) {
  ASSERT_EQ(0, set(&node.domain, list("")));
  const std::string empty = vdisk("", "", false, false, 0, "", "");
  EXPECT_EQ(list(empty + empty), get(&node.domain));
  EXPECT_TRUE(traced(6, "CHitachiPlugin::getProviderState : [" + list(empty + empty) + "]"));
}

TEST_F(ProviderState, SetReadsEveryVdiskOfTheListWithinTheBlock) {
  const std::string source2 = vdisk("257", false, snapPair(0, 4, 3)),
                    copy2 = vdisk("513", true, snapPair(0, 2, 3));
  const std::string badTruth = std::string(source2).replace(source2.find("<IsSnap>0"), 9, "<IsSnap>2");
  const struct {
    const char* name;
    std::string bytes;
    size_t length;
    int result;
    std::string state;
    std::string reason;  // of the invalid-input message, when refused
  } cases[] = {
      {"the source also collects the snapshot's pairs", list(source2 + copy2), 0, 0,
       list(vdisk("257", false, snapPair(0, 4, 3) + snapPair(0, 2, 3)) + copy2), ""},
      {"only the snapshot", list(copy2), 0, 0, list(kSource + copy2), ""},
      {"two snapshots: the last one read stays", list(copy2 + vdisk("769", true, snapPair(3, 6, 3))), 0, 0,
       list(kSource + vdisk("769", true, snapPair(3, 6, 3))), ""},
      {"no list", source2 + copy2, 0, 0, list(kSource + kCopy), ""},
      {"a list without vdisks", list(""), 0, 0, list(kSource + kCopy), ""},
      {"nothing past the length is read", list(source2) + copy2, list(source2).size(), 0,
       list(source2 + kCopy), ""},
      {"a length that ends inside the list", list(source2 + copy2), list(source2).size(), 0,
       list(kSource + kCopy), ""},
      {"a truth value that is no truth value", list(badTruth), 0, 6, list(kSource + kCopy),
       "unreadable value '2' in the provider state."},
      {"over 64 KiB is refused unread", list(copy2 + std::string(65536, ' ')), 0, 6, list(kSource + kCopy),
       "provider state of " + std::to_string(list(copy2).size() + 65536) +
           " bytes, more than the 65536 accepted."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestNode fresh(kNodeName + std::string("-") + c.name);
    ASSERT_EQ(0, set(&fresh.domain, list(kCopy)));
    ASSERT_EQ(0, set(&fresh.domain, list(kSource)));
    ASSERT_EQ(list(kSource + kCopy), get(&fresh.domain));
    EXPECT_EQ(c.result, set(&fresh.domain, c.bytes, c.length));
    EXPECT_EQ(c.state, get(&fresh.domain));
    const std::vector<std::string> messages = plugin->takeMessages();
    EXPECT_EQ(c.result ? 1u : 0u, messages.size());
    if (c.result) {
      EXPECT_EQ(0u, messages.at(0).find("MSG_ERROR_HITACHI_INVALID_INPUT: API call setProviderState has got "
                                        "invalid input due to reason " +
                                        c.reason))
          << messages[0];
    }
  }
}

TEST_F(ProviderState, MissingBlocksNodesAndUnknownRequests) {
  zfi_blob noBytes{10, nullptr, 0};
  EXPECT_EQ(6, plugin->providerState(&node.domain, nullptr, 0));
  EXPECT_EQ(6, plugin->providerState(&node.domain, &noBytes, 0));
  EXPECT_TRUE(traced(1, "CHitachiPlugin::processProviderState ZFI_SET_PROVIDERSTATE blob is null"));
  EXPECT_EQ(3, plugin->providerState(&node.domain, nullptr, 1));
  EXPECT_TRUE(traced(1, "CHitachiPlugin::processProviderState ZFI_GET_PROVIDERSTATE blob is null"));
  EXPECT_EQ("", get(&node.domain));
  EXPECT_TRUE(traced(
      1, std::string("CHitachiPlugin::getProviderState : node '") + kNodeName + "' has no private data"));
  // Without a node the state cannot be kept: reported, yet 0.
  EXPECT_EQ(0, set(nullptr, list(kSource + kCopy)));
  EXPECT_EQ(
      std::vector<std::string>{"MSG_ERROR_PRIVATE_DATA_MALLOC: setProviderState: private data could not "
                               "be allocated for node ''."},
      plugin->takeMessages());

  ASSERT_EQ(0, set(&node.domain, list(kSource)));
  ASSERT_EQ(0, set(&node.domain, list(kCopy)));
  int marker = 0;
  zfi_blob untouched{5, &marker, 7};
  EXPECT_EQ(0, plugin->providerState(&node.domain, &untouched, 7));
  EXPECT_EQ(5u, untouched.length);
  EXPECT_EQ(&marker, untouched.data);
  EXPECT_EQ(7u, untouched.flags);
  EXPECT_EQ(list(kSource + kCopy), get(&node.domain));
}

TEST_F(ProviderState, ImportRefusesOnlyTheOffHostMode) {
  auto import = plugin->entry<int (*)(char**, char*, char*, char*, int, char**, char*)>("import_resource");
  char resource[] = "UDID##HITACHI##HDS##410001##512", name[] = "<hitachifi>UDID##HITACHI##HDS##410001##256";
  char* names[] = {resource, nullptr};
  sim.resetCounters();
  const std::pair<int, int> cases[] = {{0, 0}, {1, 0}, {4, 0}, {2, 4}, {3, 4}, {6, 4}};  // flags, result
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    const size_t before = traceTexts(tracePath(), 1).size();
    EXPECT_EQ(c.second, import(names, name, nullptr, nullptr, c.first, nullptr, nullptr));
    EXPECT_EQ(c.second, import(nullptr, nullptr, nullptr, nullptr, c.first, nullptr, nullptr));
    const std::vector<std::string> errors = traceTexts(tracePath(), 1);
    EXPECT_EQ(before + (c.second ? 2 : 0), errors.size());
    if (c.second) {
      EXPECT_EQ("CHitachiPlugin::importNode - importNode for ZFI_IMPORT_OFFHOST use case is not supported.",
                errors.back());
    }
  }
  EXPECT_EQ(0, sim.totalCalls());
}

}  // namespace
