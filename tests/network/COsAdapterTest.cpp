// COsAdapter: the records built from an adapter list of the test's own, then the real list against the
// kernel's, here and in private network namespaces with veth pairs, several addresses on one adapter, none
// at all, and more addresses than the lookups have room for.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>

#include "network/AdapterRecords.h"
#include "network/COsAdapter.h"
#include "tests/support/NetNamespace.h"

namespace {

constexpr unsigned int kRecord = sizeof(_S_Adapter_Info);

struct Expected
{
    std::string adapter, mac, address, mask;
    bool operator==(const Expected& other) const
    {
        return adapter == other.adapter && mac == other.mac && address == other.address && mask == other.mask;
    }
};

std::ostream& operator<<(std::ostream& out, const Expected& row)
{
    return out << row.adapter << ' ' << row.mac << ' ' << row.address << ' ' << row.mask;
}

std::vector<std::string> CommandLines(const char* command)
{
    std::vector<std::string> lines;
    FILE* pipe = popen(command, "r");
    char line[4096];
    while (pipe != nullptr && std::fgets(line, sizeof(line), pipe) != nullptr)
        lines.push_back(line);
    if (pipe != nullptr)
        pclose(pipe);
    return lines;
}

std::string MaskOfPrefix(int prefix)
{
    const uint32_t mask = prefix == 0 ? 0 : ~0u << (32 - prefix);
    return std::to_string(mask >> 24) + '.' + std::to_string((mask >> 16) & 0xFF) + '.' + std::to_string((mask >> 8) & 0xFF) +
           '.' + std::to_string(mask & 0xFF);
}

// The usable addresses in the kernel's own order, as the ip tool lists them, with their adapter's name,
// hardware address (in capitals) and mask.
std::vector<Expected> KernelList()
{
    std::map<std::string, std::string> macs;
    for (const std::string& line : CommandLines("ip -o link show")) {
        std::istringstream fields(line);
        std::string index, name, field;
        fields >> index >> name;
        name = name.substr(0, name.find_first_of("@:"));
        while (fields >> field && field.rfind("link/", 0) != 0) {
        }
        std::string mac;
        if (!(fields >> mac) || mac.find(':') == std::string::npos)
            mac.clear();
        for (char& letter : mac)
            letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        macs[name] = mac;
    }
    std::vector<Expected> rows;
    for (const std::string& line : CommandLines("ip -o -4 addr show")) {
        std::istringstream fields(line);
        std::string index, name, family, address;
        fields >> index >> name >> family >> address;
        const size_t slash = address.find('/');
        Expected row{name, macs[name], address.substr(0, slash), MaskOfPrefix(std::stoi(address.substr(slash + 1)))};
        if (row.address != "127.0.0.1" && row.address != "0.0.0.0")
            rows.push_back(row);
    }
    return rows;
}

// The records of a successful listing, walked through pNext, checked to stay inside the caller's array.
std::vector<Expected> Walk(const std::vector<_S_Adapter_Info>& records)
{
    std::vector<Expected> rows;
    for (const _S_Adapter_Info* record = records.data(); record != nullptr && rows.size() < records.size();
         record = record->pNext) {
        EXPECT_TRUE(record >= records.data() && record < records.data() + records.size());
        rows.push_back({record->szAdapterName, record->szMac, record->szIPAddress, record->szIPMask});
    }
    return rows;
}

// GetAllAdapters into an array of exactly the size it names, after asking for that size with 0.
std::vector<_S_Adapter_Info> AllRecords()
{
    unsigned int size = 0;
    const int status = COsAdapter::GetAllAdapters(nullptr, &size);
    EXPECT_TRUE(status == OS_ERR_BUFFER_TOO_SMALL || (status == 0 && size == 0)) << status;
    std::vector<_S_Adapter_Info> records(size / kRecord);
    EXPECT_EQ(0, COsAdapter::GetAllAdapters(records.data(), &size));
    EXPECT_EQ(records.size() * kRecord, size) << "unchanged on success";
    return records;
}

// The real list equals the kernel's, record for record, and GetAllLocalIP gives its addresses.
void ExpectTheKernelsList()
{
    const std::vector<Expected> kernel = KernelList();
    ASSERT_FALSE(CommandLines("ip -o link show").empty()) << "the ip tool lists the links";
    EXPECT_EQ(kernel, Walk(AllRecords()));
    std::vector<std::string> addresses;
    for (const Expected& row : kernel)
        addresses.push_back(row.address);
    if (addresses.size() <= 32) {
        EXPECT_EQ(addresses.empty() ? std::vector<std::string>{""} : addresses, COsAdapter::GetAllLocalIP());
    }
}

platform::AdapterEntry Adapter(const std::string& name, std::vector<uint8_t> hardware,
                               std::vector<platform::AdapterAddress> addresses)
{
    platform::AdapterEntry adapter;
    adapter.name = name;
    adapter.description = "about " + name;
    adapter.hardwareLength = static_cast<uint32_t>(hardware.size());
    std::copy(hardware.begin(), hardware.end(), adapter.hardware);
    adapter.addresses = addresses;
    return adapter;
}

}  // namespace

