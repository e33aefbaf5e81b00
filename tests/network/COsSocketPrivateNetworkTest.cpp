// COsSocket cases that need a network of their own: names that do not resolve, broadcast and multicast.
// They run only inside the private namespace that COsSocketNamespace starts, where no packet can leave.
#include "network/COsSocket.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/network/SocketTestSupport.h"

using namespace veltrane_test;

namespace {

const char* const kNoSuchHost = "no-such-host.invalid";

}  // namespace

#define REQUIRE_PRIVATE_NETWORK()                  \
    if (std::getenv(kPrivateNetworkVariable) == nullptr) \
    GTEST_SKIP() << "runs only inside the private network namespace that COsSocketNamespace makes"

TEST(DISABLED_COsSocketPrivateNetwork, NameThatDoesNotResolve)
{
    REQUIRE_PRIVATE_NETWORK();
    Listener listener;
    SocketHolder client;
    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(client->Connect("localhost", listener.port)) << "localhost resolves from the hosts file";
    const std::string peer = "127.0.0.1:" + std::to_string(listener.port);
    EXPECT_EQ(peer, Endpoint(client.get(), true));

    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    EXPECT_FALSE(client->Connect(kNoSuchHost, 80));
    EXPECT_EQ(eSocketErrorHostNotFound, client->GetSocketError());
    const int origin = client->GetOriginSocketError();
    EXPECT_TRUE(origin == 11001 || origin == 11004) << origin;
    EXPECT_EQ(peer, Endpoint(client.get(), true)) << "a failed lookup leaves the remembered peer";

    SocketHolder other;
    ASSERT_TRUE(other->Create(eSocketTypeUdp, 0, 0));
    EXPECT_FALSE(other->Bind(kNoSuchHost, 0));
    EXPECT_EQ(eSocketErrorHostNotFound, other->GetSocketError());
    other->SetSocketError(eSocketErrorNone);
    EXPECT_EQ(-1, other->SendToHost("x", 1, 0, kNoSuchHost, 9));
    EXPECT_EQ(eSocketErrorHostNotFound, other->GetSocketError());
    EXPECT_FALSE(other->GetRemoteMac(kNoSuchHost));
    EXPECT_FALSE(other->GetRemoteMac("10.77.0.9")) << "an address nobody answers for has no hardware address";
}

TEST(DISABLED_COsSocketPrivateNetwork, BroadcastNeedsTheFlagAndAGroupReachesItsMember)
{
    REQUIRE_PRIVATE_NETWORK();
    SocketHolder member;
    ASSERT_TRUE(member->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(member->BindMulticast("not an address", "239.7.7.7", 0)) << "a bad interface text means any";
    const unsigned short port = LocalPort(member.get());
    ASSERT_NE(0, port);
    EXPECT_TRUE(member->BindMulticast(nullptr, "239.7.7.7", port + 1)) << "already bound: nothing changes";
    EXPECT_EQ(port, LocalPort(member.get()));

    SocketHolder sender;
    ASSERT_TRUE(sender->Create(eSocketTypeUdp, 0, 0));
    EXPECT_EQ(-1, sender->SendToHost("b", 1, 0, kPrivateBroadcast, port)) << "broadcast without the flag";
    EXPECT_EQ(eSocketErrorInvalid, sender->GetSocketError());
    EXPECT_EQ(10013, sender->GetOriginSocketError());
    ASSERT_TRUE(sender->SetBroadcast());
    EXPECT_EQ(1, sender->SendToHost("b", 1, 0, kPrivateBroadcast, port));
    char text[8] = {};
    EXPECT_EQ(1, member->ReceiveWithTimeout(text, sizeof(text), 2000, 0));
    EXPECT_STREQ("b", text);

    ASSERT_TRUE(sender->SetMulticast(true, 1));
    EXPECT_EQ(5, sender->SendToHost("group", 5, 0, "239.7.7.7", port));
    EXPECT_EQ(5, member->ReceiveWithTimeout(text, sizeof(text), 2000, 0));
    EXPECT_STREQ("group", text);
}
