// COsPing on this machine: the request, its checksum and the replies that match, then echo over 127.0.0.1
// on the raw path, each step as the log viewer sees it.
#include <gtest/gtest.h>

#include <time.h>

#include <fstream>
#include <random>

#include "tests/network/PingTestSupport.h"
#include "tests/support/ProcessCounts.h"

namespace ping_test {

namespace {

constexpr uint32_t kLoopback = 0x7F000001;

uint32_t TickNow()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000);
}

uint32_t Little32(const unsigned char* bytes)
{
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

std::string DefaultTtl()
{
    std::ifstream file("/proc/sys/net/ipv4/ip_default_ttl");
    std::string ttl;
    return file >> ttl ? ttl : "64";
}

}  // namespace

TEST_F(PingTest, RequestHoldsTypeIdentifierSequenceAndTimeLittleEndianUnderAStandardChecksum)
{
    unsigned char packet[48];
    std::memset(packet, 0xEE, sizeof(packet));
    const uint32_t before = TickNow();
    ASSERT_EQ(40, COsPingTestAccess::Pack(0x12345, 0x1ABCD, packet));
    const uint32_t after = TickNow();
    const unsigned char head[] = {8, 0, packet[2], packet[3], 0xCD, 0xAB, 0x45, 0x23};
    EXPECT_EQ(0, std::memcmp(head, packet, sizeof(head))) << "identifier and sequence cut to 16 bits, low byte first";
    const uint32_t sent = Little32(packet + 8);
    EXPECT_TRUE(sent - before <= after - before) << sent << " not within " << before << ".." << after;
    for (int i = 12; i < 40; ++i)
        EXPECT_EQ(0, packet[i]) << "byte " << i;
    EXPECT_EQ(0xEE, packet[40]) << "nothing written behind the 40 bytes";
    EXPECT_EQ(0, StandardChecksum(packet, 40)) << "a receiver's check of the checksum passes";

    // The library's checksum, stored low byte first, is the same two bytes as the standard's in network order,
    // for every length, odd ones included (RFC 1071's own example first: the sum ddf2 gives 220d).
    unsigned char example[] = {0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7};
    EXPECT_EQ(0x0D22, COsPingTestAccess::Checksum(example, sizeof(example)));
    std::mt19937 random(7);
    std::vector<unsigned char> data(4099);
    for (unsigned char& byte : data)
        byte = static_cast<unsigned char>(random() % 4 == 0 ? 0xFF : random());
    for (int length : {0, 1, 2, 3, 39, 40, 41, 4098, 4099}) {
        const uint16_t standard = StandardChecksum(data.data(), static_cast<size_t>(length));
        const uint16_t own = COsPingTestAccess::Checksum(data.data(), length);
        EXPECT_EQ(standard >> 8, own & 0xFF) << "length " << length;
        EXPECT_EQ(standard & 0xFF, own >> 8) << "length " << length;
    }
    std::vector<unsigned char> ones(4096, 0xFF);  // every word carries: the folds must take them all
    EXPECT_EQ(0, COsPingTestAccess::Checksum(ones.data(), 4096));
}

