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
struct COsSocketTestAccess
{
    static std::string HandleHostName(COsSocket& socket, const char* host) { return socket.HandleHostName(host); }
    static void Translate(COsSocket& socket, int code) { socket.TranslateSocketError(code); }
    static int TotalSockets() { return COsSocket::s_nTotalSockets; }
};

namespace veltrane_test {

// A COsSocket from the factory, given back to it at the end of the scope.
struct SocketHolder
{
    COsSocket* socket = COsSocket::CreateInstance();
    ~SocketHolder() { COsSocket::FreeInstance(&socket); }
    COsSocket* get() const { return socket; }
    COsSocket* operator->() const { return socket; }
};

// A test that fails when it leaves a descriptor open.
struct DescriptorCheckedTest : ::testing::Test
{
    const int m_nDescriptors = OpenDescriptorCount();
    void TearDown() override { EXPECT_EQ(m_nDescriptors, OpenDescriptorCount()) << "descriptors leaked"; }
};

// "address:port" of the socket's own end, or of the peer it remembers; "" when the call fails.
inline std::string Endpoint(COsSocket* socket, bool remote = false)
{
    char text[32] = {};
    unsigned short port = 0;
    const bool known = remote ? socket->GetRemoteIPAddress(text, sizeof(text) - 1, &port)
                              : socket->GetLocalIPAddress(text, sizeof(text) - 1, &port);
    return known ? std::string(text) + ":" + std::to_string(port) : "";
}

inline unsigned short LocalPort(COsSocket* socket)
{
    const std::string endpoint = Endpoint(socket);
    return endpoint.empty() ? 0 : static_cast<unsigned short>(std::stoi(endpoint.substr(endpoint.find(':') + 1)));
}

// A TCP listener on 127.0.0.1 with a port of the system's choice.
struct Listener
{
    SocketHolder socket;
    unsigned short port = socket->Create(eSocketTypeTcp, 0, 0) && socket->Bind("127.0.0.1", 0) && socket->Listen()
                              ? LocalPort(socket.get()) : 0;
    Listener() { EXPECT_NE(0, port) << "a listener on 127.0.0.1"; }
};

// A connected client and server over loopback (and the listener that made them), optionally with small buffers.
struct Pair
{
    Listener listener;
    SocketHolder client, server;
    explicit Pair(unsigned int receiveBuffer = 0, unsigned int sendBuffer = 0)
    {
        EXPECT_TRUE((receiveBuffer == 0 || listener.socket->SetRecvBufferSize(receiveBuffer)) &&
                    client->Create(eSocketTypeTcp, receiveBuffer, sendBuffer) &&
                    client->Connect("127.0.0.1", listener.port) &&
                    listener.socket->Accept(server.get(), nullptr, 0, nullptr));
    }
};

// A port on 127.0.0.1 where nothing listens: taken by a listener that is then closed.
inline unsigned short UnusedPort() { return Listener().port; }

// Bytes that differ from their neighbours, so a lost, doubled or moved block shows.
inline std::vector<char> Pattern(size_t size)
{
    std::vector<char> data(size);
    for (uint32_t i = 0, state = 0x12345678; i < size; ++i)
        data[i] = static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
    return data;
}

// The private network: loopback up with multicast, plus an address whose subnet has a broadcast address,
// all in a network namespace of its own, from which no packet can leave the machine.
constexpr const char* kPrivateBroadcast = "10.77.0.255";
constexpr const char* kPrivateNetworkVariable = "VELTRANE_PRIVATE_NETWORK";

// Runs the tests of `filter` (disabled ones, so that no ordinary run starts them) in this test binary
// inside a fresh private network namespace, and expects them to pass. Skips where no namespace can be made.
inline void RunInPrivateNetwork(const std::string& filter)
{
    const std::string setup = "unshare --net --map-root-user sh -c 'ip link set lo up && ip link set lo multicast on && "
                              "ip addr add 10.77.0.1/24 brd 10.77.0.255 dev lo && ip route add 224.0.0.0/4 dev lo";
    if (std::system((setup + "' >/dev/null 2>&1").c_str()) != 0)
        GTEST_SKIP() << "no private network namespace here (needs unshare --net with user namespaces, and ip)";
    const std::string command = setup + " && exec env " + kPrivateNetworkVariable +
                                "=1 \"$0\" --gtest_also_run_disabled_tests --gtest_filter=\"$1\"' '" +
                                std::filesystem::read_symlink("/proc/self/exe").string() + "' '" + filter + "'";
    EXPECT_EQ(0, std::system(command.c_str())) << command;
}

}  // namespace veltrane_test
