// Helpers of the socket tests: owned objects, loopback listeners and pairs, endpoints and test data.
#pragma once

#include <gtest/gtest.h>

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

// A socket of `type` from Create, asserted to have been made.
#define CREATED(holder, type) \
    SocketHolder holder;      \
    ASSERT_TRUE(holder->Create(type, 0, 0))

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

}  // namespace veltrane_test
