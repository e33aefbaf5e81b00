// platform/win32/sockets.cpp — IPv4 over Windows Sockets 2, whose error numbers are the library's own.
// Traps handled here: a wait is not woken by a shutdown from another thread everywhere, so waits go in
// slices that look for one; the static lookups (addresses, names, hardware addresses) may run while no socket
// object holds the service up, so they hold it for their own call; Windows has no per-call "never wait"
// flag and cannot report a socket's blocking mode, so the mode set through this layer is remembered; and
// SO_REUSEADDR means "share a live port" here, so a restartable bind uses SO_EXCLUSIVEADDRUSE.
#include "platform/sockets.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
#include <windows.h>

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <cstring>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "platform/lasterror.h"

namespace platform {

namespace {

// Windows' SendARP answer when the neighbour is not known.
constexpr int kErrorBadNetName = 67;

// Holds the socket service up for one call that may run without a socket object.
class ServiceForCall
{
public:
    ServiceForCall() : m_bStarted(SocketServiceStart()) {}
    ~ServiceForCall()
    {
        if (m_bStarted)
            SocketServiceStop();
    }
    ServiceForCall(const ServiceForCall&) = delete;
    ServiceForCall& operator=(const ServiceForCall&) = delete;

private:
    bool m_bStarted;
};

// A set of sockets under a lock: those this layer has made non-blocking (accepted sockets inherit the mode,
// as the system does), and those shut down while they may be waited on.
class SocketSet
{
public:
    void Set(uint64_t socket, bool nonBlocking)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (nonBlocking)
            m_Sockets.insert(socket);
        else
            m_Sockets.erase(socket);
    }
    bool Contains(uint64_t socket)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Sockets.count(socket) != 0;
    }

private:
    std::mutex m_Mutex;
    std::unordered_set<uint64_t> m_Sockets;
};

// Never destroyed: a socket may still be closed by a static destructor at exit.
SocketSet& NonBlocking()
{
    static SocketSet* sockets = new SocketSet();
    return *sockets;
}

// A select on a socket that another thread shuts down is not always woken (Wine's is not), so long waits
// are cut into slices, and a wait on a socket that was shut down ends as if it were ready: the next call
// on it fails at once, as it would after a woken wait.
SocketSet& ShutDownSockets()
{
    static SocketSet* sockets = new SocketSet();
    return *sockets;
}

constexpr uint32_t kWaitSliceMilliseconds = 20;

SOCKET AsSocket(uint64_t socket)
{
    return static_cast<SOCKET>(socket);
}

void RecordError()
{
    SetLastError(static_cast<uint32_t>(::WSAGetLastError()));
}

int Length(uint32_t length)
{
    return length > static_cast<uint32_t>(INT_MAX) ? INT_MAX : static_cast<int>(length);
}

sockaddr_in MakeAddress(uint32_t address, uint16_t port)
{
    sockaddr_in record;
    std::memset(&record, 0, sizeof(record));
    record.sin_family = AF_INET;
    record.sin_addr.s_addr = htonl(address);
    record.sin_port = htons(port);
    return record;
}

bool SetOption(uint64_t socket, int level, int option, const void* value, int length)
{
    if (::setsockopt(AsSocket(socket), level, option, static_cast<const char*>(value), length) != 0) {
        RecordError();
        return false;
    }
    return true;
}

bool SetDwordOption(uint64_t socket, int level, int option, DWORD value)
{
    return SetOption(socket, level, option, &value, sizeof(value));
}

timeval TimeValue(uint32_t milliseconds)
{
    timeval value;
    value.tv_sec = static_cast<long>(milliseconds / 1000);
    value.tv_usec = static_cast<long>(milliseconds % 1000) * 1000;
    return value;
}

long Transferred(int result)
{
    if (result == SOCKET_ERROR) {
        RecordError();
        return -1;
    }
    return result;
}

constexpr int kWaitShutDown = -2;

// Runs select on the given sets in slices of at most kWaitSliceMilliseconds, each on fresh copies, until a
// socket is ready, one of `watched` has been shut down, or `milliseconds` have passed. Gives select's count
// with the sets holding its answer, 0 when the time is up, kWaitShutDown, or -1 with the last error set.
int SelectInSlices(fd_set* readable, fd_set* writable, fd_set* exception, uint32_t milliseconds,
                   std::initializer_list<uint64_t> watched)
{
    const fd_set none = {};
    const fd_set readAsked = readable ? *readable : none;
    const fd_set writeAsked = writable ? *writable : none;
    const fd_set exceptionAsked = exception ? *exception : none;
    for (uint32_t waited = 0;;) {
        if (readable)
            *readable = readAsked;
        if (writable)
            *writable = writeAsked;
        if (exception)
            *exception = exceptionAsked;
        uint32_t slice = std::min(milliseconds - waited, kWaitSliceMilliseconds);
        timeval limit = TimeValue(slice);
        int count = ::select(0, readable, writable, exception, &limit);
        if (count == SOCKET_ERROR) {
            RecordError();
            return -1;
        }
        if (count > 0)
            return count;
        for (uint64_t socket : watched) {
            if (ShutDownSockets().Contains(socket))
                return kWaitShutDown;
        }
        waited += slice;
        if (waited >= milliseconds)
            return 0;
    }
}

}  // namespace