TEST(COsAdapterRecords, UsableAddressesInOrderTheSizeProtocolAndTheTextLimits)
{
    const std::string longName(300, 'n');
    std::vector<platform::AdapterEntry> adapters = {
        Adapter("eth0", {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E},
                {{"10.0.0.5", "255.0.0.0"}, {"0.0.0.0", "0.0.0.0"}, {"10.0.0.6", "255.255.0.0"}}),
        Adapter("lo", {0, 0, 0, 0, 0, 0}, {{"127.0.0.1", "255.0.0.0"}}),
        Adapter("down", {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}, {}),
        Adapter("tun0", {}, {{"172.16.0.1", "255.255.255.255"}}),
        Adapter(longName, std::vector<uint8_t>(24, 0xA5), {{"192.168.1.1", "255.255.255.0"}}),
    };
    adapters.back().description = std::string(200, 'd');
    const std::vector<Expected> expected = {
        {"eth0", "00:1A:2B:3C:4D:5E", "10.0.0.5", "255.0.0.0"},
        {"eth0", "00:1A:2B:3C:4D:5E", "10.0.0.6", "255.255.0.0"},
        {"tun0", "", "172.16.0.1", "255.255.255.255"},
        {std::string(256, 'n'), "A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5:A5", "192.168.1.1",
         "255.255.255.0"},
    };
    const unsigned int needed = 4 * kRecord;
    std::vector<_S_Adapter_Info> records(5);
    const struct
    {
        unsigned int size;
        int status;
        unsigned int sizeAfter;
    } sizes[] = {{0, OS_ERR_BUFFER_TOO_SMALL, needed}, {needed - 1, OS_ERR_BUFFER_TOO_SMALL, needed},
                 {needed, 0, needed}, {5 * kRecord + 3, 0, 5 * kRecord + 3}};
    for (const auto& row : sizes) {
        std::memset(records.data(), 0xCC, records.size() * kRecord);
        unsigned int size = row.size;
        EXPECT_EQ(row.status, adapter_records::Build(adapters, records.data(), &size)) << row.size;
        EXPECT_EQ(row.sizeAfter, size) << row.size;
        EXPECT_EQ(0xCC, reinterpret_cast<unsigned char*>(&records[4])[0]) << "no fifth record";
        if (row.status != 0) {
            EXPECT_EQ(0xCC, reinterpret_cast<unsigned char*>(records.data())[0]) << "nothing written";
            continue;
        }
        EXPECT_EQ(expected, Walk(records));
        EXPECT_EQ(nullptr, records[3].pNext);
        EXPECT_EQ(std::string(132, 'd'), records[3].szDescription);
        EXPECT_STREQ("about eth0", records[1].szDescription);
        for (size_t i = 256; i < sizeof(records[3].szAdapterName); ++i)
            ASSERT_EQ(0, records[3].szAdapterName[i]) << "zero-filled behind the cut text, byte " << i;
    }
    unsigned int size = 0;
    EXPECT_EQ(OS_ERR_BUFFER_TOO_SMALL, adapter_records::Build(adapters, nullptr, &size)) << "the size query";
    EXPECT_EQ(needed, size);
    EXPECT_EQ(OS_ERR_NULL_ARGUMENT, adapter_records::Build(adapters, nullptr, &size));
    EXPECT_EQ(OS_ERR_NULL_ARGUMENT, adapter_records::Build(adapters, records.data(), nullptr));

    // Nothing usable: success with nothing written and the size as it was, even for a null array.
    adapters.erase(adapters.begin());
    adapters.pop_back();
    adapters.pop_back();
    std::memset(records.data(), 0xCC, records.size() * kRecord);
    size = 0;
    EXPECT_EQ(0, adapter_records::Build(adapters, records.data(), &size));
    EXPECT_EQ(0, adapter_records::Build(adapters, nullptr, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0xCC, reinterpret_cast<unsigned char*>(records.data())[0]);
}

TEST(COsAdapter, ThisMachinesListIsTheKernels)
{
    ExpectTheKernelsList();
}

using COsAdapterPrivateNetwork = veltrane_test::PrivateNetworkTest;

TEST(COsAdapterNamespace, SeveralAddressesOnOneAdapterAcrossAVethPair)
{
    veltrane_test::RunInPrivateNetwork("ip link add va type veth peer name vb && ip link set va address aa:bb:cc:dd:ee:01 && "
                                       "ip addr add 10.79.1.1/24 dev va && ip addr add 10.79.1.2/24 dev va && "
                                       "ip addr add 10.79.9.1/16 dev va label va:alias && ip addr add 10.79.2.1/24 dev vb && "
                                       "ip addr add 127.0.0.2/8 dev lo && ip link add vc type veth peer name vd",
                                       "COsAdapterPrivateNetwork.DISABLED_SeveralAddresses*");
}

TEST(COsAdapterNamespace, NoUsableAddress)
{
    veltrane_test::RunInPrivateNetwork("true", "COsAdapterPrivateNetwork.DISABLED_NoUsableAddress*");
}

TEST(COsAdapterNamespace, MoreAddressesThanTheLookupsHoldRoomFor)
{
    veltrane_test::RunInPrivateNetwork("ip link add va type veth peer name vb && "
                                       "for i in $(seq 1 40); do ip addr add 10.79.3.$i/24 dev va || exit 1; done",
                                       "COsAdapterPrivateNetwork.DISABLED_MoreAddresses*");
}

TEST_F(COsAdapterPrivateNetwork, DISABLED_SeveralAddressesOnOneAdapter)
{
    ExpectTheKernelsList();
    const std::vector<Expected> records = Walk(AllRecords());
    std::vector<std::string> onVa;
    for (const Expected& row : records) {
        EXPECT_NE("127.0.0.1", row.address);
        if (row.adapter == "va") {
            EXPECT_EQ("AA:BB:CC:DD:EE:01", row.mac);
            onVa.push_back(row.address);
        }
    }
    EXPECT_EQ((std::vector<std::string>{"10.79.1.1", "10.79.9.1", "10.79.1.2"}), onVa)
        << "the kernel's order, the alias label counted to its adapter";

    _S_Adapter_Info info;
    std::memset(&info, 0x5A, sizeof(info));
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("aa:bb:cc:dd:ee:01", info));
    EXPECT_EQ((Expected{"va", "AA:BB:CC:DD:EE:01", "10.79.1.1", "255.255.255.0"}),
              (Expected{info.szAdapterName, info.szMac, info.szIPAddress, info.szIPMask}));
    EXPECT_STREQ("va", info.szDescription);
    EXPECT_EQ(nullptr, info.pNext);
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("", info));
    EXPECT_EQ(records.front().address, info.szIPAddress);
    EXPECT_EQ(nullptr, info.pNext);
    _S_Adapter_Info untouched;
    std::memset(&untouched, 0x5A, sizeof(untouched));
    info = untouched;
    EXPECT_EQ(OS_ERR_ADAPTER_NOT_FOUND, COsAdapter::GetAdapterFromMac("AA:BB:CC:DD:EE:02", info));
    EXPECT_EQ(OS_ERR_ADAPTER_NOT_FOUND, COsAdapter::GetAdapterFromMac("aa:bb:cc:dd:ee:0", info)) << "a prefix is no match";
    EXPECT_EQ(0, std::memcmp(&untouched, &info, sizeof(info)));

    std::vector<_S_Adapter_Info> room(records.size());
    unsigned int size = static_cast<unsigned int>(records.size() * kRecord - 1);
    EXPECT_EQ(OS_ERR_BUFFER_TOO_SMALL, COsAdapter::GetAllAdapters(room.data(), &size));
    EXPECT_EQ(records.size() * kRecord, size);
}

