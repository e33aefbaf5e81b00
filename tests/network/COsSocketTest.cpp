// COsSocket over real loopback TCP and UDP: lifecycle, addressing, errors, transfer and readiness.
#include "network/COsSocket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/network/SocketTestSupport.h"
#include "tests/support/ProcessCounts.h"

using namespace veltrane_test;

TEST(COsSocketTranslate, EverySystemCodeLandsInItsRow)
{
    struct Row {
        int code;
        ESocketError error;
    };
    const Row rows[] = {
        {0, eSocketErrorNone},          {10013, eSocketErrorInvalid},       {10022, eSocketErrorInvalid},
        {10024, eSocketErrorInvalid},   {10038, eSocketErrorInvalid},       {10043, eSocketErrorInvalid},
        {10047, eSocketErrorInvalid},   {10055, eSocketErrorInvalid},       {11004, eSocketErrorHostNotFound},
        {10061, eSocketErrorRefused},   {10060, eSocketErrorTimedOut},      {10035, eSocketErrorWouldBlock},
        {10009, eSocketErrorNotConnected}, {10057, eSocketErrorNotConnected}, {10036, eSocketErrorInProgress},
        {10004, eSocketErrorInterrupted}, {10053, eSocketErrorAborted},     {10054, eSocketErrorReset},
        {10048, eSocketErrorAddressInUse}, {10014, eSocketErrorFault},      {11001, eSocketErrorUnknown},
        {10050, eSocketErrorUnknown},   {10037, eSocketErrorUnknown},       {32, eSocketErrorUnknown},
    };
    SocketHolder socket;
    for (const Row& row : rows) {
        COsSocketTestAccess::Translate(*socket, row.code);
        EXPECT_EQ(row.error, socket->GetSocketError()) << row.code;
        EXPECT_EQ(row.code, socket->GetOriginSocketError()) << row.code;
    }
}

TEST(COsSocketTranslate, StoredErrorLeavesTheSystemCodeBesideIt)
{
    SocketHolder socket;
    COsSocketTestAccess::Translate(*socket, 10061);
    socket->SetSocketError(eSocketErrorHostNotFound);
    EXPECT_EQ(eSocketErrorHostNotFound, socket->GetSocketError());
    EXPECT_EQ(10061, socket->GetOriginSocketError());
}

TEST(COsSocketHostName, NumericSegmentsAreWrittenBackWithoutLeadingZeros)
{
    struct Row {
        const char* input;
        const char* expected;
    };
    const Row rows[] = {
        {"192.168.001.010", "192.168.1.10"},
        {"010.1.1.1", "10.1.1.1"},
        {"some.host", "some.host"},
        {"localhost", "localhost"},
        {"10..1", "10..1"},
        {"10.1.", "10.1."},
        {"1e2.0.0.1", "100.0.0.1"},
        {"12.5.1.1", "12.5.1.1"},
        {"1.2.x.4", "1.2.x.4"},
        {" 7.1", "7.1"},
        {"7 .1", "7 .1"},
        {"4294967296.1", "4294967296.1"},
        {"0010", "10"},
        {"", ""},
    };
    SocketHolder socket;
    for (const Row& row : rows)
        EXPECT_EQ(row.expected, COsSocketTestAccess::HandleHostName(*socket, row.input)) << row.input;
    EXPECT_EQ("", COsSocketTestAccess::HandleHostName(*socket, nullptr));
}

