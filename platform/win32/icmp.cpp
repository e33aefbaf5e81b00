// platform/win32/icmp.cpp — raw ICMP sockets over Winsock, and the IP helper's echo service.
// IcmpSendEcho writes its replies into the caller's buffer, each an ICMP_ECHO_REPLY followed by its data;
// the first one is the reply to this request, which the service matched itself.
#include "platform/icmp.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
#include <icmpapi.h>
#include <windows.h>

#include "platform/lasterror.h"
#include "platform/sockets.h"

namespace platform {

namespace {

// The protocol number that the Internet standard fixes for ICMP, where the database has none.
constexpr int kIcmpProtocol = 1;

}  // namespace

struct EchoService
{
    HANDLE handle;
};

int IcmpProtocolNumber()
{
    static const int number = [] {
        if (!SocketServiceStart())
            return kIcmpProtocol;
        const protoent* entry = ::getprotobyname("icmp");
        const int found = entry != nullptr ? entry->p_proto : kIcmpProtocol;
        SocketServiceStop();
        return found;
    }();
    return number;
}

uint64_t IcmpRawSocketOpen(int protocol)
{
    SOCKET handle = ::WSASocketW(AF_INET, SOCK_RAW, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (handle == INVALID_SOCKET) {
        SetLastError(static_cast<uint32_t>(::WSAGetLastError()));
        return kNoSocket;
    }
    ::SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
    return static_cast<uint64_t>(handle);
}

EchoService* EchoServiceOpen()
{
    HANDLE handle = ::IcmpCreateFile();
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    return new EchoService{handle};
}

void EchoServiceClose(EchoService* service)
{
    if (service == nullptr)
        return;
    ::IcmpCloseHandle(service->handle);
    delete service;
}

uint32_t EchoServiceSend(EchoService* service, uint32_t address, const void* data, uint16_t size, void* replyBuffer,
                         uint32_t replySize, uint32_t milliseconds, EchoReply* reply)
{
    if (service == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    if (replyBuffer == nullptr || replySize < sizeof(ICMP_ECHO_REPLY)) {
        SetLastError(kErrorInsufficientBuffer);
        return 0;
    }
    // The service knows no "without limit": the longest wait it takes stands for it.
    const DWORD limit = milliseconds == 0 ? MAXDWORD - 1 : milliseconds;
    const DWORD replies = ::IcmpSendEcho(service->handle, htonl(address), const_cast<void*>(data), size, nullptr,
                                         replyBuffer, replySize, limit);
    if (replies == 0)
        return 0;  // the system's last error says why: IP_REQ_TIMED_OUT, a buffer too small, a failed send
    const ICMP_ECHO_REPLY* first = static_cast<const ICMP_ECHO_REPLY*>(replyBuffer);
    reply->address = ntohl(first->Address);
    reply->status = first->Status;
    reply->roundTripTime = first->RoundTripTime;
    return replies;
}

}  // namespace platform
