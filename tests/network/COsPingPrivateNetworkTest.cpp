// COsPing where only a network of its own can show it: hosts that do not answer, floods of other ICMP
// traffic, replies from other senders or for other processes, names that do not resolve, and the system's
// echo service of a process that may not open a raw socket. Each launcher makes a private network namespace
// and runs the cases of one set-up in it.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <poll.h>

#include <fstream>
#include <thread>

#include "tests/network/PingTestSupport.h"
#include "tests/support/ProcessCounts.h"

namespace ping_test {

namespace {

constexpr uint32_t kLoopback = 0x7F000001;
constexpr uint32_t kOtherLoopback = 0x7F000002;
const std::string kTimedOut = "Request timed out dest_addr = 127.0.0.1\r\n";

// Sets a value of the namespace's own network settings, and puts the earlier value back at the end of the scope.
struct NetworkSetting
{
    NetworkSetting(const std::string& name, const std::string& value) : path("/proc/sys/net/ipv4/" + name)
    {
        std::getline(std::ifstream(path), previous);
        applied = Write(value);
    }
    ~NetworkSetting() { Write(previous); }
    bool Write(const std::string& value) const
    {
        std::ofstream file(path);
        file << value << std::endl;  // the kernel judges the value when it is written
        return static_cast<bool>(file);
    }

    std::string path, previous;
    bool applied = false;
};

// The ICMP part of a packet that a raw socket received, when it is an echo request of this process to
// 127.0.0.1; empty otherwise.
std::vector<unsigned char> OwnRequest(const unsigned char* packet, ssize_t length)
{
    if (length < 20)
        return {};
    const int header = (packet[0] & 0x0F) * 4;
    const unsigned char* icmp = packet + header;
    in_addr target;
    std::memcpy(&target, packet + 16, sizeof(target));
    if (length < header + 40 || icmp[0] != 8 || ntohl(target.s_addr) != kLoopback ||
        (icmp[4] | icmp[5] << 8) != OwnIdentifier())
        return {};
    return std::vector<unsigned char>(icmp, icmp + 40);
}

// Calls `serve` with each echo request of this process that reaches a raw socket, until `serve` gives true,
// `stop` is set or three seconds have passed.
template <typename Serve>
void ServeRequests(const RawIcmpSocket& socket, const std::atomic<bool>& stop, Serve serve)
{
    const Clock::time_point start = Clock::now();
    unsigned char packet[4096];
    while (!stop && MillisecondsSince(start) < 3000) {
        pollfd entry{socket.descriptor, POLLIN, 0};
        if (poll(&entry, 1, 20) <= 0)
            continue;
        const ssize_t length = recv(socket.descriptor, packet, sizeof(packet), 0);
        const std::vector<unsigned char> request = OwnRequest(packet, length);
        if (!request.empty() && serve(request))
            return;
    }
}

}  // namespace

using COsPingRawPath = PingPrivateNetworkTest;
using COsPingEchoService = PingPrivateNetworkTest;

// The kernel of this namespace answers no echo request: every reply comes from the test.
TEST(COsPingNamespace, RawPathWhereTheLoopbackDoesNotAnswer)
{
    veltrane_test::RunInPrivateNetwork("sysctl -qw net.ipv4.icmp_echo_ignore_all=1", "COsPingRawPath.DISABLED_*");
}

// No raw socket for the process, and the echo service opened to its group.
TEST(COsPingNamespace, EchoServiceWhereTheRawSocketIsRefused)
{
    veltrane_test::RunInPrivateNetwork("sysctl -qw net.ipv4.ping_group_range=\"0 0\"", "COsPingEchoService.DISABLED_*",
                                       "setpriv --bounding-set -net_raw --inh-caps -net_raw");
}

TEST_F(COsPingRawPath, DISABLED_EveryAttemptTimesOutWithinTheBoundEvenUnderAFlood)
{
    const unsigned int timeout = 150, count = 3;
    // Ticks are whole milliseconds: an attempt may end up to one short of its limit.
    const long long least = count * (timeout - 1) + (count - 1) * 10, bound = count * (timeout + 10) + 500;
    for (bool flooded : {false, true}) {
        // Echo requests, and echo replies for another process, from a socket of the test, as fast as it can
        // send them: each reaches the ping's raw socket and must not hold its wait open.
        std::atomic<bool> stop{false};
        std::atomic<long> sent{0};
        std::thread flood([&] {
            RawIcmpSocket socket;
            std::vector<unsigned char> request(40, 0), reply(40, 0);
            request[0] = 8;
            request = Checksummed(request);
            reply[4] = static_cast<unsigned char>(~OwnIdentifier() & 0xFF);
            reply = ReplyTo(reply);
            const Clock::time_point start = Clock::now();
            while (flooded && !stop && sent < 200000 && MillisecondsSince(start) < 3000)
                sent += socket.SendTo(sent % 2 ? reply : request, kLoopback) ? 1 : 0;
        });
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping("127.0.0.1", timeout, count));
        const long long took = MillisecondsSince(start);
        stop = true;
        flood.join();
        EXPECT_TRUE(took >= least && took <= bound) << took << " ms, flooded: " << flooded << ", " << sent << " packets";
        EXPECT_TRUE(!flooded || sent > 100) << "the flood ran: " << sent;
        const std::string told = Messages();
        EXPECT_EQ(static_cast<int>(count), Occurrences(told, kTimedOut)) << told;
        EXPECT_EQ(static_cast<int>(count), Occurrences(told, "in COsPing: Success Send Packet.\r\n")) << told;
        EXPECT_EQ(0, Occurrences(told, "Reply from")) << told;
    }
}

