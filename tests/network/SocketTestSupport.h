// Helpers of the socket tests: owned objects, loopback listeners and pairs, and the private network.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "network/COsSocket.h"
#include "tests/support/ProcessCounts.h"

// Reaches the private steps of COsSocket (it is the class's friend).
class COsSocketTestAccess
{
public:
    static std::string HandleHostName(COsSocket& socket, const char* host) { return socket.HandleHostName(host); }
    static void Translate(COsSocket& socket, int code) { socket.TranslateSocketError(code); }
    static int TotalSockets() { return COsSocket::s_nTotalSockets; }
};

namespace veltrane_test {

// A COsSocket from the factory, given back to it at the end of the scope.
class SocketHolder
{
public:
    SocketHolder() : m_pSocket(COsSocket::CreateInstance()) {}
    ~SocketHolder() { COsSocket::FreeInstance(&m_pSocket); }
    SocketHolder(const SocketHolder&) = delete;
    SocketHolder& operator=(const SocketHolder&) = delete;

    COsSocket* get() const { return m_pSocket; }
    COsSocket* operator->() const { return m_pSocket; }
    COsSocket& operator*() const { return *m_pSocket; }

private:
    COsSocket* m_pSocket;
};

// A test that fails when it leaves a descriptor open.
class DescriptorCheckedTest : public ::testing::Test
{
protected:
    void SetUp() override { m_nDescriptors = OpenDescriptorCount(); }
    void TearDown() override { EXPECT_EQ(m_nDescriptors, OpenDescriptorCount()) << "descriptors leaked"; }

private:
    int m_nDescriptors = 0;
};

inline unsigned short LocalPort(COsSocket& socket)
{
    char text[32] = {};
    unsigned short port = 0;
    return socket.GetLocalIPAddress(text, sizeof(text) - 1, &port) ? port : 0;
}

// A TCP listener on 127.0.0.1 with a port of the system's choice.
struct Listener
{
    SocketHolder socket;
    unsigned short port = 0;

    Listener()
    {
        EXPECT_TRUE(socket->Create(eSocketTypeTcp, 0, 0));
        EXPECT_TRUE(socket->Bind("127.0.0.1", 0));
        EXPECT_TRUE(socket->Listen());
        port = LocalPort(*socket);
        EXPECT_NE(0, port);
    }
};

// A connected client and server over loopback, optionally with small buffers.
struct Pair
{
    SocketHolder client;
    SocketHolder server;

    explicit Pair(unsigned int receiveBuffer = 0, unsigned int sendBuffer = 0)
    {
        Listener listener;
        if (receiveBuffer != 0) {
            EXPECT_TRUE(listener.socket->SetRecvBufferSize(receiveBuffer));
        }
        EXPECT_TRUE(client->Create(eSocketTypeTcp, receiveBuffer, sendBuffer));
        EXPECT_TRUE(client->Connect("127.0.0.1", listener.port));
        EXPECT_TRUE(listener.socket->Accept(server.get(), nullptr, 0, nullptr));
    }
};

// A port on 127.0.0.1 where nothing listens: taken by a listener that is then closed.
inline unsigned short UnusedPort()
{
    Listener listener;
    return listener.port;
}

// Bytes that differ from their neighbours, so a lost, doubled or moved block shows.
inline std::vector<char> Pattern(size_t size)
{
    std::vector<char> data(size);
    uint32_t state = 0x12345678;
    for (size_t i = 0; i < size; ++i) {
        state = state * 1664525u + 1013904223u;
        data[i] = static_cast<char>(state >> 24);
    }
    return data;
}

// The private network: loopback up with multicast, plus an address whose subnet has a broadcast address,
// all in a network namespace of its own, from which no packet can leave the machine.
constexpr const char* kPrivateBroadcast = "10.77.0.255";
constexpr const char* kPrivateNetworkVariable = "VELTRANE_PRIVATE_NETWORK";

inline bool InPrivateNetwork()
{
    return std::getenv(kPrivateNetworkVariable) != nullptr;
}

// Runs the tests of `filter` (disabled ones, so that no ordinary run starts them) in this test binary
// inside a fresh private network namespace, and expects them to pass. Skips where no namespace can be made.
inline void RunInPrivateNetwork(const std::string& filter)
{
    const std::string setup = "ip link set lo up && ip link set lo multicast on && "
                              "ip addr add 10.77.0.1/24 brd 10.77.0.255 dev lo && ip route add 224.0.0.0/4 dev lo";
    const std::string probe = "unshare --net --map-root-user sh -c '" + setup + "' >/dev/null 2>&1";
    if (std::system(probe.c_str()) != 0)
        GTEST_SKIP() << "no private network namespace here (needs unshare --net with user namespaces, and ip)";
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command = "unshare --net --map-root-user sh -c '" + setup + " && exec env " +
                                kPrivateNetworkVariable + "=1 \"$0\" --gtest_also_run_disabled_tests --gtest_filter=\"$1\"' '" +
                                program + "' '" + filter + "'";
    EXPECT_EQ(0, std::system(command.c_str())) << command;
}

}  // namespace veltrane_test
