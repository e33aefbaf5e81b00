// COsAdapter: the records built from an adapter list of the test's own, then the real list against the
// kernel's, here and in private network namespaces: a veth pair with several addresses on one adapter, no
// usable address at all, and more addresses than the lookups have room for.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <sstream>

#include "network/AdapterRecords.h"
#include "network/COsAdapter.h"
#include "tests/support/HostSystem.h"
#include "tests/support/NetNamespace.h"

namespace {

constexpr unsigned int kRecord = sizeof(_S_Adapter_Info);
// adapter, hardware text, address, mask
using Row = std::vector<std::string>;

Row RowOf(const _S_Adapter_Info& record)
{
    return {record.szAdapterName, record.szMac, record.szIPAddress, record.szIPMask};
}

// The words of each line that a command prints.
std::vector<std::vector<std::string>> CommandWords(const char* command)
{
    std::vector<std::vector<std::string>> lines;
    FILE* pipe = popen(command, "r");
    char line[4096];
    while (pipe != nullptr && std::fgets(line, sizeof(line), pipe) != nullptr) {
        std::istringstream words(line);
        lines.emplace_back(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
    }
    if (pipe != nullptr)
        pclose(pipe);
    return lines;
}

// The usable addresses in the kernel's own order, as the ip tool lists them, with their adapter's name,
// hardware address (in capitals) and mask.
std::vector<Row> KernelList()
{
    std::map<std::string, std::string> macs;
    for (const auto& words : CommandWords("ip -o link show")) {
        const std::string name = words.at(1).substr(0, words.at(1).find_first_of("@:"));
        for (size_t i = 2; i + 1 < words.size(); ++i) {
            if (words[i].rfind("link/", 0) == 0 && words[i + 1].find(':') != std::string::npos)
                for (char letter : words[i + 1])
                    macs[name] += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        }
    }
    std::vector<Row> rows;
    for (const auto& words : CommandWords("ip -o -4 addr show")) {
        const std::string& address = words.at(3);
        const int prefix = std::stoi(address.substr(address.find('/') + 1));
        const uint32_t mask = prefix == 0 ? 0 : ~0u << (32 - prefix);
        const std::string dotted = address.substr(0, address.find('/'));
        if (dotted != "127.0.0.1" && dotted != "0.0.0.0")
            rows.push_back({words[1], macs[words[1]], dotted,
                            std::to_string(mask >> 24) + '.' + std::to_string(mask >> 16 & 0xFF) + '.' +
                                std::to_string(mask >> 8 & 0xFF) + '.' + std::to_string(mask & 0xFF)});
    }
    return rows;
}

// The records of a listing in pNext order, checked to stay inside the caller's array.
std::vector<Row> Walk(const std::vector<_S_Adapter_Info>& records)
{
    std::vector<Row> rows;
    for (const _S_Adapter_Info* record = records.data(); record != nullptr && rows.size() < records.size();
         record = record->pNext) {
        EXPECT_TRUE(record >= records.data() && record < records.data() + records.size());
        rows.push_back(RowOf(*record));
    }
    return rows;
}

// GetAllAdapters into an array of exactly the size that a query with 0 named; the size stays on success.
std::vector<_S_Adapter_Info> AllRecords()
{
    unsigned int size = 0;
    const int status = COsAdapter::GetAllAdapters(nullptr, &size);
    EXPECT_TRUE(status == OS_ERR_BUFFER_TOO_SMALL || (status == 0 && size == 0)) << status;
    std::vector<_S_Adapter_Info> records(size / kRecord);
    EXPECT_EQ(0, COsAdapter::GetAllAdapters(records.data(), &size));
    EXPECT_EQ(records.size() * kRecord, size);
    return records;
}

// The real list is the kernel's, record for record, and GetAllLocalIP gives its addresses.
void ExpectTheKernelsList()
{
    ASSERT_FALSE(CommandWords("ip -o link show").empty()) << "the ip tool lists the links";
    const std::vector<Row> kernel = KernelList();
    EXPECT_EQ(kernel, Walk(AllRecords()));
    std::vector<std::string> addresses = kernel.empty() ? std::vector<std::string>{""} : std::vector<std::string>{};
    for (const Row& row : kernel)
        addresses.push_back(row[2]);
    EXPECT_EQ(kernel.size() <= 32 ? addresses : std::vector<std::string>{}, COsAdapter::GetAllLocalIP());
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
    std::vector<platform::AdapterEntry> adapters = {
        Adapter("eth0", {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E},
                {{"10.0.0.5", "255.0.0.0"}, {"0.0.0.0", "0.0.0.0"}, {"10.0.0.6", "255.255.0.0"}}),
        Adapter("lo", {0, 0, 0, 0, 0, 0}, {{"127.0.0.1", "255.0.0.0"}}),
        Adapter("down", {0xAA, 0xBB}, {}),
        Adapter("tun0", {}, {{"172.16.0.1", "255.255.255.255"}}),
        Adapter(std::string(300, 'n'), std::vector<uint8_t>(24, 0xA5), {{"192.168.1.1", "255.255.255.0"}}),
    };
    adapters.back().description = std::string(200, 'd');
    std::string longMac = "A5";
    while (longMac.size() < 71)
        longMac += ":A5";
    const std::vector<Row> expected = {{"eth0", "00:1A:2B:3C:4D:5E", "10.0.0.5", "255.0.0.0"},
                                       {"eth0", "00:1A:2B:3C:4D:5E", "10.0.0.6", "255.255.0.0"},
                                       {"tun0", "", "172.16.0.1", "255.255.255.255"},
                                       {std::string(256, 'n'), longMac, "192.168.1.1", "255.255.255.0"}};
    const unsigned int needed = 4 * kRecord;
    std::vector<_S_Adapter_Info> records(5);
    // The size given, the result, the size afterwards: one byte short of the records is too small.
    const unsigned int sizes[][3] = {
        {0, 1, needed}, {needed - 1, 1, needed}, {needed, 0, needed}, {5 * kRecord + 3, 0, 5 * kRecord + 3}};
    for (const auto& row : sizes) {
        std::memset(records.data(), 0xCC, records.size() * kRecord);
        unsigned int size = row[0];
        const int status = adapter_records::Build(adapters, records.data(), &size);
        EXPECT_EQ(row[1] ? OS_ERR_BUFFER_TOO_SMALL : 0, status) << row[0];
        EXPECT_EQ(row[2], size) << row[0];
        EXPECT_EQ(0xCC, reinterpret_cast<unsigned char*>(&records[row[1] ? 0 : 4])[0]) << "nothing written beyond";
        if (row[1] != 0)
            continue;
        EXPECT_EQ(expected, Walk(records));
        EXPECT_EQ(std::string(132, 'd'), records[3].szDescription);
        EXPECT_STREQ("about eth0", records[1].szDescription);
        EXPECT_EQ(std::string(256, '\0'), std::string(records[3].szAdapterName + 256, 256)) << "zero-filled behind";
    }
    unsigned int size = 0;
    EXPECT_EQ(OS_ERR_BUFFER_TOO_SMALL, adapter_records::Build(adapters, nullptr, &size)) << "the size query";
    EXPECT_EQ(OS_ERR_NULL_ARGUMENT, adapter_records::Build(adapters, nullptr, &size));
    EXPECT_EQ(OS_ERR_NULL_ARGUMENT, adapter_records::Build(adapters, records.data(), nullptr));
    // Nothing usable: success, nothing written, the size as it was, even for a null array.
    adapters = {adapters[1], adapters[2]};
    std::memset(records.data(), 0xCC, records.size() * kRecord);
    size = 0;
    EXPECT_EQ(0, adapter_records::Build(adapters, records.data(), &size));
    EXPECT_EQ(0, adapter_records::Build(adapters, nullptr, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0xCC, reinterpret_cast<unsigned char*>(records.data())[0]);
}

TEST(COsAdapter, ThisMachinesListIsTheKernels)
{
    if (!veltrane_test::kWindowsHost) {
        ExpectTheKernelsList();
        return;
    }
    // Windows has no ip tool to compare with: every record carries an adapter and an address, the list
    // holds the loopback adapter's address with its mask, and GetAllLocalIP gives the same addresses in order.
    const std::vector<Row> rows = Walk(AllRecords());
    ASSERT_FALSE(rows.empty());
    std::vector<std::string> addresses;
    bool loopback = false;
    for (const Row& row : rows) {
        EXPECT_FALSE(row[0].empty());
        EXPECT_NE(row[2], "0.0.0.0");
        loopback = loopback || (row[2] == "127.0.0.1" && row[3] == "255.0.0.0");
        addresses.push_back(row[2]);
    }
    // Windows lists its loopback pseudo-interface; Wine lists the Linux host's other adapters only.
    EXPECT_TRUE(loopback || veltrane_test::UnderWine()) << rows[0][0] << " " << rows[0][2] << "/" << rows[0][3];
    EXPECT_EQ(rows.size() <= 32 ? addresses : std::vector<std::string>{}, COsAdapter::GetAllLocalIP());
}

using COsAdapterPrivateNetwork = veltrane_test::PrivateNetworkTest;

TEST(COsAdapterNamespace, SeveralAddressesOnOneAdapterAcrossAVethPair)
{
    veltrane_test::RunInPrivateNetwork("ip link add va type veth peer name vb && "
                                       "ip link set va address aa:bb:cc:dd:ee:01 && "
                                       "ip addr add 10.79.1.1/24 dev va && ip addr add 10.79.1.2/24 dev va && "
                                       "ip addr add 10.79.9.1/16 dev va label va:alias && "
                                       "ip addr add 10.79.2.1/24 dev vb && "
                                       "ip addr add 127.0.0.2/8 dev lo && ip link add vc type veth peer name vd",
                                       "COsAdapterPrivateNetwork.DISABLED_SeveralAddresses*");
}

// A label is any name the administrator gives: another adapter's, or one without the alias colon.
TEST(COsAdapterNamespace, AnAddressBelongsToItsAdapterWhateverItsLabel)
{
    veltrane_test::RunInPrivateNetwork("ip link add va type veth peer name vb && "
                                       "ip link set va address aa:bb:cc:dd:ee:01 && "
                                       "ip link set vb address aa:bb:cc:dd:ee:02 && "
                                       "ip addr add 10.79.5.1/24 dev vb && "
                                       "ip addr add 10.79.6.1/24 dev va label vb && "
                                       "ip addr add 10.79.7.1/24 dev va label va-vip",
                                       "COsAdapterPrivateNetwork.DISABLED_LabelsThatNameNoAlias");
}

TEST(COsAdapterNamespace, NoUsableAddressAndMoreThan32)
{
    veltrane_test::RunInPrivateNetwork("true", "COsAdapterPrivateNetwork.DISABLED_NoUsableAddress*");
    veltrane_test::RunInPrivateNetwork("ip link add va type veth peer name vb && "
                                       "for i in $(seq 1 40); do ip addr add 10.79.3.$i/24 dev va || exit 1; done",
                                       "COsAdapterPrivateNetwork.DISABLED_MoreThan32*");
}

// The kernel lists va's addresses as 10.79.1.1, 10.79.9.1 (under the alias label), then the secondary 10.79.1.2.
TEST_F(COsAdapterPrivateNetwork, DISABLED_SeveralAddressesOnOneAdapter)
{
    ExpectTheKernelsList();
    const std::vector<Row> records = Walk(AllRecords());
    _S_Adapter_Info info, untouched;
    std::memset(&info, 0x5A, sizeof(info));
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("aa:bb:cc:dd:ee:01", info));
    EXPECT_EQ((Row{"va", "AA:BB:CC:DD:EE:01", "10.79.1.1", "255.255.255.0"}), RowOf(info));
    EXPECT_STREQ("va", info.szDescription);
    EXPECT_EQ(nullptr, info.pNext);
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("", info));
    EXPECT_EQ(records.front(), RowOf(info));
    std::memset(&untouched, 0x5A, sizeof(untouched));
    info = untouched;
    EXPECT_EQ(OS_ERR_ADAPTER_NOT_FOUND, COsAdapter::GetAdapterFromMac("AA:BB:CC:DD:EE:02", info));
    EXPECT_EQ(OS_ERR_ADAPTER_NOT_FOUND, COsAdapter::GetAdapterFromMac("aa:bb:cc:dd:ee:0", info)) << "no prefix";
    EXPECT_EQ(0, std::memcmp(&untouched, &info, sizeof(info)));
}

TEST_F(COsAdapterPrivateNetwork, DISABLED_LabelsThatNameNoAlias)
{
    ExpectTheKernelsList();
    _S_Adapter_Info info{};
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("AA:BB:CC:DD:EE:01", info));
    EXPECT_EQ((Row{"va", "AA:BB:CC:DD:EE:01", "10.79.6.1", "255.255.255.0"}), RowOf(info));
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("AA:BB:CC:DD:EE:02", info));
    EXPECT_EQ((Row{"vb", "AA:BB:CC:DD:EE:02", "10.79.5.1", "255.255.255.0"}), RowOf(info));
}

TEST_F(COsAdapterPrivateNetwork, DISABLED_NoUsableAddress)
{
    ExpectTheKernelsList();
    _S_Adapter_Info info;
    std::memset(&info, 0x5A, sizeof(info));
    EXPECT_EQ(0, COsAdapter::GetAdapterFromMac("", info)) << "the first record, cleared";
    EXPECT_EQ((Row{"", "", "", ""}), RowOf(info));
    EXPECT_EQ(OS_ERR_ADAPTER_NOT_FOUND, COsAdapter::GetAdapterFromMac("00:00:00:00:00:00", info))
        << "the loopback adapter has no usable address, so no record";
}

TEST_F(COsAdapterPrivateNetwork, DISABLED_MoreThan32)
{
    ExpectTheKernelsList();
    _S_Adapter_Info info{};
    EXPECT_EQ(OS_ERR_BUFFER_TOO_SMALL, COsAdapter::GetAdapterFromMac("", info)) << "room for 32 records only";
}
