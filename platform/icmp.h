// ICMP echo as the library needs it from the host: a raw socket for the library's own echo requests, and the
// system's echo service for processes that may not open one. Addresses are IPv4 in host byte order. Every
// failure sets the thread's last error (platform/lasterror.h) to a Windows number and returns the failure
// value named here. The raw socket is a socket of platform/sockets.h: it sends, receives, waits and closes
// through the operations declared there.
#pragma once

#include <cstdint>

namespace platform {

// What the echo service reports when no reply came within the time limit (IP_REQ_TIMED_OUT).
constexpr uint32_t kIpRequestTimedOut = 11010;
// What the echo service reports for a reply buffer too small to hold a reply's header.
constexpr uint32_t kErrorInsufficientBuffer = 122;

// The protocol number of ICMP in the host's protocol database, or -1 when the host cannot tell.
// Host notes: POSIX reads the database once per process, and where it has no entry (a system without
// /etc/protocols) gives 1, the number that the Internet standard fixes for ICMP.
int IcmpProtocolNumber();

// A raw IPv4 socket of `protocol`: a receive gives one whole IP packet, its header first, and the socket
// sees every packet of that protocol that reaches the machine. kNoSocket on failure, with kWsaAccess
// (10013) when the process lacks the privilege.
// Host notes: POSIX needs CAP_NET_RAW in the network namespace; the socket is close-on-exec. Windows gives
// raw sockets to administrators only.
uint64_t IcmpRawSocketOpen(int protocol);

// The system's echo service: one echo request at a time, whose reply the service itself matches.
struct EchoService;

// The fields of a reply that the library reads.
struct EchoReply
{
    uint32_t address;        // the sender, host byte order
    uint32_t status;         // 0 for an echo reply
    uint32_t roundTripTime;  // milliseconds
};

// Opens the service; null when the host refuses it.
// Host notes: Windows opens the ICMP service of its IP helper. Linux opens its unprivileged ICMP datagram
// socket, which the kernel allows only to groups in net.ipv4.ping_group_range and otherwise refuses
// with 10013.
EchoService* EchoServiceOpen();
// Releases the service; null does nothing.
void EchoServiceClose(EchoService* service);

// Sends one echo request carrying `size` bytes of `data` to `address` and waits at most `milliseconds`
// (0: without limit) for its reply, using the caller's `replyBuffer` of `replySize` bytes as room for it.
// The number of replies, 1 with the reply's fields in `reply`; 0 with kIpRequestTimedOut when none came in
// time, kErrorInsufficientBuffer for a buffer too small, or the Windows Sockets number of a failed send.
// Echo replies from other senders or to other requests, and other ICMP messages, do not end the wait.
// Host notes: Linux's datagram socket replaces the identifier by the socket's own port and hands replies
// over without their IP header, so they are matched by sender and sequence number.
uint32_t EchoServiceSend(EchoService* service, uint32_t address, const void* data, uint16_t size, void* replyBuffer,
                         uint32_t replySize, uint32_t milliseconds, EchoReply* reply);

}  // namespace platform
