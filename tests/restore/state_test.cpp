// Provider-state requests a framework should not make: no block, a block
// without bytes, no node, a request that is neither get nor set.
#include <gtest/gtest.h>

#include "plugin_host.h"

namespace {

TEST(ProviderState, MissingBlocksNodesAndUnknownRequests) {
  PluginHost host;
  HostNode& node = host.node("<hitachifi>UDID##HITACHI##HDS##410001##256", "Hitachi_ShadowImage", true);
  zfi_blob noBytes{10, nullptr, 0};
  EXPECT_EQ(6, host.providerState(&node.domain, nullptr, ZFI_SET_PROVIDERSTATE));
  EXPECT_EQ(6, host.providerState(&node.domain, &noBytes, ZFI_SET_PROVIDERSTATE));
  EXPECT_EQ(2u,
            host.traced("L1 CHitachiPlugin::processProviderState ZFI_SET_PROVIDERSTATE blob is null").size());
  EXPECT_EQ(3, host.providerState(&node.domain, nullptr, ZFI_GET_PROVIDERSTATE));
  EXPECT_EQ(1u,
            host.traced("L1 CHitachiPlugin::processProviderState ZFI_GET_PROVIDERSTATE blob is null").size());
  std::string text = "unset";
  EXPECT_EQ(0, host.getState(&node.domain, &text));
  EXPECT_EQ("", text);
  EXPECT_EQ(1u,
            host.traced("L1 CHitachiPlugin::getProviderState : node '" + node.name + "' has no private data")
                .size());
  // Without a node the state cannot be kept: reported, yet 0.
  EXPECT_EQ(0, host.setState(nullptr, "<VdiskList></VdiskList>"));
  auto messages = host.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("MSG_ERROR_PRIVATE_DATA_MALLOC S:setProviderState S:", messages[0].str());

  ASSERT_EQ(0, host.setState(&node.domain, "<VdiskList></VdiskList>"));
  int marker = 0;
  zfi_blob untouched{5, &marker, 7};
  EXPECT_EQ(0, host.providerState(&node.domain, &untouched, 7));
  EXPECT_EQ(5u, untouched.length);
  EXPECT_EQ(&marker, untouched.data);
  EXPECT_EQ(7u, untouched.flags);
  EXPECT_TRUE(host.messages().empty());
}

}  // namespace