TEST(COsSocketLife, OnlyTheFactoryCountsObjects)
{
    const int before = COsSocketTestAccess::TotalSockets();
    COsSocket* first = COsSocket::CreateInstance();
    COsSocket* second = COsSocket::CreateInstance();
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(before + 2, COsSocketTestAccess::TotalSockets());
    // A copy shares its source's socket and texts, so it must never reach the destructor: it lives in
    // storage of its own that is simply dropped.
    alignas(COsSocket) unsigned char storage[sizeof(COsSocket)];
    COsSocket* copy = new (storage) COsSocket(*first);
    EXPECT_EQ(before + 2, COsSocketTestAccess::TotalSockets());
    *copy = *second;
    EXPECT_EQ(before + 2, COsSocketTestAccess::TotalSockets());
    COsSocket::FreeInstance(&first);
    EXPECT_EQ(nullptr, first);
    EXPECT_EQ(before + 1, COsSocketTestAccess::TotalSockets());
    COsSocket::FreeInstance(&second);
    COsSocket* none = nullptr;
    COsSocket::FreeInstance(&none);
    COsSocket::FreeInstance(nullptr);
    EXPECT_EQ(before, COsSocketTestAccess::TotalSockets());
}

class COsSocketNoSocket : public DescriptorCheckedTest
{
};

TEST_F(COsSocketNoSocket, EveryOperationGivesItsResultAndError)
{
    char buffer[64] = {};
    unsigned short port = 7;
    unsigned int addressLength = sizeof(_S_SocketAddr);
    _S_SocketAddr address = {};
    const std::string host = "127.0.0.1";
    struct Row {
        const char* name;
        std::function<int(COsSocket&)> call;
        int result;
        ESocketError error;  // eSocketErrorAborted: the field is left as the test set it
    };
    const std::vector<Row> rows = {
        {"Bind", [&](COsSocket& s) { return int(s.Bind(host, 0)); }, 0, eSocketErrorInvalid},
        {"Connect", [&](COsSocket& s) { return int(s.Connect(host, 1)); }, 0, eSocketErrorInvalid},
        {"Accept", [&](COsSocket& s) { SocketHolder target; return int(s.Accept(target.get(), buffer, 64, &port)); },
         0, eSocketErrorInvalid},
        {"SetBlocking", [](COsSocket& s) { return int(s.SetBlocking(true)); }, 0, eSocketErrorInvalid},
        {"Listen", [](COsSocket& s) { return int(s.Listen()); }, 0, eSocketErrorAborted},
        {"SetMulticast", [](COsSocket& s) { return int(s.SetMulticast(true, 1)); }, 0, eSocketErrorAborted},
        {"GetLocalIPAddress", [&](COsSocket& s) { return int(s.GetLocalIPAddress(buffer, 63, &port)); }, 0,
         eSocketErrorAborted},
        {"SetBroadcast", [](COsSocket& s) { return int(s.SetBroadcast()); }, 1, eSocketErrorAborted},
        {"SetRecvBufferSize", [](COsSocket& s) { return int(s.SetRecvBufferSize(4096)); }, 0, eSocketErrorInvalid},
        {"SetSendBufferSize", [](COsSocket& s) { return int(s.SetSendBufferSize(4096)); }, 0, eSocketErrorInvalid},
        {"GetRemoteIPAddress", [&](COsSocket& s) { return int(s.GetRemoteIPAddress(buffer, 63, &port)); }, 0,
         eSocketErrorAborted},
        {"GetRemoteMacAddress", [&](COsSocket& s) { return int(s.GetRemoteMacAddress(buffer, 63)); }, 0,
         eSocketErrorAborted},
        {"Send", [](COsSocket& s) { return s.Send("x", 1); }, -1, eSocketErrorInvalid},
        {"SendTo", [&](COsSocket& s) { return s.SendTo("x", 1, 0, &address, sizeof(address)); }, -1,
         eSocketErrorInvalid},
        {"SendToHost", [&](COsSocket& s) { return s.SendToHost("x", 1, 0, host, 9); }, -1, eSocketErrorInvalid},
        {"Receive", [&](COsSocket& s) { return s.Receive(buffer, 8, 0); }, -1, eSocketErrorInvalid},
        {"ReceiveFrom", [&](COsSocket& s) { return s.ReceiveFrom(buffer, 8, 0, &address, &addressLength); }, -1,
         eSocketErrorInvalid},
        {"ReceiveFromHost", [&](COsSocket& s) { return s.ReceiveFromHost(buffer, 8, 0, buffer, 32, &port); }, -1,
         eSocketErrorInvalid},
        {"SendWithTimeout", [](COsSocket& s) { return s.SendWithTimeout("x", 1, 10, 0); }, -1, eSocketErrorInvalid},
        {"ReceiveWithTimeout", [&](COsSocket& s) { return s.ReceiveWithTimeout(buffer, 8, 10, 0); }, -1,
         eSocketErrorInvalid},
        {"IsReady", [](COsSocket& s) { return s.IsReady(10, eSocketStatusRead); }, 0, eSocketErrorInvalid},
        {"IsReadable", [](COsSocket& s) { return COsSocket::IsReadable(&s, &s, 10); }, -1, eSocketErrorAborted},
    };
    for (const Row& row : rows) {
        SocketHolder socket;
        socket->SetSocketError(eSocketErrorAborted);
        EXPECT_EQ(row.result, row.call(*socket)) << row.name;
        EXPECT_EQ(row.error, socket->GetSocketError()) << row.name;
    }
    EXPECT_EQ(7, port);
}

