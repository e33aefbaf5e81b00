// COsSocket cases that need a network of their own: names that do not resolve, broadcast and multicast.
// COsSocketNamespace runs them again inside a fresh network namespace, from which no packet can leave
// the machine: loopback up with multicast, plus an address whose subnet has a broadcast address.
#include "network/COsSocket.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/network/SocketTestSupport.h"
#include "tests/support/NetNamespace.h"

using namespace veltrane_test;

using COsSocketPrivateNetwork = PrivateNetworkTest;

TEST(COsSocketNamespace, NameFailuresBroadcastAndMulticastInAPrivateNetwork)
{
    RunInPrivateNetwork("ip link set lo multicast on && ip addr add 10.77.0.1/24 brd 10.77.0.255 dev lo && "
                        "ip route add 224.0.0.0/4 dev lo",
                        "COsSocketPrivateNetwork.DISABLED_*");
}

TEST_F(COsSocketPrivateNetwork, DISABLED_NameThatDoesNotResolve)
{
    Listener listener;
    CREATED(client, eSocketTypeTcp);
    ASSERT_TRUE(client->Connect("localhost", listener.port)) << "localhost resolves from the hosts file";
    const std::string peer = "127.0.0.1:" + std::to_string(listener.port);
    EXPECT_EQ(peer, Endpoint(client.get(), true));

    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    EXPECT_FALSE(client->Connect(kNoSuchHost, 80));
    EXPECT_EQ(eSocketErrorHostNotFound, client->GetSocketError());
    const int origin = client->GetOriginSocketError();
    EXPECT_TRUE(origin == 11001 || origin == 11004) << origin;
    EXPECT_EQ(peer, Endpoint(client.get(), true)) << "a failed lookup leaves the remembered peer";

    CREATED(other, eSocketTypeUdp);
    EXPECT_FALSE(other->Bind(kNoSuchHost, 0));
    EXPECT_EQ(eSocketErrorHostNotFound, other->GetSocketError());
    other->SetSocketError(eSocketErrorNone);
    EXPECT_EQ(-1, other->SendToHost("x", 1, 0, kNoSuchHost, 9));
    EXPECT_EQ(eSocketErrorHostNotFound, other->GetSocketError());
    EXPECT_FALSE(other->GetRemoteMac(kNoSuchHost));
    EXPECT_FALSE(other->GetRemoteMac("10.77.0.9")) << "an address nobody answers for has no hardware address";
}

TEST_F(COsSocketPrivateNetwork, DISABLED_BroadcastNeedsTheFlagAndAGroupReachesItsMember)
{
    SocketHolder member, sender;
    ASSERT_TRUE(member->Create(eSocketTypeUdp, 0, 0) && sender->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(member->BindMulticast("not an address", "239.7.7.7", 0)) << "a bad interface text means any";
    const unsigned short port = LocalPort(member.get());
    ASSERT_NE(0, port);
    EXPECT_TRUE(member->BindMulticast(nullptr, "239.7.7.7", port + 1)) << "already bound: nothing changes";
    EXPECT_EQ(port, LocalPort(member.get()));

    EXPECT_EQ(-1, sender->SendToHost("b", 1, 0, "10.77.0.255", port)) << "broadcast without the flag";
    EXPECT_EQ(eSocketErrorInvalid, sender->GetSocketError());
    EXPECT_EQ(10013, sender->GetOriginSocketError());
    ASSERT_TRUE(sender->SetBroadcast());
    EXPECT_EQ(1, sender->SendToHost("b", 1, 0, "10.77.0.255", port));
    char text[8] = {};
    EXPECT_EQ(1, member->ReceiveWithTimeout(text, sizeof(text), 2000, 0));
    EXPECT_STREQ("b", text);

    ASSERT_TRUE(sender->SetMulticast(true, 1));
    EXPECT_EQ(5, sender->SendToHost("group", 5, 0, "239.7.7.7", port));
    EXPECT_EQ(5, member->ReceiveWithTimeout(text, sizeof(text), 2000, 0));
    EXPECT_STREQ("group", text);
}
