// platform/posix/interfaces.cpp — adapters and their IPv4 addresses from getifaddrs.
// getifaddrs lists every link (AF_PACKET, with its hardware address) before the addresses (AF_INET), and
// names an address by its label, which for an old-style alias is not the adapter's name ("eth0:1").
#include "platform/interfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace platform {

namespace {

struct AddressList
{
    ifaddrs* first = nullptr;
    ~AddressList() { freeifaddrs(first); }
};

std::string DottedText(const sockaddr* address)
{
    char text[INET_ADDRSTRLEN] = "0.0.0.0";
    if (address != nullptr && address->sa_family == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof(text));
    return text;
}

// The adapter that an address's label names: the adapter of that name, or for an alias label the
// adapter whose name stands before its colon. Null when there is none.
AdapterEntry* AdapterOfLabel(std::vector<AdapterEntry>& adapters, const char* label)
{
    const char* colon = std::strchr(label, ':');
    const size_t stem = colon != nullptr ? static_cast<size_t>(colon - label) : std::strlen(label);
    AdapterEntry* aliasOwner = nullptr;
    for (AdapterEntry& adapter : adapters) {
        if (adapter.name == label)
            return &adapter;
        if (aliasOwner == nullptr && adapter.name.size() == stem && adapter.name.compare(0, stem, label, stem) == 0)
            aliasOwner = &adapter;
    }
    return aliasOwner;
}

}  // namespace

uint32_t ListAdapters(std::vector<AdapterEntry>* adapters)
{
    adapters->clear();
    AddressList list;
    if (getifaddrs(&list.first) != 0)
        return static_cast<uint32_t>(errno != 0 ? errno : EIO);

    for (const ifaddrs* entry = list.first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET || entry->ifa_name == nullptr)
            continue;
        AdapterEntry adapter;
        adapter.name = entry->ifa_name;
        adapter.description = adapter.name;
        const sockaddr_ll* link = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
        // glibc's record holds up to kMaxHardwareAddress bytes behind the header, more than sll_addr declares.
        adapter.hardwareLength = link->sll_halen < kMaxHardwareAddress ? link->sll_halen : kMaxHardwareAddress;
        std::memcpy(adapter.hardware, reinterpret_cast<const uint8_t*>(link) + offsetof(sockaddr_ll, sll_addr),
                    adapter.hardwareLength);
        adapters->push_back(adapter);
    }
    for (const ifaddrs* entry = list.first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || entry->ifa_name == nullptr)
            continue;
        AdapterEntry* adapter = AdapterOfLabel(*adapters, entry->ifa_name);
        if (adapter == nullptr) {
            adapters->emplace_back();
            adapter = &adapters->back();
            adapter->name = entry->ifa_name;
            adapter->description = adapter->name;
        }
        adapter->addresses.push_back(AdapterAddress{DottedText(entry->ifa_addr), DottedText(entry->ifa_netmask)});
    }
    return 0;
}

}  // namespace platform
