// A 1 GiB loopback TCP transfer through COsSocket Send/Receive beside plain BSD send/recv.
#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include <Veltrane.h>

namespace {

constexpr long long kTransferBytes = 1LL << 30;
constexpr unsigned int kChunk = 64 * 1024;

double g_bestLibrary = std::numeric_limits<double>::max();
double g_bestPlain = std::numeric_limits<double>::max();

// Plain BSD sockets: what a user would write without the library.
void PlainTransfer(benchmark::State& state)
{
    for (auto _ : state) {
        int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        listen(listener, 1);
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
        int client = socket(AF_INET, SOCK_STREAM, 0);
        connect(client, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        int server = accept(listener, nullptr, nullptr);

        auto start = std::chrono::steady_clock::now();
        std::thread reader([server] {
            std::vector<char> buffer(kChunk);
            long long total = 0;
            while (total < kTransferBytes) {
                long count = recv(server, buffer.data(), buffer.size(), 0);
                if (count <= 0)
                    break;
                total += count;
            }
        });
        std::vector<char> data(kChunk, 'p');
        long long sent = 0;
        while (sent < kTransferBytes) {
            long count = send(client, data.data(), data.size(), MSG_NOSIGNAL);
            if (count <= 0)
                break;
            sent += count;
        }
        reader.join();
        double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        g_bestPlain = std::min(g_bestPlain, seconds);
        close(client);
        close(server);
        close(listener);
    }
    state.SetBytesProcessed(state.iterations() * kTransferBytes);
}

void LibraryTransfer(benchmark::State& state)
{
    for (auto _ : state) {
        COsSocket* listener = COsSocket::CreateInstance();
        COsSocket* client = COsSocket::CreateInstance();
        COsSocket* server = COsSocket::CreateInstance();
        listener->Create(eSocketTypeTcp, 0, 0);
        listener->Bind("127.0.0.1", 0);
        listener->Listen();
        char text[32] = {};
        unsigned short port = 0;
        listener->GetLocalIPAddress(text, sizeof(text) - 1, &port);
        client->Create(eSocketTypeTcp, 0, 0);
        client->Connect("127.0.0.1", port);
        listener->Accept(server, nullptr, 0, nullptr);

        auto start = std::chrono::steady_clock::now();
        std::thread reader([server] {
            std::vector<char> buffer(kChunk);
            long long total = 0;
            while (total < kTransferBytes) {
                int count = server->Receive(buffer.data(), buffer.size(), 0);
                if (count <= 0)
                    break;
                total += count;
            }
        });
        std::vector<char> data(kChunk, 'p');
        long long sent = 0;
        while (sent < kTransferBytes) {
            int count = client->Send(data.data(), data.size());
            if (count <= 0)
                break;
            sent += count;
        }
        reader.join();
        double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        g_bestLibrary = std::min(g_bestLibrary, seconds);
        COsSocket::FreeInstance(&client);
        COsSocket::FreeInstance(&server);
        COsSocket::FreeInstance(&listener);
    }
    state.SetBytesProcessed(state.iterations() * kTransferBytes);
}

}  // namespace

int main(int argc, char** argv)
{
    // Five alternating runs of each side spread the noise of a shared machine over both; the best run
    // of each is compared.
    for (int run = 0; run < 5; ++run) {
        benchmark::RegisterBenchmark("PlainTransfer", PlainTransfer)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("LibraryTransfer", LibraryTransfer)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (g_bestPlain < std::numeric_limits<double>::max() && g_bestLibrary < std::numeric_limits<double>::max())
        std::printf("1 GiB loopback transfer, best of runs: library %.3f s, send/recv %.3f s\n"
                    "ratio library/alternative = %.3f\n",
                    g_bestLibrary, g_bestPlain, g_bestLibrary / g_bestPlain);
    return 0;
}
