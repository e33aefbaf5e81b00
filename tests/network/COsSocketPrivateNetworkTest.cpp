// COsSocket cases that need a network of their own: names that do not resolve, broadcast and multicast.
// They run only inside the private namespace that COsSocketNamespace starts, where no packet can leave.
#include "network/COsSocket.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/network/SocketTestSupport.h"

using namespace veltrane_test;

namespace {

const char* const kNoSuchHost = "no-such-host.invalid";

}  // namespace

#define REQUIRE_PRIVATE_NETWORK()                                                                    \
    if (!InPrivateNetwork()) {                                                                       \
        GTEST_SKIP() << "runs only inside the private network namespace that COsSocketNamespace makes"; \
    }

TEST(DISABLED_COsSocketPrivateNetwork, NameThatDoesNotResolve)
{
    REQUIRE_PRIVATE_NETWORK();
    Listener listener;
    SocketHolder client;
    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(client->Connect("localhost", listener.port)) << "localhost resolves from the hosts file";
    char remote[32] = {};
    unsigned short port = 0;
    ASSERT_TRUE(client->GetRemoteIPAddress(remote, sizeof(remote) - 1, &port));
    EXPECT_STREQ("127.0.0.1", remote);

    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    EXPECT_FALSE(client->Connect(kNoSuchHost, 80));
    EXPECT_EQ(eSocketErrorHostNotFound, client->GetSocketError());
    const int origin = client->GetOriginSocketError();
    EXPECT_TRUE(origin == 11001 || origin == 11004) << origin;
    std::memset(remote, 0, sizeof(remote));
    ASSERT_TRUE(client->GetRemoteIPAddress(remote, sizeof(remote) - 1, &port));
    EXPECT_STREQ("127.0.0.1", remote) << "a failed lookup leaves the remembered peer";
    EXPECT_EQ(listener.port, port);

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

TEST(DISABLED_COsSocketPrivateNetwork, BroadcastNeedsTheFlag)
{
    REQUIRE_PRIVATE_NETWORK();
    SocketHolder receiver;
    ASSERT_TRUE(receiver->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(receiver->BindToPort(0));
    const unsigned short port = LocalPort(*receiver);

    SocketHolder sender;
    ASSERT_TRUE(sender->Create(eSocketTypeUdp, 0, 0));
    EXPECT_EQ(-1, sender->SendToHost("b", 1, 0, kPrivateBroadcast, port)) << "broadcast without the flag";
    EXPECT_EQ(eSocketErrorInvalid, sender->GetSocketError());
    EXPECT_EQ(10013, sender->GetOriginSocketError());
    ASSERT_TRUE(sender->SetBroadcast());
    EXPECT_EQ(1, sender->SendToHost("b", 1, 0, kPrivateBroadcast, port));
    char byte = 0;
    EXPECT_EQ(1, receiver->ReceiveWithTimeout(&byte, 1, 2000, 0));
    EXPECT_EQ('b', byte);
}

TEST(DISABLED_COsSocketPrivateNetwork, MulticastGroupReachesItsMember)
{
    REQUIRE_PRIVATE_NETWORK();
    SocketHolder member;
    ASSERT_TRUE(member->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(member->BindMulticast("not an address", "239.7.7.7", 0)) << "a bad interface text means any";
    const unsigned short port = LocalPort(*member);
    ASSERT_NE(0, port);
    EXPECT_TRUE(member->BindMulticast(nullptr, "239.7.7.7", port + 1)) << "already bound: nothing changes";
    EXPECT_EQ(port, LocalPort(*member));

    SocketHolder sender;
    ASSERT_TRUE(sender->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(sender->SetMulticast(true, 1));
    EXPECT_EQ(5, sender->SendToHost("group", 5, 0, "239.7.7.7", port));
    char text[8] = {};
    EXPECT_EQ(5, member->ReceiveWithTimeout(text, sizeof(text), 2000, 0));
    EXPECT_STREQ("group", text);
}
