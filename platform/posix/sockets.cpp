// platform/posix/sockets.cpp — IPv4 BSD sockets behind the library's Windows Sockets terms.
// Traps handled here: errno becomes the Windows number; sends carry MSG_NOSIGNAL so a vanished peer never
// raises SIGPIPE; a blocking receive that its time limit ended reports a time-out, not would-block; and a
// failed connect is reported in the exception set alone, where Windows' select puts it.
#include "platform/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/interfaces.h"
#include "platform/lasterror.h"
#include "platform/posix/errno_map.h"

namespace platform {

namespace {

// Windows' SendARP answer when the neighbour is not known.
constexpr int kErrorBadNetName = 67;

sockaddr_in MakeAddress(uint32_t address, uint16_t port)
{
    sockaddr_in record;
    std::memset(&record, 0, sizeof(record));
    record.sin_family = AF_INET;
    record.sin_addr.s_addr = htonl(address);
    record.sin_port = htons(port);
    return record;
}

int HostFlags(int flags)
{
    constexpr int kWindowsWaitAll = 8;
    int hostFlags = flags & ~kWindowsWaitAll;
    if (flags & kWindowsWaitAll)
        hostFlags |= MSG_WAITALL;
    return hostFlags;
}

bool IsNonBlocking(int descriptor)
{
    int status = fcntl(descriptor, F_GETFL);
    return status >= 0 && (status & O_NONBLOCK) != 0;
}

// After a failed transfer: a blocking socket can only give EAGAIN when its time limit (SO_RCVTIMEO,
// SO_SNDTIMEO) ran out, which Windows reports as a time-out.
void RecordTransferErrno(int descriptor, int flags)
{
    int error = errno;
    if ((error == EAGAIN || error == EWOULDBLOCK) && !(flags & MSG_DONTWAIT) && !IsNonBlocking(descriptor)) {
        SetLastError(kWsaTimedOut);
        return;
    }
    SetLastError(static_cast<uint32_t>(WsaFromErrno(error)));
}

bool SetOption(uint64_t socket, int level, int option, const void* value, socklen_t length)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return false;
    if (setsockopt(descriptor, level, option, value, length) != 0) {
        RecordErrno();
        return false;
    }
    return true;
}

bool SetIntOption(uint64_t socket, int level, int option, int value)
{
    return SetOption(socket, level, option, &value, sizeof(value));
}

timespec TimeValue(uint32_t milliseconds)
{
    timespec value;
    value.tv_sec = milliseconds / 1000;
    value.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000 * 1000;
    return value;
}

// A stream socket whose connection attempt failed: not connected, with an error pending (the host
// signals it by POLLERR). A connection that was reset is not connected either, but it once completed a
// round trip: Windows reports a reset to the next transfer, not in the exception set.
bool IsFailedConnect(int descriptor)
{
    int type = 0;
    socklen_t length = sizeof(type);
    if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) != 0 || type != SOCK_STREAM)
        return false;
    sockaddr_in peer;
    socklen_t peerLength = sizeof(peer);
    if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerLength) == 0)
        return false;
    tcp_info connection;
    std::memset(&connection, 0, sizeof(connection));
    length = sizeof(connection);
    return getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &connection, &length) != 0 || connection.tcpi_rtt == 0;
}

// Reads (and so clears) the error of a failed connect, as Windows' SO_ERROR does.
bool TakeFailedConnectError(int descriptor, int* error)
{
    if (!IsFailedConnect(descriptor))
        return false;
    int pending = 0;
    socklen_t length = sizeof(pending);
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &pending, &length) != 0 || pending == 0)
        return false;
    *error = WsaFromErrno(pending);
    return true;
}

}  // namespace

bool SocketServiceStart()
{
    return true;
}

void SocketServiceStop()
{
}

int SocketLastError()
{
    return static_cast<int>(GetLastError());
}