TEST_F(COsSocketNoSocket, BindToPortAndSetBufferTranslateTheRefusal)
{
    SocketHolder socket;
    EXPECT_FALSE(socket->BindToPort(0));
    EXPECT_FALSE(socket->BindMulticast(nullptr, "239.1.2.3", 0));
    EXPECT_FALSE(socket->SetRecvBufferSize(4096));
    // All ones is not a handle the system would take for a socket.
    EXPECT_EQ(10038, socket->GetOriginSocketError());
    EXPECT_EQ(eSocketErrorInvalid, socket->GetSocketError());
    EXPECT_FALSE(socket->InitConnectedSocket(INVALID_SOCKET));
}

class COsSocketTcp : public DescriptorCheckedTest
{
};

TEST_F(COsSocketTcp, CreateRecordsTheTypeAndReplacesAHeldSocket)
{
    SocketHolder socket;
    EXPECT_FALSE(socket->Create(static_cast<ESocketType>(2), 0, 0));
    EXPECT_EQ(2, static_cast<int>(socket->GetSocketType()));
    EXPECT_EQ(-1, socket->Send("x", 1));
    EXPECT_EQ(eSocketErrorInvalid, socket->GetSocketError());

    ASSERT_TRUE(socket->Create(eSocketTypeTcp, 65536, 65536));
    ASSERT_TRUE(socket->Bind("127.0.0.1", 0));
    EXPECT_NE(0, LocalPort(*socket));
    const int descriptors = OpenDescriptorCount();
    ASSERT_TRUE(socket->Create(eSocketTypeUdp, 0, 0));
    EXPECT_EQ(eSocketTypeUdp, socket->GetSocketType());
    EXPECT_EQ(0, LocalPort(*socket)) << "the new socket is not the bound one";
    EXPECT_EQ(descriptors, OpenDescriptorCount()) << "the earlier socket was closed";
}

TEST_F(COsSocketTcp, BindNamesAndLocalAddresses)
{
    struct Row {
        const char* host;
        const char* local;
    };
    const Row rows[] = {{"LOCALHOST", "0.0.0.0"}, {"localhost", "0.0.0.0"}, {"127.0.0.1", "127.0.0.1"},
                        {"127.000.000.001", "127.0.0.1"}};
    for (const Row& row : rows) {
        SocketHolder socket;
        ASSERT_TRUE(socket->Create(eSocketTypeTcp, 0, 0));
        ASSERT_TRUE(socket->Bind(row.host, 0)) << row.host;
        char text[32] = {};
        unsigned short port = 0;
        ASSERT_TRUE(socket->GetLocalIPAddress(text, sizeof(text) - 1, &port));
        EXPECT_STREQ(row.local, text) << row.host;
        EXPECT_NE(0, port);
    }
}