TEST_F(PingTest, AReplyMatchesByTypeIdentifierAndSenderBehindAHeaderOfAnyLength)
{
    const int pid = 0x2345;
    const _S_SocketAddr host = Address(0x0A010203);
    struct Row
    {
        const char* what;
        int headerWords, type, identifier;
        uint32_t sender;
        int icmpLength;
        bool matches;
    } rows[] = {
        {"a plain reply", 5, 0, pid, 0x0A010203, 40, true},
        {"a header with options", 6, 0, pid, 0x0A010203, 40, true},
        {"the longest header", 15, 0, pid, 0x0A010203, 40, true},
        {"a reply without data but its send time", 5, 0, pid, 0x0A010203, 12, true},
        {"an echo request", 5, 8, pid, 0x0A010203, 40, false},
        {"a destination unreachable", 5, 3, pid, 0x0A010203, 40, false},
        {"another identifier", 5, 0, pid + 1, 0x0A010203, 40, false},
        {"the identifier's other byte order", 5, 0, 0x4523, 0x0A010203, 40, false},
        {"another sender", 5, 0, pid, 0x0A010204, 40, false},
        {"too short for the send time", 5, 0, pid, 0x0A010203, 11, false},
        {"a header length below IPv4's", 4, 0, pid, 0x0A010203, 40, false},
    };
    for (const Row& row : rows) {
        unsigned char packet[4096] = {};
        const int header = row.headerWords * 4;
        packet[0] = static_cast<unsigned char>(0x40 | row.headerWords);
        packet[8] = 33;
        packet[header] = static_cast<unsigned char>(row.type);
        packet[header + 4] = static_cast<unsigned char>(row.identifier & 0xFF);
        packet[header + 5] = static_cast<unsigned char>(row.identifier >> 8);
        packet[header + 6] = 0x10;  // sequence 0x0110
        packet[header + 7] = 0x01;
        const uint32_t sent = TickNow() - 5000;
        for (int i = 0; i < 4; ++i)
            packet[header + 8 + i] = static_cast<unsigned char>(sent >> (8 * i));
        const int length = std::max(header, 20) + row.icmpLength;
        EXPECT_EQ(row.matches ? 1 : 0, COsPingTestAccess::Unpack(packet, length, pid, host, Address(row.sender)))
            << row.what;
        const std::string told = Messages();
        if (!row.matches) {
            EXPECT_EQ("", told) << row.what;
            continue;
        }
        std::vector<long> numbers;
        ASSERT_TRUE(MatchesWithNumbers(told, "Reply from 10.1.2.3: bytes=# time=#ms TTL=33 icmp_seq=272, dest_addr  10.1.2.3: \r\n",
                                       &numbers))
            << row.what << ": " << told;
        EXPECT_EQ(row.icmpLength - 8, numbers[0]) << row.what;
        EXPECT_TRUE(numbers[1] >= 5000 && numbers[1] < 6000) << row.what << ": " << numbers[1];
    }
}

TEST_F(PingTest, LoopbackAnswersTheRawSocketAndEveryStepIsTold)
{
    if (RawIcmpSocket().descriptor < 0)
        GTEST_SKIP() << "the raw path needs CAP_NET_RAW; the echo service is tested in a private network";
    const int descriptors = veltrane_test::OpenDescriptorCount();
    std::atomic<uint32_t>& sequence = COsPingTestAccess::Sequence();
    sequence = 65534;
    const std::string ttl = DefaultTtl();
    // Three pings over the wrap of the 16-bit field: the counter runs on, the field starts again at 0.
    for (const char* expectedSequence : {"65534", "65535", "0"}) {
        ASSERT_EQ(0, COsPing::Ping("127.0.0.1", 2000, 3));
        const std::string told = Messages();
        EXPECT_TRUE(MatchesWithNumbers(told, "Pinging 127.0.0.1 [127.0.0.1]: with 32 bytes of data: \r\n"
                                             "in COsPing: Success Send Packet.\r\n"
                                             "Reply from 127.0.0.1: bytes=32 time=#ms TTL=" + ttl + " icmp_seq=" +
                                             expectedSequence + ", dest_addr  127.0.0.1: \r\n"
                                             "in COsPing: Success Recv Packet.\r\n"))
            << told;
    }
    EXPECT_EQ(65537u, sequence.load());

    EXPECT_EQ(0, COsPing::Ping("localhost", 0, 1)) << "no time limit: the wait ends with the reply";
    EXPECT_EQ(0u, Messages().find("Pinging localhost [127.0.0.1]: with 32 bytes of data: \r\n"));
    EXPECT_EQ(OS_ERR_NETWORK, COsPing::Ping("127.0.0.1", 2000, 0));
    EXPECT_EQ("Pinging 127.0.0.1 [127.0.0.1]: with 32 bytes of data: \r\n", Messages()) << "no attempt, nothing sent";
    EXPECT_EQ(65538u, sequence.load());
    EXPECT_EQ(descriptors, veltrane_test::OpenDescriptorCount()) << "the raw socket is closed on every path";
}

}  // namespace ping_test