uint64_t SocketOpen(bool stream)
{
    int descriptor = socket(AF_INET, (stream ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        RecordErrno();
        return kNoSocket;
    }
    return static_cast<uint64_t>(descriptor);
}

void SocketShutdownBoth(uint64_t socket)
{
    if (socket <= static_cast<uint64_t>(INT_MAX))
        shutdown(static_cast<int>(socket), SHUT_RDWR);
}

void SocketClose(uint64_t socket)
{
    if (socket > static_cast<uint64_t>(INT_MAX))
        return;
    int descriptor = static_cast<int>(socket);
    shutdown(descriptor, SHUT_RDWR);
    close(descriptor);
}

bool SocketSetReceiveBuffer(uint64_t socket, uint32_t size)
{
    return SetIntOption(socket, SOL_SOCKET, SO_RCVBUF, static_cast<int>(size));
}

bool SocketSetSendBuffer(uint64_t socket, uint32_t size)
{
    return SetIntOption(socket, SOL_SOCKET, SO_SNDBUF, static_cast<int>(size));
}

bool SocketSetBroadcast(uint64_t socket, bool enabled)
{
    return SetIntOption(socket, SOL_SOCKET, SO_BROADCAST, enabled ? 1 : 0);
}

bool SocketSetRestartableBind(uint64_t socket)
{
    return SetIntOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);
}

bool SocketSetMulticastTtl(uint64_t socket, uint8_t ttl)
{
    return SetOption(socket, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof(ttl));
}

bool SocketSetMulticastLoop(uint64_t socket, bool enabled)
{
    unsigned char value = enabled ? 1 : 0;
    return SetOption(socket, IPPROTO_IP, IP_MULTICAST_LOOP, &value, sizeof(value));
}

bool SocketJoinGroup(uint64_t socket, uint32_t group, uint32_t local)
{
    ip_mreq membership;
    membership.imr_multiaddr.s_addr = htonl(group);
    membership.imr_interface.s_addr = htonl(local);
    return SetOption(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership));
}

namespace {

bool SetTimeLimit(uint64_t socket, int option, uint32_t milliseconds)
{
    timeval limit;
    limit.tv_sec = static_cast<time_t>(milliseconds / 1000);
    limit.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    return SetOption(socket, SOL_SOCKET, option, &limit, sizeof(limit));
}

}  // namespace

bool SocketSetReceiveTimeout(uint64_t socket, uint32_t milliseconds)
{
    return SetTimeLimit(socket, SO_RCVTIMEO, milliseconds);
}

bool SocketSetSendTimeout(uint64_t socket, uint32_t milliseconds)
{
    return SetTimeLimit(socket, SO_SNDTIMEO, milliseconds);
}

bool SocketSetNonBlocking(uint64_t socket, bool nonBlocking)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return false;
    int status = fcntl(descriptor, F_GETFL);
    if (status < 0 || fcntl(descriptor, F_SETFL, nonBlocking ? (status | O_NONBLOCK) : (status & ~O_NONBLOCK)) != 0) {
        RecordErrno();
        return false;
    }
    return true;
}

bool SocketBind(uint64_t socket, uint32_t address, uint16_t port)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return false;
    sockaddr_in record = MakeAddress(address, port);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&record), sizeof(record)) != 0) {
        RecordErrno();
        return false;
    }
    return true;
}

bool SocketListen(uint64_t socket, int backlog)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return false;
    if (listen(descriptor, backlog) != 0) {
        RecordErrno();
        return false;
    }
    return true;
}

bool SocketConnect(uint64_t socket, uint32_t address, uint16_t port)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return false;
    sockaddr_in record = MakeAddress(address, port);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&record), sizeof(record)) != 0) {
        RecordErrno();
        return false;
    }
    return true;
}

uint64_t SocketAccept(uint64_t socket, uint32_t* address, uint16_t* port)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return kNoSocket;
    sockaddr_in peer;
    std::memset(&peer, 0, sizeof(peer));
    socklen_t length = sizeof(peer);
    // Linux alone does not pass the listener's non-blocking mode on; Windows and the BSDs do.
    int flags = SOCK_CLOEXEC | (IsNonBlocking(descriptor) ? SOCK_NONBLOCK : 0);
    int accepted = accept4(descriptor, reinterpret_cast<sockaddr*>(&peer), &length, flags);
    if (accepted < 0) {
        RecordErrno();
        return kNoSocket;
    }
    *address = ntohl(peer.sin_addr.s_addr);
    *port = ntohs(peer.sin_port);
    return static_cast<uint64_t>(accepted);
}

bool SocketLocalAddress(uint64_t socket, uint32_t* address, uint16_t* port)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return false;
    sockaddr_in local;
    std::memset(&local, 0, sizeof(local));
    socklen_t length = sizeof(local);
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        RecordErrno();
        return false;
    }
    *address = ntohl(local.sin_addr.s_addr);
    *port = ntohs(local.sin_port);
    return true;
}

