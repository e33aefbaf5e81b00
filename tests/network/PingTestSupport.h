// Helpers of the ping tests: the private steps of COsPing, the log hub with a viewer that collects the ping's
// messages, the checksum as the Internet standard writes it, and raw sockets of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "network/COsPing.h"
#include "tests/logging/LogHubFixture.h"
#include "tests/support/NetNamespace.h"

// Reaches the private steps of COsPing (it is the class's friend).
struct COsPingTestAccess
{
    static int Pack(int sequence, int pid, unsigned char* packet) { return COsPing::pack(sequence, pid, packet); }
    static unsigned short Checksum(unsigned char* data, int length)
    {
        return COsPing::cal_chksum(reinterpret_cast<unsigned short*>(data), length);
    }
    static int Unpack(unsigned char* packet, int length, int pid, const _S_SocketAddr& dest, const _S_SocketAddr& from)
    {
        return COsPing::unpack(packet, length, pid, dest, from);
    }
    static std::atomic<uint32_t>& Sequence() { return COsPing::s_nSequence; }
};

namespace ping_test {

using loghub_test::Clock;
using loghub_test::MillisecondsSince;
using std::chrono::milliseconds;

// The identifier of this process's requests.
inline int OwnIdentifier()
{
    return static_cast<int>(getpid() & 0xFFFF);
}

inline _S_SocketAddr Address(uint32_t hostOrder)
{
    _S_SocketAddr record{};
    record.nFamily = AF_INET;
    record.nAddress = htonl(hostOrder);
    return record;
}

// The Internet checksum as RFC 1071 states it: 16-bit words in network order, an odd last byte as the high
// byte of a word, stored in network order. Over a message that holds its own checksum it gives 0.
inline uint16_t StandardChecksum(const unsigned char* data, size_t length)
{
    uint32_t sum = 0;
    for (size_t i = 0; i < length; i += 2)
        sum += static_cast<uint32_t>(data[i] << 8) | (i + 1 < length ? data[i + 1] : 0);
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

// An ICMP message with its checksum filled in.
inline std::vector<unsigned char> Checksummed(std::vector<unsigned char> message)
{
    message[2] = message[3] = 0;
    const uint16_t checksum = StandardChecksum(message.data(), message.size());
    message[2] = static_cast<unsigned char>(checksum >> 8);
    message[3] = static_cast<unsigned char>(checksum & 0xFF);
    return message;
}

// The reply a host would give to an echo request (its ICMP part).
inline std::vector<unsigned char> ReplyTo(std::vector<unsigned char> request)
{
    request[0] = 0;
    return Checksummed(std::move(request));
}

// A raw ICMP socket of the test's own, closed at the end of its scope; -1 where the process lacks the right.
struct RawIcmpSocket
{
    int descriptor = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    ~RawIcmpSocket()
    {
        if (descriptor >= 0)
            close(descriptor);
    }
    bool SendTo(const std::vector<unsigned char>& message, uint32_t hostOrder) const
    {
        sockaddr_in target{};
        target.sin_family = AF_INET;
        target.sin_addr.s_addr = htonl(hostOrder);
        return sendto(descriptor, message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&target),
                      sizeof(target)) == static_cast<ssize_t>(message.size());
    }
};

// Whether `text` is `pattern` exactly, where each '#' of the pattern stands for a decimal number, which is
// appended to `numbers`.
inline bool MatchesWithNumbers(const std::string& text, const std::string& pattern, std::vector<long>* numbers = nullptr)
{
    size_t at = 0;
    for (char expected : pattern) {
        if (expected != '#') {
            if (at >= text.size() || text[at++] != expected)
                return false;
            continue;
        }
        const size_t digits = at;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9')
            ++at;
        if (at == digits || at - digits > 9)
            return false;
        if (numbers != nullptr)
            numbers->push_back(std::stol(text.substr(digits, at - digits)));
    }
    return at == text.size();
}

inline int Occurrences(const std::string& text, const std::string& part)
{
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

// A test with the log hub up and a viewer attached, whose messages Messages() hands over.
class PingTest : public loghub_test::LogHubTest
{
protected:
    void SetUp() override
    {
        LogHubTest::SetUp();
        m_viewer = std::make_unique<loghub_test::RawViewer>(StartHub());
        ASSERT_TRUE(m_viewer->AwaitHeartbeat());
    }

    void TearDown() override
    {
        m_viewer.reset();
        LogHubTest::TearDown();
    }

    // Everything the viewer has been sent since the last call, heartbeats left out: a marker is pushed behind
    // it, and the viewer reads until the marker comes.
    std::string Messages()
    {
        const std::string marker = "<end of messages " + std::to_string(++m_nMarkers) + ">";
        COsLog::GetInstance()->LogMsgPush(marker.c_str());
        std::string seen;
        char chunk[4096];
        loghub_test::WaitFor([&] {
            int received = m_viewer->socket->ReceiveWithTimeout(chunk, sizeof(chunk), 50, 0);
            seen.append(chunk, static_cast<size_t>(received > 0 ? received : 0));
            return received < 0 || seen.find(marker) != std::string::npos;
        }, milliseconds(10000), milliseconds(0));
        seen.erase(std::remove(seen.begin(), seen.end(), '\x07'), seen.end());
        const size_t end = seen.find(marker);
        EXPECT_NE(end, std::string::npos) << "the viewer got only: " << seen;
        return seen.substr(0, end);
    }

    std::unique_ptr<loghub_test::RawViewer> m_viewer;
    int m_nMarkers = 0;
};

// The same inside a private network namespace only.
class PingPrivateNetworkTest : public PingTest
{
protected:
    void SetUp() override
    {
        if (!veltrane_test::InsidePrivateNetwork())
            GTEST_SKIP() << "runs only inside a private network namespace that a launcher test makes";
        PingTest::SetUp();
    }
};

}  // namespace ping_test
