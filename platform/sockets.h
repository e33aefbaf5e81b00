// Socket operations the library needs from the host, in IPv4 terms. Addresses and ports are in host byte
// order unless a name says otherwise. Every failure sets the thread's last error (platform/lasterror.h) to
// the Windows Sockets number of the cause and returns the failure value named here.
#pragma once

#include <cstdint>

namespace platform {

constexpr uint64_t kNoSocket = ~static_cast<uint64_t>(0);
constexpr uint32_t kNoAddress = 0xFFFFFFFF;

// The Windows Sockets numbers the library reports.
constexpr int kWsaInterrupted = 10004;
constexpr int kWsaBadHandle = 10009;
constexpr int kWsaAccess = 10013;
constexpr int kWsaFault = 10014;
constexpr int kWsaInvalid = 10022;
constexpr int kWsaTooManyOpen = 10024;
constexpr int kWsaWouldBlock = 10035;
constexpr int kWsaInProgress = 10036;
constexpr int kWsaNotSocket = 10038;
constexpr int kWsaProtocolNotSupported = 10043;
constexpr int kWsaFamilyNotSupported = 10047;
constexpr int kWsaAddressInUse = 10048;
constexpr int kWsaConnectionAborted = 10053;
constexpr int kWsaConnectionReset = 10054;
constexpr int kWsaNoBuffers = 10055;
constexpr int kWsaNotConnected = 10057;
constexpr int kWsaTimedOut = 10060;
constexpr int kWsaConnectionRefused = 10061;
constexpr int kWsaHostNotFound = 11001;
constexpr int kWsaNoData = 11004;

// Starts the host's socket service for one more user, or stops it for one; every start counts, and the
// library brackets the life of every socket object with a start and a stop. The start gives false, with the
// last error set, when the host refuses.
// Host notes: POSIX sockets need no service: the start is always true and the stop does nothing; Windows
// Sockets counts its own starts and stops.
bool SocketServiceStart();
void SocketServiceStop();

// The thread's last socket error (0 until a socket call fails on this thread).
int SocketLastError();

// A new IPv4 socket, stream when `stream` is true, else datagram; kNoSocket on failure. Not inherited by
// child processes.
uint64_t SocketOpen(bool stream);
// Shuts both directions, which wakes every call waiting on the socket; the result is ignored.
void SocketShutdownBoth(uint64_t socket);
// Shuts both directions and closes; results are ignored.
void SocketClose(uint64_t socket);

// The receive and send buffer sizes and the permission to broadcast; false on failure.
bool SocketSetReceiveBuffer(uint64_t socket, uint32_t size);
bool SocketSetSendBuffer(uint64_t socket, uint32_t size);
bool SocketSetBroadcast(uint64_t socket, bool enabled);
// Before bind: a restarted server gets its port back while connections of its previous run linger, and a
// second socket that binds a port in use is still refused. False on failure.
// Host notes: POSIX sets SO_REUSEADDR. Windows binds past lingering connections by itself, and its
// SO_REUSEADDR would let a second socket take a live port, so it sets SO_EXCLUSIVEADDRUSE instead.
bool SocketSetRestartableBind(uint64_t socket);
// The multicast time-to-live, the loop of a socket's own group traffic, and joining `group` on `local`.
bool SocketSetMulticastTtl(uint64_t socket, uint8_t ttl);
bool SocketSetMulticastLoop(uint64_t socket, bool enabled);
bool SocketJoinGroup(uint64_t socket, uint32_t group, uint32_t local);
// The time limits of blocking receives and sends, in milliseconds (0: none); false on failure. A receive that
// its limit ends fails with kWsaTimedOut.
bool SocketSetReceiveTimeout(uint64_t socket, uint32_t milliseconds);
bool SocketSetSendTimeout(uint64_t socket, uint32_t milliseconds);
// Sets or clears the non-blocking mode; false on failure.
bool SocketSetNonBlocking(uint64_t socket, bool nonBlocking);

bool SocketBind(uint64_t socket, uint32_t address, uint16_t port);
bool SocketListen(uint64_t socket, int backlog);
// A non-blocking connect that is under way fails with kWsaWouldBlock, as on Windows.
bool SocketConnect(uint64_t socket, uint32_t address, uint16_t port);
// One accept: the new socket (inheriting the listener's non-blocking mode), or kNoSocket on failure.
uint64_t SocketAccept(uint64_t socket, uint32_t* address, uint16_t* port);
bool SocketLocalAddress(uint64_t socket, uint32_t* address, uint16_t* port);

// One transfer; the count or -1.
// Host notes: Windows takes at most INT_MAX bytes per call; a longer length is cut, which the count shows. Flags are the Windows numbers (1 out-of-band, 2 peek, 4 do not route,
// 8 wait for all). Sends never raise a signal when the peer has gone.
long SocketSend(uint64_t socket, const void* data, uint32_t length, int flags);
// One send of what the socket takes at once, never waiting, even on a blocking socket.
// Host notes: Windows has no per-call flag for that; a blocking socket is made non-blocking for the call.
long SocketSendNow(uint64_t socket, const void* data, uint32_t length);
long SocketReceive(uint64_t socket, void* data, uint32_t length, int flags);
// With the caller's raw address record of `addressLength` bytes, passed through unread.
long SocketSendToRaw(uint64_t socket, const void* data, uint32_t length, int flags, const void* addressRecord,
                     uint32_t addressLength);
long SocketReceiveFromRaw(uint64_t socket, void* data, uint32_t length, int flags, void* addressRecord,
                          uint32_t* addressLength);
long SocketSendTo(uint64_t socket, const void* data, uint32_t length, int flags, uint32_t address, uint16_t port);
long SocketReceiveFrom(uint64_t socket, void* data, uint32_t length, int flags, uint32_t* address, uint16_t* port);

// Waits at most `milliseconds` (split as seconds and microseconds, as a select time value) for one socket.
// `inMain` says it is ready for the direction asked; `inException` says it has out-of-band data or a
// failed connection, whose error code is then in `pendingError` (the socket stands there alone).
// Returns the number of set memberships (0 on time-out) or -1.
struct SocketWaitResult
{
    bool inMain = false;
    bool inException = false;
    int pendingError = 0;
};
int SocketWait(uint64_t socket, bool forWrite, uint32_t milliseconds, SocketWaitResult* result);
// Waits for either socket to be readable (or to carry an exception); -1 on failure, else the number of
// set memberships, with each socket's readability in the flags.
int SocketWaitReadable(uint64_t first, uint64_t second, uint32_t milliseconds, bool* firstReadable,
                       bool* secondReadable);
// Waits at most 10 ms for the direction a would-block failure was waiting for; returns at once for a
// socket that is no longer valid. Used between retries so that a retry loop does not burn a core.
void SocketPause(uint64_t socket, bool forWrite);

// Dotted text as inet_addr reads it (octal and hexadecimal parts too); kNoAddress when refused.
uint32_t ParseIPv4(const char* text);
// The first IPv4 address of a host name; false with the last error 11001 or 11004 when none.
bool ResolveIPv4(const char* name, uint32_t* address);
// The hardware address of `address`: from the kernel's neighbour table, or of the adapter that holds the
// address when it is one of this machine's own. 0 with the bytes and their count, or a non-zero code.
int HardwareAddressOf(uint32_t address, uint8_t* buffer, uint32_t* length);

}  // namespace platform