TEST_F(COsSocketTcp, RestartedServerGetsItsPortBackButNeverShared)
{
    unsigned short port = 0;
    {
        Listener first;
        port = first.port;
        SocketHolder client;
        ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
        ASSERT_TRUE(client->Connect("127.0.0.1", port));
        SocketHolder server;
        ASSERT_TRUE(first.socket->Accept(server.get(), nullptr, 0, nullptr));
        server->ShutDown();  // the server closes first, so its end of the connection lingers
        char byte;
        EXPECT_EQ(0, client->Receive(&byte, 1, 0));
    }
    SocketHolder restarted;
    ASSERT_TRUE(restarted->Create(eSocketTypeTcp, 0, 0));
    EXPECT_TRUE(restarted->Bind("127.0.0.1", port));
    ASSERT_TRUE(restarted->Listen());

    SocketHolder second;
    ASSERT_TRUE(second->Create(eSocketTypeTcp, 0, 0));
    EXPECT_FALSE(second->Bind("127.0.0.1", port));
    EXPECT_EQ(eSocketErrorAddressInUse, second->GetSocketError());
    EXPECT_EQ(10048, second->GetOriginSocketError());
}

TEST_F(COsSocketTcp, ListenOnDatagramSocketFailsWithoutRecording)
{
    SocketHolder socket;
    ASSERT_TRUE(socket->Create(eSocketTypeUdp, 0, 0));
    socket->SetSocketError(eSocketErrorFault);
    EXPECT_FALSE(socket->Listen());
    EXPECT_EQ(eSocketErrorFault, socket->GetSocketError());
    EXPECT_TRUE(socket->SetMulticast(false, 1));
    EXPECT_TRUE(socket->SetBroadcast());
}

TEST_F(COsSocketTcp, ConnectAcceptAndTransferAreByteExact)
{
    Listener listener;
    SocketHolder client;
    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(client->Connect("127.000.000.001", listener.port));

    SocketHolder server;
    char peer[16];
    std::memset(peer, 'x', sizeof(peer));
    unsigned short peerPort = 0;
    ASSERT_TRUE(listener.socket->Accept(server.get(), peer, sizeof(peer), &peerPort));
    EXPECT_STREQ("127.0.0.1", peer);
    EXPECT_EQ(LocalPort(*client), peerPort);
    EXPECT_EQ(eSocketTypeTcp, server->GetSocketType());

    char remote[32] = {};
    unsigned short remotePort = 0;
    ASSERT_TRUE(client->GetRemoteIPAddress(remote, sizeof(remote) - 1, &remotePort));
    EXPECT_STREQ("127.0.0.1", remote);
    EXPECT_EQ(listener.port, remotePort);
    EXPECT_FALSE(server->GetRemoteIPAddress(remote, sizeof(remote) - 1, &remotePort))
        << "Accept does not remember the peer in the object it fills";

    std::vector<char> sent = Pattern(3 * 1024 * 1024 + 17);
    std::vector<char> received(sent.size());
    std::thread writer([&] { EXPECT_EQ(static_cast<int>(sent.size()), client->SendWithTimeout(sent.data(), sent.size(), 5000, 0)); });
    size_t filled = 0;
    while (filled < received.size()) {
        int count = server->ReceiveWithTimeout(received.data() + filled, received.size() - filled, 5000, 0);
        ASSERT_GT(count, 0);
        filled += count;
    }
    writer.join();
    EXPECT_TRUE(sent == received);

    EXPECT_EQ(5, server->Send("hello", 5));
    char reply[8] = {};
    EXPECT_EQ(5, client->Receive(reply, sizeof(reply), 0));
    EXPECT_STREQ("hello", reply);
}

TEST_F(COsSocketTcp, AcceptWithoutAddressBufferLeavesThePortAlone)
{
    Listener listener;
    SocketHolder client;
    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(client->Connect("127.0.0.1", listener.port));
    SocketHolder server;
    unsigned short port = 4242;
    EXPECT_TRUE(listener.socket->Accept(server.get(), nullptr, 0, &port));
    EXPECT_EQ(4242, port);
    EXPECT_EQ(2, server->Send("ok", 2));

    SocketHolder datagram;
    ASSERT_TRUE(datagram->Create(eSocketTypeUdp, 0, 0));
    EXPECT_FALSE(datagram->Accept(server.get(), nullptr, 0, nullptr));
    EXPECT_EQ(eSocketErrorInvalid, datagram->GetSocketError());
    EXPECT_FALSE(listener.socket->Accept(nullptr, nullptr, 0, nullptr));
}

