// platform/posix/icmp.cpp — the raw ICMP socket, and Linux's datagram ICMP socket as the echo service.
// The datagram socket delivers replies without the IP header and with the identifier replaced by the
// socket's port, so those replies are matched by sender and sequence number; every other ICMP message that
// reaches the socket is passed over without extending the wait.
#include "platform/icmp.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

#include "platform/clock.h"
#include "platform/lasterror.h"
#include "platform/posix/errno_map.h"
#include "platform/sockets.h"

namespace platform {

struct EchoService
{
    int descriptor = -1;
};

namespace {

// ICMP's number in the Internet standard, for a host whose protocol database lacks the entry.
constexpr int kIcmpProtocol = 1;
constexpr uint8_t kEchoRequest = 8;
constexpr uint8_t kEchoReply = 0;
constexpr size_t kIcmpHeaderSize = 8;

// The sequence numbers of the service's requests: successive requests differ, so that a late reply to an
// earlier request is never taken for the reply to this one.
std::atomic<uint16_t> g_serviceSequence{0};

uint16_t ReadNetworkOrder16(const uint8_t* bytes)
{
    return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}

}  // namespace

int IcmpProtocolNumber()
{
    // Read once per process: reading the database costs a file's worth of system calls, as much as the rest
    // of a ping to the loopback, and the number never changes.
    static const int number = [] {
        protoent entry;
        protoent* found = nullptr;
        char buffer[1024];
        if (getprotobyname_r("icmp", &entry, buffer, sizeof(buffer), &found) == 0 && found != nullptr)
            return found->p_proto;
        return kIcmpProtocol;
    }();
    return number;
}

uint64_t IcmpRawSocketOpen(int protocol)
{
    int descriptor = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, protocol);
    if (descriptor < 0) {
        RecordErrno();
        return kNoSocket;
    }
    return static_cast<uint64_t>(descriptor);
}

EchoService* EchoServiceOpen()
{
    EchoService* service = new EchoService;
    service->descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (service->descriptor < 0) {
        RecordErrno();
        delete service;
        return nullptr;
    }
    return service;
}

void EchoServiceClose(EchoService* service)
{
    if (service == nullptr)
        return;
    close(service->descriptor);
    delete service;
}

uint32_t EchoServiceSend(EchoService* service, uint32_t address, const void* data, uint16_t size, void* replyBuffer,
                         uint32_t replySize, uint32_t milliseconds, EchoReply* reply)
{
    if (service == nullptr) {
        SetLastError(kErrorInvalidHandle);
        return 0;
    }
    if (replyBuffer == nullptr || replySize < kIcmpHeaderSize) {
        SetLastError(kErrorInsufficientBuffer);
        return 0;
    }
    // The kernel fills in the identifier and the checksum; the sequence goes out in network order, as
    // every ICMP tool reads it.
    const uint16_t sequence = static_cast<uint16_t>(g_serviceSequence.fetch_add(1) + 1);
    std::vector<uint8_t> request(kIcmpHeaderSize + size, 0);
    request[0] = kEchoRequest;
    request[6] = static_cast<uint8_t>(sequence >> 8);
    request[7] = static_cast<uint8_t>(sequence & 0xFF);
    if (size > 0 && data != nullptr)
        std::memcpy(request.data() + kIcmpHeaderSize, data, size);

    sockaddr_in target;
    std::memset(&target, 0, sizeof(target));
    target.sin_family = AF_INET;
    target.sin_addr.s_addr = htonl(address);
    const uint32_t start = GetTickCount();
    const sockaddr* to = reinterpret_cast<const sockaddr*>(&target);
    if (sendto(service->descriptor, request.data(), request.size(), MSG_NOSIGNAL, to, sizeof(target)) < 0) {
        RecordErrno();
        return 0;
    }

    uint8_t* message = static_cast<uint8_t*>(replyBuffer);
    for (;;) {
        const uint32_t elapsed = GetTickCount() - start;
        int wait = -1;
        if (milliseconds != 0) {
            if (elapsed >= milliseconds)
                break;
            uint32_t remaining = milliseconds - elapsed;
            wait = remaining > static_cast<uint32_t>(INT_MAX) ? INT_MAX : static_cast<int>(remaining);
        }
        pollfd entry{service->descriptor, POLLIN, 0};
        int ready = poll(&entry, 1, wait);
        if (ready < 0 && errno != EINTR)
            Sleep(1);  // a failure that persists must not burn a core until the time limit
        if (ready <= 0)
            continue;
        sockaddr_in sender;
        std::memset(&sender, 0, sizeof(sender));
        socklen_t senderLength = sizeof(sender);
        ssize_t received = recvfrom(service->descriptor, message, replySize, MSG_DONTWAIT,
                                    reinterpret_cast<sockaddr*>(&sender), &senderLength);
        if (received < 0) {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
                Sleep(1);
            continue;
        }
        if (static_cast<size_t>(received) < kIcmpHeaderSize || message[0] != kEchoReply ||
            ntohl(sender.sin_addr.s_addr) != address || ReadNetworkOrder16(message + 6) != sequence)
            continue;
        reply->address = address;
        reply->status = 0;
        reply->roundTripTime = GetTickCount() - start;
        return 1;
    }
    SetLastError(kIpRequestTimedOut);
    return 0;
}

}  // namespace platform
