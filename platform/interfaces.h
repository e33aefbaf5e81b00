// The machine's network adapters with their IPv4 addresses, as the host lists them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// The most bytes of a hardware address that the list carries.
constexpr uint32_t kMaxHardwareAddress = 24;

// One IPv4 address of an adapter, with its mask, both as dotted text.
struct AdapterAddress
{
    std::string address;
    std::string mask;
};

struct AdapterEntry
{
    std::string name;
    std::string description;
    uint8_t hardware[kMaxHardwareAddress] = {};
    uint32_t hardwareLength = 0;                 // 0 for an adapter without a hardware address
    std::vector<AdapterAddress> addresses;       // in the system's order; empty for an adapter without one
};

// Every adapter of the machine with its IPv4 addresses, the adapters and each adapter's addresses in the
// system's order. 0, or the system's error number, with `adapters` empty.
// Host notes: POSIX reads the adapters from getifaddrs, in the kernel's order of its links, and the addresses
// from the kernel's address list, in its order; an address belongs to the link that holds it, whatever label
// it carries ("eth0:1", or another adapter's name). The kernel keeps no description of an adapter: it is the
// adapter's name.
// Windows reads GetAdaptersAddresses: an adapter is named by its GUID and has the system's description.
uint32_t ListAdapters(std::vector<AdapterEntry>* adapters);

}  // namespace platform
