// COsPing: ICMP echo over the library's own raw socket, or through the system's echo service when the
// system refuses the raw socket for lack of privilege. The caller learns only success or failure; the
// reason goes to the log hub.
#include "network/COsPing.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "network/Diagnostics.h"
#include "network/NetworkText.h"
#include "platform/clock.h"
#include "platform/icmp.h"
#include "platform/lasterror.h"
#include "platform/process.h"
#include "platform/sockets.h"

using network_diagnostics::Write;
using network_text::DottedText;

std::atomic<uint32_t> COsPing::s_nSequence{0};

namespace {

constexpr int kPacketSize = 40;
// The data of a request, counted from its send time on: what "with 32 bytes of data" tells.
constexpr int kDataSize = 32;
constexpr int kIcmpHeaderSize = 8;
constexpr int kSmallestIpHeader = 20;
constexpr int kReceiveBufferSize = 4096;
constexpr unsigned char kEchoRequest = 8;
constexpr unsigned char kEchoReply = 0;
constexpr uint16_t kFamilyIPv4 = 2;
constexpr uint32_t kAttemptPause = 10;
// A failing receive is tried again after this pause, so that a failure that persists costs no core.
constexpr uint32_t kFailurePause = 10;
// A wait without limit, in the slices that a time limit of 0 asks for.
constexpr uint32_t kNoLimit = 0xFFFFFFFF;
// The echo service's room for a reply, and the data of its request.
constexpr uint32_t kReplyRoom = 72;
constexpr char kServiceData[kDataSize] = "Data Buffer";

// The request's own fields go out little-endian: only the sender reads them back.
void WriteLittle16(unsigned char* target, uint16_t value)
{
    target[0] = static_cast<unsigned char>(value & 0xFF);
    target[1] = static_cast<unsigned char>(value >> 8);
}

void WriteLittle32(unsigned char* target, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        target[i] = static_cast<unsigned char>(value >> (8 * i));
}

uint16_t ReadLittle16(const unsigned char* source)
{
    return static_cast<uint16_t>(source[0] | (source[1] << 8));
}

uint32_t ReadLittle32(const unsigned char* source)
{
    return static_cast<uint32_t>(source[0]) | static_cast<uint32_t>(source[1]) << 8 |
           static_cast<uint32_t>(source[2]) << 16 | static_cast<uint32_t>(source[3]) << 24;
}

// The system's address record of an IPv4 address in host byte order: the address in network order.
_S_SocketAddr AddressRecord(uint32_t address)
{
    _S_SocketAddr record;
    std::memset(&record, 0, sizeof(record));
    record.nFamily = kFamilyIPv4;
    unsigned char bytes[4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(address >> (24 - 8 * i));
    std::memcpy(&record.nAddress, bytes, sizeof(bytes));
    return record;
}

uint32_t HostAddress(const _S_SocketAddr& record)
{
    unsigned char bytes[4];
    std::memcpy(bytes, &record.nAddress, sizeof(bytes));
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

// The address of a name or dotted text: the system's lookup first, then the dotted reading.
bool ResolveHost(const std::string& strHost, uint32_t* address)
{
    if (platform::ResolveIPv4(strHost.c_str(), address))
        return true;
    *address = platform::ParseIPv4(strHost.c_str());
    return *address != platform::kNoAddress;
}

// The raw socket, shut down and closed on every path.
class RawSocket
{
public:
    explicit RawSocket(SOCKET handle) : m_hSocket(handle) {}
    ~RawSocket()
    {
        if (m_hSocket != INVALID_SOCKET)
            platform::SocketClose(m_hSocket);
    }
    RawSocket(const RawSocket&) = delete;
    RawSocket& operator=(const RawSocket&) = delete;
    SOCKET get() const { return m_hSocket; }

private:
    SOCKET m_hSocket;
};

struct EchoServiceCloser
{
    void operator()(platform::EchoService* service) const { platform::EchoServiceClose(service); }
};

struct MemoryFree
{
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

int COsPing::Ping(const std::string& strHost, unsigned int nTimeout, unsigned int nCount)
{
    if (!platform::SocketServiceStart()) {
        Write("wsastartup error\r\n");
        return OS_ERR_NETWORK;
    }
    const int protocol = platform::IcmpProtocolNumber();
    if (protocol < 0) {
        Write("getprotobyname error\r\n");
        return OS_ERR_NETWORK;
    }
    RawSocket raw(platform::IcmpRawSocketOpen(protocol));
    if (raw.get() == INVALID_SOCKET) {
        if (platform::SocketLastError() == platform::kWsaAccess) {
            for (unsigned int attempt = 0; attempt < nCount; ++attempt) {
                if (IcmpPing(strHost, nTimeout) >= 0)
                    return 0;
            }
            return OS_ERR_NETWORK;
        }
        Write("socket error\r\n");
        return OS_ERR_NETWORK;
    }
    // Without these limits a send or receive would wait as long as it takes; a refusal leaves them so.
    platform::SocketSetReceiveTimeout(raw.get(), nTimeout);
    platform::SocketSetSendTimeout(raw.get(), nTimeout);
    platform::SocketSetNonBlocking(raw.get(), true);

    uint32_t address = 0;
    if (!ResolveHost(strHost, &address)) {
        Write("Unkown host %s\r\n", strHost.c_str());
        return OS_ERR_NETWORK;
    }
    const int pid = static_cast<int>(platform::CurrentProcessId() & 0xFFFF);
    const _S_SocketAddr dest = AddressRecord(address);
    Write("Pinging %s [%s]: with %d bytes of data: \r\n", strHost.c_str(), DottedText(address).c_str(), kDataSize);
    for (unsigned int attempt = 0; attempt < nCount; ++attempt) {
        if (attempt > 0)
            platform::Sleep(kAttemptPause);
        send_packet(raw.get(), pid, dest);
        if (recv_packet(raw.get(), pid, dest, nTimeout) == 0)
            return 0;
    }
    return OS_ERR_NETWORK;
}

int COsPing::IcmpPing(const std::string& strHost, unsigned int nTimeout)
{
    uint32_t address = 0;
    if (!ResolveHost(strHost, &address)) {
        Write("Unkown host %s\r\n", strHost.c_str());
        return OS_ERR_NETWORK;
    }
    std::unique_ptr<platform::EchoService, EchoServiceCloser> service(platform::EchoServiceOpen());
    if (service == nullptr) {
        const long error = static_cast<long>(platform::GetLastError());
        Write("IcmpCreatefile returned error : %ld", error);
        return OS_ERR_NETWORK;
    }
    std::unique_ptr<void, MemoryFree> replyBuffer(std::malloc(kReplyRoom));
    if (replyBuffer == nullptr) {
        Write("Unable to allocate memory");
        return OS_ERR_NETWORK;
    }
    platform::EchoReply reply{};
    if (platform::EchoServiceSend(service.get(), address, kServiceData, kDataSize, replyBuffer.get(), kReplyRoom,
                                  nTimeout, &reply) == 0) {
        const long error = static_cast<long>(platform::GetLastError());
        Write("IcmpSendEcho returned error: %ld", error);
        return OS_ERR_NETWORK;
    }
    // Any reply counts: its status is shown, not judged.
    Write("IcmpSendEcho received from %s, status = %ld, roundtrip time = %ld milliseconds",
          DottedText(reply.address).c_str(), static_cast<long>(reply.status), static_cast<long>(reply.roundTripTime));
    return 0;
}

int COsPing::send_packet(SOCKET hSocket, int nPid, const _S_SocketAddr& dest)
{
    unsigned char packet[kPacketSize] = {};
    const int length = pack(static_cast<int>(s_nSequence.fetch_add(1)), nPid, packet);
    if (platform::SocketSendTo(hSocket, packet, static_cast<uint32_t>(length), 0, HostAddress(dest), 0) < 0) {
        Write("Destination host unreachable.\r\n");
        return -1;
    }
    Write("in COsPing: Success Send Packet.\r\n");
    return 0;
}

int COsPing::recv_packet(SOCKET hSocket, int nPid, const _S_SocketAddr& dest, unsigned int nTimeout)
{
    unsigned char buffer[kReceiveBufferSize];
    // One limit for the whole wait: packets that are not the reply, and failures of the receive, use up the
    // time instead of starting it again, so the call ends in time whatever else reaches the socket. The
    // socket does not block: a receive takes what is there, and only an empty socket is waited for.
    const uint32_t start = platform::GetTickCount();
    for (;;) {
        const uint32_t elapsed = platform::GetTickCount() - start;
        if (nTimeout != 0 && elapsed >= nTimeout)
            break;
        const uint32_t remaining = nTimeout != 0 ? nTimeout - elapsed : kNoLimit;
        std::memset(buffer, 0, sizeof(buffer));
        uint32_t sender = 0;
        uint16_t port = 0;
        const long received = platform::SocketReceiveFrom(hSocket, buffer, sizeof(buffer), 0, &sender, &port);
        if (received >= 0) {
            if (unpack(buffer, static_cast<int>(received), nPid, dest, AddressRecord(sender)) == 1) {
                Write("in COsPing: Success Recv Packet.\r\n");
                return 0;
            }
            continue;
        }
        const int error = platform::SocketLastError();
        if (error == platform::kWsaTimedOut)
            break;
        platform::SocketWaitResult readiness;
        if (error != platform::kWsaWouldBlock || platform::SocketWait(hSocket, false, remaining, &readiness) < 0)
            platform::Sleep(remaining < kFailurePause ? remaining : kFailurePause);
    }
    Write("Request timed out dest_addr = %s\r\n", DottedText(HostAddress(dest)).c_str());
    return -1;
}

int COsPing::pack(int nSeq, int nPid, unsigned char* pPacket)
{
    std::memset(pPacket, 0, kPacketSize);
    pPacket[0] = kEchoRequest;
    WriteLittle16(pPacket + 4, static_cast<uint16_t>(nPid & 0xFFFF));
    WriteLittle16(pPacket + 6, static_cast<uint16_t>(nSeq & 0xFFFF));
    WriteLittle32(pPacket + 8, platform::GetTickCount());
    WriteLittle16(pPacket + 2, cal_chksum(reinterpret_cast<unsigned short*>(pPacket), kPacketSize));
    return kPacketSize;
}

unsigned short COsPing::cal_chksum(unsigned short* pData, int nLength)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(pData);
    // 64 bits hold the sum of any int's worth of words; folding until no carry is left gives what folding
    // a 32-bit sum twice gives wherever that sum does not overflow.
    uint64_t sum = 0;
    int index = 0;
    for (; bytes != nullptr && index + 1 < nLength; index += 2)
        sum += static_cast<uint32_t>(bytes[index] | (bytes[index + 1] << 8));
    if (bytes != nullptr && index < nLength)
        sum += bytes[index];
    while ((sum >> 16) != 0)
        sum = (sum >> 16) + (sum & 0xFFFF);
    return static_cast<unsigned short>(~sum & 0xFFFF);
}

int COsPing::unpack(unsigned char* pPacket, int nLength, int nPid, const _S_SocketAddr& dest, const _S_SocketAddr& from)
{
    if (pPacket == nullptr || nLength < kSmallestIpHeader)
        return 0;
    const int headerLength = (pPacket[0] & 0x0F) * 4;
    // A reply too short to hold its send time is no reply to the library's request.
    if (headerLength < kSmallestIpHeader || nLength - headerLength < kIcmpHeaderSize + 4)
        return 0;
    const unsigned char* icmp = pPacket + headerLength;
    if (icmp[0] != kEchoReply || ReadLittle16(icmp + 4) != static_cast<uint16_t>(nPid & 0xFFFF) ||
        HostAddress(from) != HostAddress(dest))
        return 0;
    const uint32_t roundTrip = platform::GetTickCount() - ReadLittle32(icmp + 8);
    Write("Reply from %s: bytes=%d time=%.0fms TTL=%d icmp_seq=%u, dest_addr  %s: \r\n",
          DottedText(HostAddress(from)).c_str(), nLength - headerLength - kIcmpHeaderSize,
          static_cast<double>(roundTrip), static_cast<int>(pPacket[8]),
          static_cast<unsigned int>(ReadLittle16(icmp + 6)),
          DottedText(HostAddress(dest)).c_str());
    return 1;
}