bool SocketServiceStart()
{
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

void SocketServiceStop()
{
    ::WSACleanup();
}

int SocketLastError()
{
    return static_cast<int>(GetLastError());
}

uint64_t SocketOpen(bool stream)
{
    SOCKET handle = ::WSASocketW(AF_INET, stream ? SOCK_STREAM : SOCK_DGRAM, stream ? IPPROTO_TCP : IPPROTO_UDP,
                                 nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (handle == INVALID_SOCKET) {
        RecordError();
        return kNoSocket;
    }
    // Older systems ignore the flag; the handle's own inherit bit says the same.
    ::SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
    return static_cast<uint64_t>(handle);
}

void SocketShutdownBoth(uint64_t socket)
{
    ShutDownSockets().Set(socket, true);
    ::shutdown(AsSocket(socket), SD_BOTH);
}

void SocketClose(uint64_t socket)
{
    ::shutdown(AsSocket(socket), SD_BOTH);
    ::closesocket(AsSocket(socket));
    NonBlocking().Set(socket, false);
    ShutDownSockets().Set(socket, false);
}

bool SocketSetReceiveBuffer(uint64_t socket, uint32_t size)
{
    return SetDwordOption(socket, SOL_SOCKET, SO_RCVBUF, size);
}

bool SocketSetSendBuffer(uint64_t socket, uint32_t size)
{
    return SetDwordOption(socket, SOL_SOCKET, SO_SNDBUF, size);
}

bool SocketSetBroadcast(uint64_t socket, bool enabled)
{
    return SetDwordOption(socket, SOL_SOCKET, SO_BROADCAST, enabled ? 1 : 0);
}

bool SocketSetRestartableBind(uint64_t socket)
{
    return SetDwordOption(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
}

bool SocketSetMulticastTtl(uint64_t socket, uint8_t ttl)
{
    return SetDwordOption(socket, IPPROTO_IP, IP_MULTICAST_TTL, ttl);
}

bool SocketSetMulticastLoop(uint64_t socket, bool enabled)
{
    return SetDwordOption(socket, IPPROTO_IP, IP_MULTICAST_LOOP, enabled ? 1 : 0);
}

bool SocketJoinGroup(uint64_t socket, uint32_t group, uint32_t local)
{
    ip_mreq membership;
    membership.imr_multiaddr.s_addr = htonl(group);
    membership.imr_interface.s_addr = htonl(local);
    return SetOption(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership));
}

// Windows takes the limits as a DWORD of milliseconds, where other hosts take a time value.
bool SocketSetReceiveTimeout(uint64_t socket, uint32_t milliseconds)
{
    return SetDwordOption(socket, SOL_SOCKET, SO_RCVTIMEO, milliseconds);
}

bool SocketSetSendTimeout(uint64_t socket, uint32_t milliseconds)
{
    return SetDwordOption(socket, SOL_SOCKET, SO_SNDTIMEO, milliseconds);
}

bool SocketSetNonBlocking(uint64_t socket, bool nonBlocking)
{
    u_long mode = nonBlocking ? 1 : 0;
    if (::ioctlsocket(AsSocket(socket), FIONBIO, &mode) != 0) {
        RecordError();
        return false;
    }
    NonBlocking().Set(socket, nonBlocking);
    return true;
}

bool SocketBind(uint64_t socket, uint32_t address, uint16_t port)
{
    sockaddr_in record = MakeAddress(address, port);
    if (::bind(AsSocket(socket), reinterpret_cast<const sockaddr*>(&record), sizeof(record)) != 0) {
        RecordError();
        return false;
    }
    return true;
}

bool SocketListen(uint64_t socket, int backlog)
{
    if (::listen(AsSocket(socket), backlog) != 0) {
        RecordError();
        return false;
    }
    return true;
}

bool SocketConnect(uint64_t socket, uint32_t address, uint16_t port)
{
    sockaddr_in record = MakeAddress(address, port);
    if (::connect(AsSocket(socket), reinterpret_cast<const sockaddr*>(&record), sizeof(record)) != 0) {
        RecordError();
        return false;
    }
    return true;
}

uint64_t SocketAccept(uint64_t socket, uint32_t* address, uint16_t* port)
{
    // A blocking accept is not woken by a shutdown either: it waits in slices until a connection is there.
    if (!NonBlocking().Contains(socket)) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(AsSocket(socket), &readable);
        int count;
        do {
            count = SelectInSlices(&readable, nullptr, nullptr, 60 * 60 * 1000, {socket});
        } while (count == 0);
        if (count == kWaitShutDown)
            SetLastError(kWsaInvalid);  // what an accept on a listener that was shut down reports
        if (count < 0)
            return kNoSocket;
    }
    sockaddr_in peer;
    std::memset(&peer, 0, sizeof(peer));
    int length = sizeof(peer);
    SOCKET accepted = ::accept(AsSocket(socket), reinterpret_cast<sockaddr*>(&peer), &length);
    if (accepted == INVALID_SOCKET) {
        RecordError();
        return kNoSocket;
    }
    ::SetHandleInformation(reinterpret_cast<HANDLE>(accepted), HANDLE_FLAG_INHERIT, 0);
    if (NonBlocking().Contains(socket))
        NonBlocking().Set(accepted, true);
    *address = ntohl(peer.sin_addr.s_addr);
    *port = ntohs(peer.sin_port);
    return static_cast<uint64_t>(accepted);
}

bool SocketLocalAddress(uint64_t socket, uint32_t* address, uint16_t* port)
{
    sockaddr_in local;
    std::memset(&local, 0, sizeof(local));
    int length = sizeof(local);
    if (::getsockname(AsSocket(socket), reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        RecordError();
        return false;
    }
    *address = ntohl(local.sin_addr.s_addr);
    *port = ntohs(local.sin_port);
    return true;
}

long SocketSend(uint64_t socket, const void* data, uint32_t length, int flags)
{
    return Transferred(::send(AsSocket(socket), static_cast<const char*>(data), Length(length), flags));
}

long SocketSendNow(uint64_t socket, const void* data, uint32_t length)
{
    if (NonBlocking().Contains(socket))
        return SocketSend(socket, data, length, 0);
    u_long mode = 1;
    if (::ioctlsocket(AsSocket(socket), FIONBIO, &mode) != 0) {
        RecordError();
        return -1;
    }
    long sent = SocketSend(socket, data, length, 0);
    uint32_t error = GetLastError();
    mode = 0;
    ::ioctlsocket(AsSocket(socket), FIONBIO, &mode);
    SetLastError(error);
    return sent;
}

long SocketReceive(uint64_t socket, void* data, uint32_t length, int flags)
{
    return Transferred(::recv(AsSocket(socket), static_cast<char*>(data), Length(length), flags));
}

long SocketSendToRaw(uint64_t socket, const void* data, uint32_t length, int flags, const void* addressRecord,
                     uint32_t addressLength)
{
    return Transferred(::sendto(AsSocket(socket), static_cast<const char*>(data), Length(length), flags,
                                static_cast<const sockaddr*>(addressRecord), static_cast<int>(addressLength)));
}

long SocketReceiveFromRaw(uint64_t socket, void* data, uint32_t length, int flags, void* addressRecord,
                          uint32_t* addressLength)
{
    int recordLength = addressLength != nullptr ? static_cast<int>(*addressLength) : 0;
    long received = Transferred(::recvfrom(AsSocket(socket), static_cast<char*>(data), Length(length), flags,
                                           static_cast<sockaddr*>(addressRecord),
                                           addressLength != nullptr ? &recordLength : nullptr));
    if (received >= 0 && addressLength != nullptr)
        *addressLength = static_cast<uint32_t>(recordLength);
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
    fd_set main, exception;
    FD_ZERO(&main);
    FD_ZERO(&exception);
    FD_SET(AsSocket(socket), &main);
    FD_SET(AsSocket(socket), &exception);
    int count = SelectInSlices(forWrite ? nullptr : &main, forWrite ? &main : nullptr, &exception, milliseconds,
                               {socket});
    if (count == kWaitShutDown) {
        result->inMain = true;  // the next call on it fails at once, as after a woken wait
        return 1;
    }
    if (count <= 0)
        return count;
    result->inMain = FD_ISSET(AsSocket(socket), &main) != 0;
    result->inException = FD_ISSET(AsSocket(socket), &exception) != 0;
    if (result->inException) {
        // A failed connect stands here with its error; out-of-band data with none. Reading clears it.
        int pending = 0;
        int length = sizeof(pending);
        if (::getsockopt(AsSocket(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&pending), &length) == 0)
            result->pendingError = pending;
    }
    return count;
}

int SocketWaitReadable(uint64_t first, uint64_t second, uint32_t milliseconds, bool* firstReadable,
                       bool* secondReadable)
{
    *firstReadable = false;
    *secondReadable = false;
    fd_set readable, exception;
    FD_ZERO(&readable);
    FD_ZERO(&exception);
    for (uint64_t socket : {first, second}) {
        FD_SET(AsSocket(socket), &readable);
        FD_SET(AsSocket(socket), &exception);
    }
    int count = SelectInSlices(&readable, nullptr, &exception, milliseconds, {first, second});
    if (count == kWaitShutDown) {
        *firstReadable = ShutDownSockets().Contains(first);
        *secondReadable = ShutDownSockets().Contains(second);
        return (*firstReadable ? 1 : 0) + (*secondReadable && second != first ? 1 : 0);
    }
    if (count <= 0)
        return count;
    *firstReadable = FD_ISSET(AsSocket(first), &readable) != 0;
    *secondReadable = FD_ISSET(AsSocket(second), &readable) != 0;
    return count;
}

void SocketPause(uint64_t socket, bool forWrite)
{
    if (socket == kNoSocket)
        return;
    fd_set set;
    FD_ZERO(&set);
    FD_SET(AsSocket(socket), &set);
    timeval limit = TimeValue(10);
    ::select(0, forWrite ? nullptr : &set, forWrite ? &set : nullptr, nullptr, &limit);
}

uint32_t ParseIPv4(const char* text)
{
    ServiceForCall service;
    unsigned long address = ::inet_addr(text);
    if (address == INADDR_NONE)
        return kNoAddress;
    return ntohl(address);
}

bool ResolveIPv4(const char* name, uint32_t* address)
{
    ServiceForCall service;
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    int status = ::getaddrinfo(name, nullptr, &hints, &found);
    if (status != 0 || found == nullptr) {
        // A name that exists without an IPv4 address is "no data"; every other failure is "not found".
        SetLastError(status == WSANO_DATA ? kWsaNoData : kWsaHostNotFound);
        if (found != nullptr)
            ::freeaddrinfo(found);
        return false;
    }
    *address = ntohl(reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr);
    ::freeaddrinfo(found);
    return true;
}

namespace {

// The hardware address of the adapter that holds `address`, when it is one of this machine's own.
bool OwnHardwareAddress(uint32_t address, uint8_t* buffer, uint32_t* length)
{
    ULONG size = 16 * 1024;
    std::vector<unsigned char> storage;
    ULONG status = ERROR_BUFFER_OVERFLOW;
    for (int attempt = 0; attempt < 4 && status == ERROR_BUFFER_OVERFLOW; ++attempt) {
        storage.resize(size);
        status = ::GetAdaptersAddresses(AF_INET, GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER,
                                        nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(storage.data()), &size);
    }
    if (status != NO_ERROR)
        return false;
    for (auto adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(storage.data()); adapter != nullptr;
         adapter = adapter->Next) {
        for (auto unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
            const sockaddr* record = unicast->Address.lpSockaddr;
            if (record == nullptr || record->sa_family != AF_INET ||
                ntohl(reinterpret_cast<const sockaddr_in*>(record)->sin_addr.s_addr) != address)
                continue;
            // The loopback adapter has no hardware address: it reads as six zero bytes, as on other hosts.
            uint8_t zeros[6] = {};
            const uint8_t* hardware = adapter->PhysicalAddressLength > 0 ? adapter->PhysicalAddress : zeros;
            uint32_t available = adapter->PhysicalAddressLength > 0 ? adapter->PhysicalAddressLength : 6;
            uint32_t count = available < *length ? available : *length;
            std::memcpy(buffer, hardware, count);
            *length = count;
            return true;
        }
    }
    return false;
}

}  // namespace

int HardwareAddressOf(uint32_t address, uint8_t* buffer, uint32_t* length)
{
    ServiceForCall service;
    if (OwnHardwareAddress(address, buffer, length))
        return 0;
    ULONG hardware[2] = {0, 0};
    ULONG size = sizeof(hardware);
    DWORD status = ::SendARP(htonl(address), 0, hardware, &size);
    if (status != NO_ERROR)
        return status == ERROR_NOT_FOUND ? kErrorBadNetName : static_cast<int>(status);
    uint32_t count = size < *length ? size : *length;
    std::memcpy(buffer, hardware, count);
    *length = count;
    return 0;
}

}  // namespace platform