TEST_F(COsSocketTcp, RefusedConnectFillsBothErrorFields)
{
    const unsigned short closedPort = UnusedPort();
    SocketHolder blocking;
    ASSERT_TRUE(blocking->Create(eSocketTypeTcp, 0, 0));
    EXPECT_FALSE(blocking->Connect("127.0.0.1", closedPort));
    EXPECT_EQ(eSocketErrorRefused, blocking->GetSocketError());
    EXPECT_EQ(10061, blocking->GetOriginSocketError());
    char remote[32] = {};
    unsigned short remotePort = 0;
    EXPECT_TRUE(blocking->GetRemoteIPAddress(remote, sizeof(remote) - 1, &remotePort))
        << "the peer is remembered even when the attempt fails";
    EXPECT_EQ(closedPort, remotePort);

    SocketHolder nonBlocking;
    ASSERT_TRUE(nonBlocking->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(nonBlocking->SetBlocking(false));
    if (!nonBlocking->Connect("127.0.0.1", closedPort) && nonBlocking->GetSocketError() == eSocketErrorWouldBlock) {
        EXPECT_EQ(10035, nonBlocking->GetOriginSocketError());
        EXPECT_EQ(-1, nonBlocking->IsReady(2000, eSocketStatusWrite));
    }
    EXPECT_EQ(eSocketErrorRefused, nonBlocking->GetSocketError());
    EXPECT_EQ(10061, nonBlocking->GetOriginSocketError());
}

TEST_F(COsSocketTcp, NonBlockingConnectCompletesThroughIsReady)
{
    Listener listener;
    SocketHolder client;
    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(client->SetBlocking(false));
    if (!client->Connect("127.0.0.1", listener.port)) {
        EXPECT_EQ(eSocketErrorWouldBlock, client->GetSocketError());
        EXPECT_GT(client->IsReady(2000, eSocketStatusWrite), 0);
    }
    SocketHolder server;
    ASSERT_TRUE(listener.socket->Accept(server.get(), nullptr, 0, nullptr));
    EXPECT_EQ(3, client->Send("abc", 3));
    char text[4] = {};
    EXPECT_EQ(3, server->ReceiveWithTimeout(text, 3, 2000, 0));
    EXPECT_STREQ("abc", text);

    // On a non-blocking socket Receive does not come back with would-block: it waits for the data.
    char reply[4] = {};
    int received = -2;
    std::thread reader([&] { received = client->Receive(reply, 3, 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(3, server->Send("xyz", 3));
    reader.join();
    EXPECT_EQ(3, received);
    EXPECT_STREQ("xyz", reply);
}

TEST_F(COsSocketTcp, PeerThatWentAwayGivesFailuresNotSignals)
{
    Listener listener;
    SocketHolder client;
    ASSERT_TRUE(client->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(client->Connect("127.0.0.1", listener.port));
    SocketHolder server;
    ASSERT_TRUE(listener.socket->Accept(server.get(), nullptr, 0, nullptr));
    server->ShutDown();

    char byte = 0;
    client->SetSocketError(eSocketErrorFault);
    EXPECT_EQ(0, client->Receive(&byte, 1, 0)) << "an orderly close reads as 0";
    EXPECT_EQ(eSocketErrorFault, client->GetSocketError()) << "and records nothing";
    EXPECT_EQ(-1, client->ReceiveWithTimeout(&byte, 1, 1000, 0));

    // Sending into the closed connection: the first send may still be taken, a later one must fail
    // (the test process would die of SIGPIPE if the library let the signal through).
    std::vector<char> data = Pattern(64 * 1024);
    int result = 0;
    for (int attempt = 0; attempt < 200 && result >= 0; ++attempt) {
        result = client->Send(data.data(), data.size());
        if (result >= 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(eSocketErrorReset, client->GetSocketError());
    EXPECT_EQ(-1, client->SendWithTimeout(data.data(), data.size(), 100, 0));
}

TEST_F(COsSocketTcp, ReceiveTimeOutsAndZeroLengths)
{
    Pair pair;
    char buffer[16] = {};
    pair.client->SetSocketError(eSocketErrorFault);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, pair.client->ReceiveWithTimeout(buffer, sizeof(buffer), 150, 0));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(140));
    EXPECT_EQ(eSocketErrorFault, pair.client->GetSocketError()) << "a time-out records nothing";

    EXPECT_EQ(0, pair.client->ReceiveWithTimeout(buffer, 0, 100000, 0)) << "no wait for a length of 0";
    EXPECT_EQ(0, pair.client->SendWithTimeout("abc", 0, 100000, 0));
    EXPECT_EQ(0, pair.server->IsReady(0, eSocketStatusRead)) << "nothing was sent by the zero-length call";

    EXPECT_EQ(0, pair.client->IsReady(0, eSocketStatusRead));
    EXPECT_EQ(1, pair.client->IsReady(0, eSocketStatusWrite));
    EXPECT_EQ(4, pair.server->Send("ping", 4));
    EXPECT_EQ(1, pair.client->IsReady(2000, eSocketStatusRead));
    EXPECT_EQ(2, pair.client->ReceiveWithTimeout(buffer, 2, 2000, 0)) << "one receive, limited by the length";
    EXPECT_EQ(2, pair.client->Receive(buffer, sizeof(buffer), 0));
    EXPECT_EQ('n', buffer[0]);
}

TEST_F(COsSocketTcp, IsReadableNamesTheFirstReadySocket)
{
    Pair one;
    Pair two;
    EXPECT_EQ(0, COsSocket::IsReadable(one.client.get(), two.client.get(), 20));
    EXPECT_EQ(1, two.server->Send("b", 1));
    EXPECT_EQ(2, COsSocket::IsReadable(one.client.get(), two.client.get(), 2000));
    EXPECT_EQ(1, one.server->Send("a", 1));
    ASSERT_EQ(1, one.client->IsReady(2000, eSocketStatusRead));
    EXPECT_EQ(1, COsSocket::IsReadable(one.client.get(), two.client.get(), 2000)) << "both ready: the first wins";
    EXPECT_EQ(1, COsSocket::IsReadable(one.client.get(), one.client.get(), 0)) << "the same object twice";
    EXPECT_EQ(0, COsSocket::IsReadable(one.server.get(), one.server.get(), 0));
}

TEST_F(COsSocketTcp, SendWithTimeoutStopsWhenThePeerStopsReading)
{
    Pair pair(4096, 4096);
    std::vector<char> data = Pattern(16 * 1024 * 1024);
    int sent = pair.client->SendWithTimeout(data.data(), data.size(), 200, 0);
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, static_cast<int>(data.size()));
}

TEST_F(COsSocketTcp, ShutDownFromAnotherThreadEndsWaits)
{
    Listener listener;
    ASSERT_TRUE(listener.socket->SetBlocking(false));
    std::atomic<int> acceptResult{-2};
    std::thread acceptor([&] {
        SocketHolder target;
        acceptResult = listener.socket->Accept(target.get(), nullptr, 0, nullptr) ? 1 : 0;
    });

    Pair pair;
    ASSERT_TRUE(pair.client->SetBlocking(false));
    std::atomic<int> receiveResult{-2};
    std::thread receiver([&] {
        char byte;
        receiveResult = pair.client->Receive(&byte, 1, 0);
    });
    Pair blocking;
    std::atomic<int> timedResult{-2};
    std::thread timedReceiver([&] {
        char byte;
        timedResult = blocking.server->ReceiveWithTimeout(&byte, 1, 60000, 0);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(-2, acceptResult.load()) << "Accept waits on a non-blocking listener";
    EXPECT_EQ(-2, receiveResult.load()) << "Receive waits on a non-blocking socket";
    EXPECT_EQ(-2, timedResult.load()) << "ReceiveWithTimeout waits for its time limit";
    const auto start = std::chrono::steady_clock::now();
    listener.socket->ShutDown();
    pair.client->ShutDown();
    blocking.server->ShutDown();
    acceptor.join();
    receiver.join();
    timedReceiver.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << "not the time limit";
    EXPECT_EQ(0, acceptResult.load());
    EXPECT_LE(receiveResult.load(), 0);
    EXPECT_EQ(-1, timedResult.load());
}

TEST_F(COsSocketTcp, RemoteMacOfTheLoopbackAdapter)
{
    SocketHolder socket;
    char text[32] = {};
    EXPECT_FALSE(socket->GetRemoteMacAddress(text, sizeof(text) - 1));
    EXPECT_FALSE(socket->GetRemoteMac(""));
    ASSERT_TRUE(socket->GetRemoteMac("127.0.0.1")) << "the machine's own address names its adapter";
    ASSERT_TRUE(socket->GetRemoteMacAddress(text, sizeof(text) - 1));
    EXPECT_STREQ("00:00:00:00:00:00", text);
    char cut[8] = {};
    ASSERT_TRUE(socket->GetRemoteMacAddress(cut, 5));
    EXPECT_STREQ("00:00", cut);
}

class COsSocketUdp : public DescriptorCheckedTest
{
};

TEST_F(COsSocketUdp, DatagramsCarryTheirSender)
{
    SocketHolder receiver;
    ASSERT_TRUE(receiver->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(receiver->BindToPort(0));
    const unsigned short port = LocalPort(*receiver);
    ASSERT_NE(0, port);
    EXPECT_TRUE(receiver->BindToPort(port + 1)) << "a bound socket stays as it is";
    EXPECT_EQ(port, LocalPort(*receiver));

    SocketHolder sender;
    ASSERT_TRUE(sender->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(sender->Bind("127.0.0.1", 0));
    const unsigned short senderPort = LocalPort(*sender);

    std::vector<char> data = Pattern(100);
    EXPECT_EQ(100, sender->SendToHost(data.data(), 100, 0, "localhost", port));
    char buffer[200] = {};
    char ip[32];
    std::memset(ip, 'x', sizeof(ip));
    unsigned short from = 0;
    EXPECT_EQ(100, receiver->ReceiveFromHost(buffer, sizeof(buffer), 0, ip, sizeof(ip), &from));
    EXPECT_EQ(0, std::memcmp(buffer, data.data(), 100));
    EXPECT_STREQ("127.0.0.1", ip);
    EXPECT_EQ(senderPort, from);
    char remote[32] = {};
    unsigned short remotePort = 0;
    ASSERT_TRUE(receiver->GetRemoteIPAddress(remote, sizeof(remote) - 1, &remotePort));
    EXPECT_STREQ("127.0.0.1", remote);
    EXPECT_EQ(senderPort, remotePort);

    _S_SocketAddr target = {};
    target.nFamily = 2;
    target.nPort = static_cast<uint16_t>((port >> 8) | (port << 8));
    target.nAddress = 0x0100007F;  // 127.0.0.1 in network order on this little-endian host
    EXPECT_EQ(3, sender->SendTo("xyz", 3, 0, &target, sizeof(target)));
    _S_SocketAddr source = {};
    unsigned int sourceLength = sizeof(source);
    EXPECT_EQ(1, receiver->ReceiveFrom(buffer, sizeof(buffer), 0, &source, &sourceLength)) << "1, not the count";
    EXPECT_EQ(0, std::memcmp(buffer, "xyz", 3));
    EXPECT_EQ(2, source.nFamily);
    EXPECT_EQ(senderPort, static_cast<unsigned short>((source.nPort >> 8) | (source.nPort << 8)));
    EXPECT_EQ(16u, sourceLength);

    SocketHolder quiet;
    ASSERT_TRUE(quiet->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(quiet->BindToPort(0));
    EXPECT_EQ(5, sender->SendToHost("12345", 5, 0, "127.0.0.1", LocalPort(*quiet)));
    EXPECT_EQ(5, quiet->ReceiveFromHost(buffer, sizeof(buffer), 0, nullptr, 0, nullptr));
    EXPECT_FALSE(quiet->GetRemoteIPAddress(remote, sizeof(remote) - 1, &remotePort))
        << "without pIP the sender is not remembered";
}

TEST_F(COsSocketUdp, BindRulesForDatagramSockets)
{
    SocketHolder stream;
    ASSERT_TRUE(stream->Create(eSocketTypeTcp, 0, 0));
    EXPECT_FALSE(stream->BindToPort(0));
    EXPECT_FALSE(stream->BindMulticast(nullptr, "239.1.2.3", 0));
    EXPECT_TRUE(stream->SetBroadcast()) << "nothing to set on a stream socket";
    EXPECT_FALSE(stream->SetMulticast(true, 1));

    SocketHolder datagram;
    ASSERT_TRUE(datagram->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(datagram->Bind("127.0.0.1", 0));
    EXPECT_FALSE(datagram->BindToPort(0)) << "Bind does not mark the socket bound, so the system refuses a second bind";
    EXPECT_EQ(eSocketErrorInvalid, datagram->GetSocketError());
    EXPECT_EQ(10022, datagram->GetOriginSocketError());

    // ShutDown of a datagram socket forgets that it was bound.
    SocketHolder reused;
    ASSERT_TRUE(reused->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(reused->BindToPort(0));
    reused->ShutDown();
    ASSERT_TRUE(reused->Create(eSocketTypeUdp, 0, 0));
    ASSERT_TRUE(reused->BindToPort(0));
    EXPECT_NE(0, LocalPort(*reused));
}

TEST(COsSocketNamespace, NameFailuresBroadcastAndMulticastInAPrivateNetwork)
{
    RunInPrivateNetwork("DISABLED_COsSocketPrivateNetwork.*");
}

TEST_F(COsSocketTcp, ResetConnectionIsReadyAndTheReceiveReportsTheReset)
{
    Pair pair;
    EXPECT_EQ(1, pair.client->Send("x", 1));
    ASSERT_EQ(1, pair.server->IsReady(2000, eSocketStatusRead));
    pair.server->ShutDown();  // closed with a byte unread: the system resets the connection

    pair.client->SetSocketError(eSocketErrorFault);
    EXPECT_GT(pair.client->IsReady(2000, eSocketStatusRead), 0) << "a reset connection is readable";
    EXPECT_EQ(eSocketErrorFault, pair.client->GetSocketError()) << "the wait records nothing";
    char byte = 0;
    EXPECT_EQ(-1, pair.client->ReceiveWithTimeout(&byte, 1, 2000, 0));
    EXPECT_EQ(eSocketErrorReset, pair.client->GetSocketError());
}

TEST_F(COsSocketTcp, IsReadableCountsAFailedConnectAsAnExceptionOnly)
{
    const unsigned short closedPort = UnusedPort();
    SocketHolder refused;
    ASSERT_TRUE(refused->Create(eSocketTypeTcp, 0, 0));
    ASSERT_TRUE(refused->SetBlocking(false));
    EXPECT_FALSE(refused->Connect("127.0.0.1", closedPort));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the refusal arrives
    EXPECT_EQ(0, COsSocket::IsReadable(refused.get(), refused.get(), 500)) << "an exception alone is not readable";
    EXPECT_EQ(-1, refused->IsReady(0, eSocketStatusWrite)) << "the failure is still there for IsReady";
    EXPECT_EQ(eSocketErrorRefused, refused->GetSocketError());
}