TEST_F(COsPingRawPath, DISABLED_ALateReplyOnTheSecondAttemptCountsAndOtherSendersOrIdentifiersDoNot)
{
    RawIcmpSocket responder, otherSender;
    sockaddr_in other{};
    other.sin_family = AF_INET;
    other.sin_addr.s_addr = htonl(kOtherLoopback);
    ASSERT_EQ(0, bind(otherSender.descriptor, reinterpret_cast<sockaddr*>(&other), sizeof(other)));
    const int ttl = 33;
    const unsigned char options[] = {1, 1, 1, 0};  // three no-operations and the end: a header of six words
    ASSERT_EQ(0, setsockopt(responder.descriptor, IPPROTO_IP, IP_TTL, &ttl, sizeof(ttl)));
    ASSERT_EQ(0, setsockopt(responder.descriptor, IPPROTO_IP, IP_OPTIONS, options, sizeof(options)));

    // The first request gets a reply with another identifier and one from another sender, both at once;
    // the second gets the true reply to the first, which carries the first's sequence and send time.
    std::vector<unsigned char> first;
    std::atomic<int> decoysSent{0};
    std::atomic<bool> stop{false};
    std::thread serving([&] {
        ServeRequests(responder, stop, [&](const std::vector<unsigned char>& request) {
            if (!first.empty())
                return responder.SendTo(ReplyTo(first), kLoopback);
            first = request;
            std::vector<unsigned char> foreign = request;
            foreign[4] ^= 0x5A;
            decoysSent = responder.SendTo(ReplyTo(foreign), kLoopback) + otherSender.SendTo(ReplyTo(first), kLoopback);
            return false;
        });
    });
    EXPECT_EQ(0, COsPing::Ping("127.0.0.1", 300, 3));
    stop = true;
    serving.join();
    EXPECT_EQ(2, decoysSent.load());
    ASSERT_EQ(40u, first.size());
    const std::string told = Messages();
    EXPECT_EQ(1, Occurrences(told, kTimedOut)) << told;
    EXPECT_EQ(2, Occurrences(told, "in COsPing: Success Send Packet.\r\n")) << told;
    const size_t reply = told.find("Reply from");
    std::vector<long> numbers;
    ASSERT_TRUE(reply != std::string::npos &&
                MatchesWithNumbers(told.substr(reply), "Reply from 127.0.0.1: bytes=32 time=#ms TTL=33 icmp_seq=#, "
                                                       "dest_addr  127.0.0.1: \r\nin COsPing: Success Recv Packet.\r\n",
                                   &numbers))
        << told;
    EXPECT_GE(numbers[0], 300) << "the round trip is counted from the first request's send time";
    EXPECT_EQ(first[6] | first[7] << 8, numbers[1]);
}

TEST_F(COsPingRawPath, DISABLED_ANameThatDoesNotResolveSendsNothing)
{
    EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping(veltrane_test::kNoSuchHost, 100, 2));
    EXPECT_EQ(std::string("Unkown host ") + veltrane_test::kNoSuchHost + "\r\n", Messages());
}

TEST_F(COsPingEchoService, DISABLED_TheServiceAnswersAndEachAttemptTellsItsOutcome)
{
    ASSERT_LT(RawIcmpSocket().descriptor, 0) << "the raw socket is refused here";
    const int descriptors = veltrane_test::OpenDescriptorCount();
    EXPECT_EQ(0, COsPing::Ping("127.0.0.1", 1000, 2));
    std::string told = Messages();
    EXPECT_TRUE(MatchesWithNumbers(told, "IcmpSendEcho received from 127.0.0.1, status = 0, roundtrip time = # milliseconds"))
        << told;
    EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping("127.0.0.1", 1000, 0));
    EXPECT_EQ("", Messages()) << "no attempt: nothing to tell";
    EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping(veltrane_test::kNoSuchHost, 100, 3));
    const std::string unknown = std::string("Unkown host ") + veltrane_test::kNoSuchHost + "\r\n";
    EXPECT_EQ(unknown + unknown + unknown, Messages()) << "one lookup per attempt";

    {
        NetworkSetting ignore("icmp_echo_ignore_all", "1");
        ASSERT_TRUE(ignore.applied);
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping("127.0.0.1", 150, 2));
        const long long took = MillisecondsSince(start);
        EXPECT_TRUE(took >= 298 && took <= 800) << took << " ms";
        const std::string timedOut = "IcmpSendEcho returned error: 11010";
        EXPECT_EQ(timedOut + timedOut, Messages());
    }
    EXPECT_EQ(descriptors, veltrane_test::OpenDescriptorCount()) << "every service handle is released";
}

TEST_F(COsPingEchoService, DISABLED_AServiceClosedToTheProcessIsTold)
{
    NetworkSetting closed("ping_group_range", "1 0");
    if (!closed.applied)
        GTEST_SKIP() << "the group range cannot be closed from a user namespace that maps one group only";
    EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping("127.0.0.1", 150, 2));
    const std::string refused = "IcmpCreatefile returned error : 10013";
    EXPECT_EQ(refused + refused, Messages());
}

}  // namespace ping_test