long SocketSend(uint64_t socket, const void* data, uint32_t length, int flags)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return -1;
    int hostFlags = HostFlags(flags) | MSG_NOSIGNAL;
    long sent = send(descriptor, data, length, hostFlags);
    if (sent < 0)
        RecordTransferErrno(descriptor, hostFlags);
    return sent;
}

long SocketSendNow(uint64_t socket, const void* data, uint32_t length)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return -1;
    long sent = send(descriptor, data, length, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0)
        RecordErrno();
    return sent;
}

long SocketReceive(uint64_t socket, void* data, uint32_t length, int flags)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return -1;
    int hostFlags = HostFlags(flags);
    long received = recv(descriptor, data, length, hostFlags);
    if (received < 0)
        RecordTransferErrno(descriptor, hostFlags);
    return received;
}

long SocketSendToRaw(uint64_t socket, const void* data, uint32_t length, int flags, const void* addressRecord,
                     uint32_t addressLength)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return -1;
    int hostFlags = HostFlags(flags) | MSG_NOSIGNAL;
    long sent = sendto(descriptor, data, length, hostFlags, static_cast<const sockaddr*>(addressRecord), addressLength);
    if (sent < 0)
        RecordTransferErrno(descriptor, hostFlags);
    return sent;
}

long SocketReceiveFromRaw(uint64_t socket, void* data, uint32_t length, int flags, void* addressRecord,
                          uint32_t* addressLength)
{
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return -1;
    int hostFlags = HostFlags(flags);
    socklen_t recordLength = addressLength != nullptr ? *addressLength : 0;
    long received = recvfrom(descriptor, data, length, hostFlags, static_cast<sockaddr*>(addressRecord),
                             addressLength != nullptr ? &recordLength : nullptr);
    if (received < 0)
        RecordTransferErrno(descriptor, hostFlags);
    else if (addressLength != nullptr)
        *addressLength = recordLength;
    return received;
}

long SocketSendTo(uint64_t socket, const void* data, uint32_t length, int flags, uint32_t address, uint16_t port)
{
    sockaddr_in record = MakeAddress(address, port);
    return SocketSendToRaw(socket, data, length, flags, &record, sizeof(record));
}

long SocketReceiveFrom(uint64_t socket, void* data, uint32_t length, int flags, uint32_t* address, uint16_t* port)
{
    sockaddr_in sender;
    std::memset(&sender, 0, sizeof(sender));
    uint32_t senderLength = sizeof(sender);
    long received = SocketReceiveFromRaw(socket, data, length, flags, &sender, &senderLength);
    if (received >= 0) {
        *address = ntohl(sender.sin_addr.s_addr);
        *port = ntohs(sender.sin_port);
    }
    return received;
}

int SocketWait(uint64_t socket, bool forWrite, uint32_t milliseconds, SocketWaitResult* result)
{
    *result = SocketWaitResult();
    int descriptor = Descriptor(socket);
    if (descriptor < 0)
        return -1;
    pollfd entry;
    entry.fd = descriptor;
    entry.events = static_cast<short>((forWrite ? POLLOUT : POLLIN) | POLLPRI);
    entry.revents = 0;
    timespec limit = TimeValue(milliseconds);
    int count = ppoll(&entry, 1, &limit, nullptr);
    if (count < 0) {
        RecordErrno();
        return -1;
    }
    if (count == 0)
        return 0;
    if (entry.revents & POLLNVAL) {
        SetLastError(kWsaBadHandle);
        return -1;
    }
    if ((entry.revents & POLLERR) && TakeFailedConnectError(descriptor, &result->pendingError)) {
        result->inException = true;
        return 1;
    }
    short mainEvents = forWrite ? (POLLOUT | POLLERR) : (POLLIN | POLLHUP | POLLERR);
    result->inMain = (entry.revents & mainEvents) != 0;
    result->inException = (entry.revents & POLLPRI) != 0;
    return (result->inMain ? 1 : 0) + (result->inException ? 1 : 0);
}

