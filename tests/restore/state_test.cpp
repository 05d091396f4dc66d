// Provider state through the C ABI: the block the framework keeps for a node
// (get) and hands back later (set), read within its length.
#include <cstdlib>
#include <cstring>

#include "plugin_host.h"

namespace {

const char kNodeName[] = "<hitachifi>UDID##HITACHI##HDS##410001##256";

std::string snapPair(int mu, int lun, int status) {
  return "<SnapPair><MUN>" + std::to_string(mu) + "</MUN><LUN>" + std::to_string(lun) + "</LUN><Status>" +
         std::to_string(status) + "</Status><SerialNo>410001</SerialNo></SnapPair>";
}

// A vdisk record as the plugin writes it: ShadowImage support only, host
// group 1 "db1" on port 0.
std::string vdisk(const std::string& id, bool snap, const std::string& pairs) {
  return "<Vdisk><DeviceId>" + id +
         "</DeviceId><EnclosureId>410001</EnclosureId><IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</"
         "SupportTrueCopy><SupportShadowImage>1</SupportShadowImage><SupportSnapshot>0</"
         "SupportSnapshot><IsSnap>" +
         (snap ? "1" : "0") +
         "</IsSnap><HostInfo><PortNo>0</PortNo><HostGroupNo>1</HostGroupNo><HostGroupName>db1</"
         "HostGroupName></"
         "HostInfo><PairList>" +
         pairs + "</PairList></Vdisk>";
}

const std::string kEmptyVdisk =
    "<Vdisk><DeviceId></DeviceId><EnclosureId></EnclosureId><IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</"
    "SupportTrueCopy><SupportShadowImage>0</SupportShadowImage><SupportSnapshot>0</"
    "SupportSnapshot><IsSnap>0</"
    "IsSnap><HostInfo><PortNo>0</PortNo><HostGroupNo>0</HostGroupNo><HostGroupName></HostGroupName></"
    "HostInfo><PairList></PairList></Vdisk>";

std::string list(const std::string& vdisks) { return "<VdiskList>" + vdisks + "</VdiskList>"; }

class ProviderState : public PluginOnSimulator {
 protected:
  // The node's state as the framework receives it; checks the block's form
  // and frees it as the framework does.
  std::string get(zfi_domain* node) {
    int marker = 0;
    zfi_blob block{99, &marker, 0xff};  // what a reused block may hold
    EXPECT_EQ(0, plugin->providerState(node, &block, ZFI_GET_PROVIDERSTATE));
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
  int set(zfi_domain* node, const std::string& text) {
    std::string bytes = text;
    zfi_blob block{bytes.size() + 1, &bytes[0], 0};
    return plugin->providerState(node, &block, ZFI_SET_PROVIDERSTATE);
  }

  TestNode node{kNodeName};
};

TEST_F(ProviderState, RecordsNeverFilledGiveTwoCompleteEmptyVdisks) {
  ASSERT_EQ(0, set(&node.domain, list("")));  // attaches private data, reads nothing
  const std::string expected = list(kEmptyVdisk + kEmptyVdisk);
  EXPECT_EQ(expected, get(&node.domain));
  EXPECT_TRUE(traced(6, "CHitachiPlugin::getProviderState : [" + expected + "]"));
}

const std::string kSource = vdisk("256", false, snapPair(0, 3, 4));
const std::string kCopy = vdisk("512", true, snapPair(0, 1, 4));

// Each case starts from a node holding kSource and kCopy (each set alone, so
// neither collected the other's pairs).
struct SetCase {
  const char* name;
  std::string bytes;  // the block's bytes
  size_t length;      // the block's length; 0: the bytes and their terminator
  int result;
  std::string state;  // what get gives afterwards
};

TEST_F(ProviderState, SetReadsEveryVdiskOfTheListWithinTheBlock) {
  const std::string source2 = vdisk("257", false, snapPair(0, 4, 3));
  const std::string copy2 = vdisk("513", true, snapPair(0, 2, 3));
  const std::string copy3 = vdisk("769", true, snapPair(3, 6, 3));
  const std::string badTruth = std::string(source2).replace(source2.find("<IsSnap>0"), 9, "<IsSnap>2");
  const SetCase cases[] = {
      {"both records; the source also collects the snapshot's pairs", list(source2 + copy2), 0, 0,
       list(vdisk("257", false, snapPair(0, 4, 3) + snapPair(0, 2, 3)) + copy2)},
      {"only the snapshot", list(copy2), 0, 0, list(kSource + copy2)},
      {"two snapshots: the last one read stays", list(copy2 + copy3), 0, 0, list(kSource + copy3)},
      {"no list", source2 + copy2, 0, 0, list(kSource + kCopy)},
      {"a list without vdisks", list(""), 0, 0, list(kSource + kCopy)},
      {"nothing past the length is read", list(source2) + copy2, list(source2).size(), 0,
       list(source2 + kCopy)},
      {"a length that ends inside the list", list(source2 + copy2), list(source2).size(), 0,
       list(kSource + kCopy)},
      {"a truth value that is no truth value", list(badTruth), 0, 6, list(kSource + kCopy)},
  };
  for (const SetCase& c : cases) {
    SCOPED_TRACE(c.name);
    TestNode fresh(kNodeName + std::string("-") + c.name);
    ASSERT_EQ(0, set(&fresh.domain, list(kCopy)));
    ASSERT_EQ(0, set(&fresh.domain, list(kSource)));
    ASSERT_EQ(list(kSource + kCopy), get(&fresh.domain));
    // Unterminated within its length: the bytes are copied into a block of
    // exactly that size.
    const size_t length = c.length ? c.length : c.bytes.size() + 1;
    std::unique_ptr<char[]> bytes(new char[length]);
    std::memcpy(bytes.get(), c.bytes.c_str(), std::min(length, c.bytes.size() + 1));
    zfi_blob block{length, bytes.get(), 0};
    EXPECT_EQ(c.result, plugin->providerState(&fresh.domain, &block, ZFI_SET_PROVIDERSTATE));
    EXPECT_EQ(c.state, get(&fresh.domain));
    const std::vector<std::string> messages = plugin->takeMessages();
    if (c.result == 0) {
      EXPECT_TRUE(messages.empty());
    } else {
      ASSERT_EQ(1u, messages.size());
      EXPECT_EQ(0u,
                messages[0].find("MSG_ERROR_HITACHI_INVALID_INPUT: API call setProviderState has got invalid "
                                 "input due to reason unreadable value '2' in the provider state."))
          << messages[0];
    }
  }
}

TEST_F(ProviderState, MissingBlocksNodesAndUnknownRequests) {
  zfi_blob noBytes{10, nullptr, 0};
  EXPECT_EQ(6, plugin->providerState(&node.domain, nullptr, ZFI_SET_PROVIDERSTATE));
  EXPECT_EQ(6, plugin->providerState(&node.domain, &noBytes, ZFI_SET_PROVIDERSTATE));
  EXPECT_TRUE(traced(1, "CHitachiPlugin::processProviderState ZFI_SET_PROVIDERSTATE blob is null"));
  EXPECT_EQ(3, plugin->providerState(&node.domain, nullptr, ZFI_GET_PROVIDERSTATE));
  EXPECT_TRUE(traced(1, "CHitachiPlugin::processProviderState ZFI_GET_PROVIDERSTATE blob is null"));
  EXPECT_EQ("", get(&node.domain));  // nothing was attached to the node
  EXPECT_TRUE(traced(
      1, std::string("CHitachiPlugin::getProviderState : node '") + kNodeName + "' has no private data"));

  // Without a node there is nothing to keep the state with: reported, yet 0.
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

}  // namespace