TEST_F(COsAdapterPrivateNetwork, DISABLED_NoUsableAddress)
{
    unsigned int size = 0;
    EXPECT_EQ(0, COsAdapter::GetAllAdapters(nullptr, &size)) << "nothing to list";
    EXPECT_EQ(0u, size);
    EXPECT_EQ(std::vector<std::string>{""}, COsAdapter::GetAllLocalIP());
    _S_Adapter_Info info;
    std::memset(&info, 0x5A, sizeof(info));
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("", info));
    EXPECT_EQ((Expected{"", "", "", ""}), (Expected{info.szAdapterName, info.szMac, info.szIPAddress, info.szIPMask}));
    EXPECT_STREQ("", info.szDescription);
    EXPECT_EQ(OS_ERR_ADAPTER_NOT_FOUND, COsAdapter::GetAdapterFromMac("00:00:00:00:00:00", info))
        << "the loopback adapter has no usable address, so no record";
}

TEST_F(COsAdapterPrivateNetwork, DISABLED_MoreAddressesThanTheLookupsHoldRoomFor)
{
    ExpectTheKernelsList();
    EXPECT_EQ(40u, AllRecords().size());
    _S_Adapter_Info info{};
    EXPECT_EQ(OS_ERR_BUFFER_TOO_SMALL, COsAdapter::GetAdapterFromMac("", info)) << "room for 32 records only";
    EXPECT_TRUE(COsAdapter::GetAllLocalIP().empty()) << "an empty vector: the listing failed";
}
