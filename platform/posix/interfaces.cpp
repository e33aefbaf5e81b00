// platform/posix/interfaces.cpp — adapters from getifaddrs, their IPv4 addresses from the kernel's address list.
// getifaddrs names an address by its label, which the administrator may set to any name (another adapter's,
// or one that names none), so the label cannot tell whose address it is. The kernel's own list, read over a
// routing netlink socket, gives each address the index of its link, which getifaddrs gives each adapter.
#include "platform/interfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <map>

namespace platform {

namespace {

struct AddressList
{
    ifaddrs* first = nullptr;
    ~AddressList() { freeifaddrs(first); }
};

struct Descriptor
{
    int value = -1;
    ~Descriptor()
    {
        if (value >= 0)
            close(value);
    }
};

std::string DottedText(const in_addr& address)
{
    char text[INET_ADDRSTRLEN] = "0.0.0.0";
    inet_ntop(AF_INET, &address, text, sizeof(text));
    return text;
}

std::string MaskText(unsigned prefixLength)
{
    in_addr mask;
    mask.s_addr = htonl(prefixLength == 0 ? 0 : prefixLength >= 32 ? 0xFFFFFFFFu : ~((1u << (32 - prefixLength)) - 1));
    return DottedText(mask);
}

// One IPv4 address of the kernel's list with the index of the link that holds it.
struct LinkAddress
{
    int linkIndex;
    AdapterAddress address;
};

// The address of one RTM_NEWADDR message: its local address where it has one (a point-to-point link names its
// peer in the other), as getifaddrs takes it. False for a message without an address.
bool ReadAddressMessage(const nlmsghdr* header, LinkAddress* entry)
{
    if (header->nlmsg_len < NLMSG_LENGTH(sizeof(ifaddrmsg)))
        return false;
    const ifaddrmsg* message = static_cast<const ifaddrmsg*>(NLMSG_DATA(header));
    if (message->ifa_family != AF_INET)
        return false;
    const in_addr* local = nullptr;
    const in_addr* address = nullptr;
    int remaining = static_cast<int>(IFA_PAYLOAD(header));
    for (const rtattr* attribute = IFA_RTA(message); RTA_OK(attribute, remaining);
         attribute = RTA_NEXT(attribute, remaining)) {
        if (RTA_PAYLOAD(attribute) < sizeof(in_addr))
            continue;
        if (attribute->rta_type == IFA_LOCAL)
            local = static_cast<const in_addr*>(RTA_DATA(attribute));
        else if (attribute->rta_type == IFA_ADDRESS)
            address = static_cast<const in_addr*>(RTA_DATA(attribute));
    }
    if (local == nullptr)
        local = address;
    if (local == nullptr)
        return false;
    in_addr copy;
    std::memcpy(&copy, local, sizeof(copy));
    entry->linkIndex = static_cast<int>(message->ifa_index);
    entry->address = AdapterAddress{DottedText(copy), MaskText(message->ifa_prefixlen)};
    return true;
}

// The kernel's IPv4 addresses in its order; 0, or the errno of the failure.
uint32_t ReadAddresses(std::vector<LinkAddress>* addresses)
{
    Descriptor route;
    route.value = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (route.value < 0)
        return static_cast<uint32_t>(errno);
    struct
    {
        nlmsghdr header;
        ifaddrmsg message;
    } request;
    std::memset(&request, 0, sizeof(request));
    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = RTM_GETADDR;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = 1;
    request.message.ifa_family = AF_INET;
    sockaddr_nl kernel;
    std::memset(&kernel, 0, sizeof(kernel));
    kernel.nl_family = AF_NETLINK;
    if (sendto(route.value, &request, sizeof(request), 0, reinterpret_cast<const sockaddr*>(&kernel), sizeof(kernel)) < 0)
        return static_cast<uint32_t>(errno);

    // The kernel fills each part of a dump up to 32 KiB; a part that does not fit the buffer would be cut.
    std::vector<char> buffer(64 * 1024);
    for (;;) {
        sockaddr_nl sender;
        socklen_t senderLength = sizeof(sender);
        const ssize_t received = recvfrom(route.value, buffer.data(), buffer.size(), MSG_TRUNC,
                                          reinterpret_cast<sockaddr*>(&sender), &senderLength);
        if (received < 0) {
            if (errno == EINTR)
                continue;
            return static_cast<uint32_t>(errno);
        }
        if (static_cast<size_t>(received) > buffer.size())
            return EMSGSIZE;
        if (sender.nl_pid != 0)
            continue;  // only the kernel's answer counts
        int remaining = static_cast<int>(received);
        for (const nlmsghdr* header = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(header, remaining);
             header = NLMSG_NEXT(header, remaining)) {
            if (header->nlmsg_seq != request.header.nlmsg_seq)
                continue;
            if (header->nlmsg_type == NLMSG_DONE)
                return 0;
            if (header->nlmsg_type == NLMSG_ERROR) {
                const nlmsgerr* failure = static_cast<const nlmsgerr*>(NLMSG_DATA(header));
                const bool whole = header->nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr));
                return whole && failure->error < 0 ? static_cast<uint32_t>(-failure->error) : EIO;
            }
            LinkAddress entry;
            if (header->nlmsg_type == RTM_NEWADDR && ReadAddressMessage(header, &entry))
                addresses->push_back(entry);
        }
    }
}

}  // namespace

uint32_t ListAdapters(std::vector<AdapterEntry>* adapters)
{
    adapters->clear();
    AddressList list;
    if (getifaddrs(&list.first) != 0)
        return static_cast<uint32_t>(errno != 0 ? errno : EIO);

    std::map<int, size_t> adapterOfLink;
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
        adapterOfLink.emplace(link->sll_ifindex, adapters->size());
        adapters->push_back(adapter);
    }

    std::vector<LinkAddress> addresses;
    if (const uint32_t error = ReadAddresses(&addresses); error != 0) {
        adapters->clear();
        return error;
    }
    // An address of a link made after the links were read belongs to no adapter of this list.
    for (const LinkAddress& entry : addresses) {
        const auto found = adapterOfLink.find(entry.linkIndex);
        if (found != adapterOfLink.end())
            (*adapters)[found->second].addresses.push_back(entry.address);
    }
    return 0;
}

}  // namespace platform
