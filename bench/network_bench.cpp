// COsAdapter::GetAllAdapters on 64 addresses beside a getifaddrs loop, and COsPing::Ping of 127.0.0.1 beside a
// raw echo written by hand. Both run in a network namespace of their own, made at start (this needs root):
// a veth pair whose one end carries the 64 addresses, and a loopback that only this program uses.
#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "bench/RunPair.h"

namespace {

constexpr int kAddresses = 64;

struct Row
{
    std::string name, mac, address, mask;
};

std::string Dotted(const sockaddr* address)
{
    char text[INET_ADDRSTRLEN] = "";
    if (address != nullptr && address->sa_family == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof(text));
    return text;
}

// What a user of getifaddrs writes for the same list: names, hardware addresses, addresses and masks.
std::vector<Row> PlainList()
{
    std::vector<Row> rows;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return rows;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        Row row{entry->ifa_name, "", Dotted(entry->ifa_addr), Dotted(entry->ifa_netmask)};
        if (row.address == "127.0.0.1")
            continue;
        for (const ifaddrs* link = list; link != nullptr; link = link->ifa_next) {
            if (link->ifa_addr == nullptr || link->ifa_addr->sa_family != AF_PACKET || row.name != link->ifa_name)
                continue;
            const sockaddr_ll* hardware = reinterpret_cast<const sockaddr_ll*>(link->ifa_addr);
            char text[4] = "";
            for (int i = 0; i < hardware->sll_halen && i < 8; ++i) {
                std::snprintf(text, sizeof(text), i == 0 ? "%02X" : ":%02X", hardware->sll_addr[i]);
                row.mac += text;
            }
        }
        rows.push_back(row);
    }
    freeifaddrs(list);
    return rows;
}

void AdapterList(benchmark::State& state)
{
    std::vector<_S_Adapter_Info> records(kAddresses);
    size_t libraryCount = 0, plainCount = 0;
    bench::RunPair(state, [&] {
        unsigned int size = static_cast<unsigned int>(records.size() * sizeof(_S_Adapter_Info));
        libraryCount = 0;
        if (COsAdapter::GetAllAdapters(records.data(), &size) == 0)
            for (const _S_Adapter_Info* record = records.data(); record != nullptr; record = record->pNext)
                ++libraryCount;
    }, [&] { plainCount = PlainList().size(); });
    state.counters["records"] = static_cast<double>(libraryCount);
    if (libraryCount != kAddresses || plainCount != kAddresses)
        state.SkipWithError("the namespace does not hold the 64 addresses");
}

uint16_t Checksum(const unsigned char* data, size_t length)
{
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < length; i += 2)
        sum += static_cast<uint32_t>(data[i] << 8 | data[i + 1]);
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

// A raw echo to 127.0.0.1 as a user would write it: a socket, one request, the wait for its reply, close.
bool PlainPing(uint16_t sequence)
{
    int raw = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (raw < 0)
        return false;
    unsigned char request[40] = {8, 0, 0, 0, 0x34, 0x12, static_cast<unsigned char>(sequence >> 8),
                                 static_cast<unsigned char>(sequence)};
    const uint16_t checksum = Checksum(request, sizeof(request));
    request[2] = static_cast<unsigned char>(checksum >> 8);
    request[3] = static_cast<unsigned char>(checksum);
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool answered = false;
    const sockaddr* to = reinterpret_cast<sockaddr*>(&target);
    if (sendto(raw, request, sizeof(request), 0, to, sizeof(target)) == sizeof(request)) {
        unsigned char reply[4096];
        pollfd entry{raw, POLLIN, 0};
        while (!answered && poll(&entry, 1, 1000) > 0) {
            const ssize_t length = recv(raw, reply, sizeof(reply), 0);
            const int header = (reply[0] & 0x0F) * 4;
            answered = length >= header + 8 && reply[header] == 0 && reply[header + 4] == 0x34 &&
                       reply[header + 5] == 0x12;
        }
    }
    close(raw);
    return answered;
}

void PingLoopback(benchmark::State& state)
{
    bool libraryAnswered = true, plainAnswered = true;
    uint16_t sequence = 0;
    bench::RunPair(state, [&] { libraryAnswered = libraryAnswered && COsPing::Ping("127.0.0.1", 1000, 1) == 0; },
                   [&] { plainAnswered = plainAnswered && PlainPing(++sequence); });
    if (!libraryAnswered || !plainAnswered)
        state.SkipWithError("a ping of 127.0.0.1 went unanswered (the raw socket needs root)");
}

}  // namespace

int main(int argc, char** argv)
{
    // A namespace of the program's own, so that the 64 addresses leave the machine's list alone and nothing
    // else pings this loopback.
    std::string setup = "ip link set lo up && ip link add vbench0 type veth peer name vbench1";
    for (int i = 1; i <= kAddresses; ++i)
        setup += " && ip addr add 10.80.0." + std::to_string(i) + "/24 dev vbench0";
    if (unshare(CLONE_NEWNET) != 0 || std::system(setup.c_str()) != 0) {
        std::fprintf(stderr, "bench_network needs root to make its network namespace; nothing measured\n");
        return 0;
    }
    benchmark::RegisterBenchmark("GetAllAdapters_64_addresses_vs_getifaddrs", AdapterList)
        ->Iterations(2000)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Ping_127.0.0.1_vs_raw_echo", PingLoopback)
        ->Iterations(2000)
        ->Unit(benchmark::kMicrosecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    COsLog::FreeInstance();
    return 0;
}
