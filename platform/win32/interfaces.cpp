// platform/win32/interfaces.cpp — adapters and their IPv4 addresses from GetAdaptersAddresses.
// The list's size is learnt by asking: a first guess, then the size the system names, a few times over in
// case adapters come and go between the calls. The mask comes from the address's prefix length.
#include "platform/interfaces.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
#include <windows.h>

#include <cstring>

#include "platform/win32/SystemText.h"

namespace platform {

namespace {

std::string DottedText(uint32_t hostOrder)
{
    return std::to_string(hostOrder >> 24) + '.' + std::to_string((hostOrder >> 16) & 0xFF) + '.' +
           std::to_string((hostOrder >> 8) & 0xFF) + '.' + std::to_string(hostOrder & 0xFF);
}

uint32_t MaskOfPrefix(unsigned prefixLength)
{
    return prefixLength == 0 ? 0 : prefixLength >= 32 ? 0xFFFFFFFFu : ~((1u << (32 - prefixLength)) - 1);
}

}  // namespace

uint32_t ListAdapters(std::vector<AdapterEntry>* adapters)
{
    adapters->clear();
    constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG size = 16 * 1024;
    std::vector<unsigned char> storage;
    ULONG status = ERROR_BUFFER_OVERFLOW;
    for (int attempt = 0; attempt < 4 && status == ERROR_BUFFER_OVERFLOW; ++attempt) {
        storage.resize(size);
        status = ::GetAdaptersAddresses(AF_INET, kFlags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(storage.data()),
                                        &size);
    }
    if (status != NO_ERROR)
        return status;
    for (auto adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(storage.data()); adapter != nullptr;
         adapter = adapter->Next) {
        AdapterEntry entry;
        entry.name = adapter->AdapterName != nullptr ? adapter->AdapterName : "";
        entry.description = adapter->Description != nullptr ? win32::Narrow(adapter->Description, wcslen(adapter->Description))
                                                             : std::string();
        entry.hardwareLength = adapter->PhysicalAddressLength < kMaxHardwareAddress ? adapter->PhysicalAddressLength
                                                                                    : kMaxHardwareAddress;
        std::memcpy(entry.hardware, adapter->PhysicalAddress, entry.hardwareLength);
        for (auto unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
            const sockaddr* record = unicast->Address.lpSockaddr;
            if (record == nullptr || record->sa_family != AF_INET)
                continue;
            const uint32_t address = ntohl(reinterpret_cast<const sockaddr_in*>(record)->sin_addr.s_addr);
            entry.addresses.push_back({DottedText(address), DottedText(MaskOfPrefix(unicast->OnLinkPrefixLength))});
        }
        adapters->push_back(std::move(entry));
    }
    return 0;
}

}  // namespace platform