int SocketWaitReadable(uint64_t first, uint64_t second, uint32_t milliseconds, bool* firstReadable,
                       bool* secondReadable)
{
    *firstReadable = false;
    *secondReadable = false;
    int firstDescriptor = Descriptor(first);
    int secondDescriptor = Descriptor(second);
    if (firstDescriptor < 0 || secondDescriptor < 0)
        return -1;
    pollfd entries[2];
    nfds_t used = (secondDescriptor == firstDescriptor) ? 1 : 2;
    entries[0] = pollfd{firstDescriptor, static_cast<short>(POLLIN | POLLPRI), 0};
    entries[1] = pollfd{secondDescriptor, static_cast<short>(POLLIN | POLLPRI), 0};
    timespec limit = TimeValue(milliseconds);
    int count = ppoll(entries, used, &limit, nullptr);
    if (count < 0) {
        RecordErrno();
        return -1;
    }
    int memberships = 0;
    for (nfds_t i = 0; i < used; ++i) {
        if (entries[i].revents & POLLNVAL) {
            SetLastError(kWsaBadHandle);
            return -1;
        }
        // A failed connect stands in the exception set alone, as in SocketWait.
        bool failedConnect = (entries[i].revents & POLLERR) && IsFailedConnect(entries[i].fd);
        bool readable = !failedConnect && (entries[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
        bool exception = failedConnect || (entries[i].revents & POLLPRI) != 0;
        memberships += (readable ? 1 : 0) + (exception ? 1 : 0);
        if (i == 0)
            *firstReadable = readable;
        if (i == 1 || used == 1)
            *secondReadable = readable;
    }
    return memberships;
}

void SocketPause(uint64_t socket, bool forWrite)
{
    if (socket > static_cast<uint64_t>(INT_MAX))
        return;
    pollfd entry{static_cast<int>(socket), static_cast<short>(forWrite ? POLLOUT : POLLIN), 0};
    poll(&entry, 1, 10);
}

uint32_t ParseIPv4(const char* text)
{
    in_addr_t address = inet_addr(text);
    if (address == INADDR_NONE)
        return kNoAddress;
    return ntohl(address);
}

bool ResolveIPv4(const char* name, uint32_t* address)
{
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    int status = getaddrinfo(name, nullptr, &hints, &found);
    if (status != 0 || found == nullptr) {
        // A name that exists without an IPv4 address is "no data"; every other failure is "not found".
        bool noData = status == EAI_NODATA || status == EAI_ADDRFAMILY;
        SetLastError(noData ? kWsaNoData : kWsaHostNotFound);
        if (found != nullptr)
            freeaddrinfo(found);
        return false;
    }
    *address = ntohl(reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr);
    freeaddrinfo(found);
    return true;
}

namespace {

// The hardware address of the adapter that holds `address`, when it is one of this machine's own.
bool OwnHardwareAddress(uint32_t address, uint8_t* buffer, uint32_t* length)
{
    std::vector<AdapterEntry> adapters;
    if (ListAdapters(&adapters) != 0)
        return false;
    for (const AdapterEntry& adapter : adapters) {
        for (const AdapterAddress& own : adapter.addresses) {
            if (ParseIPv4(own.address.c_str()) != address)
                continue;
            uint32_t count = adapter.hardwareLength < *length ? adapter.hardwareLength : *length;
            std::memcpy(buffer, adapter.hardware, count);
            *length = count;
            return true;
        }
    }
    return false;
}

// A complete entry of the kernel's neighbour table, read from /proc/net/arp.
bool NeighbourHardwareAddress(uint32_t address, uint8_t* buffer, uint32_t* length)
{
    constexpr unsigned kEntryComplete = 0x2;
    std::ifstream table("/proc/net/arp");
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string ip, hardwareType, flags, hardware;
        if (!(fields >> ip >> hardwareType >> flags >> hardware))
            continue;
        if (ParseIPv4(ip.c_str()) != address || !(std::strtoul(flags.c_str(), nullptr, 16) & kEntryComplete))
            continue;
        unsigned bytes[8];
        int count = std::sscanf(hardware.c_str(), "%x:%x:%x:%x:%x:%x:%x:%x", &bytes[0], &bytes[1], &bytes[2],
                                &bytes[3], &bytes[4], &bytes[5], &bytes[6], &bytes[7]);
        if (count <= 0)
            continue;
        uint32_t written = static_cast<uint32_t>(count) < *length ? static_cast<uint32_t>(count) : *length;
        for (uint32_t i = 0; i < written; ++i)
            buffer[i] = static_cast<uint8_t>(bytes[i]);
        *length = written;
        return true;
    }
    return false;
}

}  // namespace

int HardwareAddressOf(uint32_t address, uint8_t* buffer, uint32_t* length)
{
    if (OwnHardwareAddress(address, buffer, length) || NeighbourHardwareAddress(address, buffer, length))
        return 0;
    return kErrorBadNetName;
}

}  // namespace platform
