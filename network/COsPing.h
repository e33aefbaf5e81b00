// COsPing: whether an IPv4 host answers an ICMP echo, over the library's own raw socket or, where the system
// refuses that socket, through the system's echo service. Each step is told to the log hub.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "../core/Types.h"
#include "../core/WindowsTypes.h"
#include "COsSocket.h"

class VELTRANE_API COsPing
{
public:
    // 0 when the host answered one of at most nCount attempts, each waiting nTimeout milliseconds for its
    // reply (0 waits without limit); OS_ERR_NETWORK in every other case. strHost is a name or a dotted
    // address. The call returns within about nCount * (nTimeout + 10) ms, whatever other ICMP traffic arrives.
    static int Ping(const std::string& strHost, unsigned int nTimeout, unsigned int nCount);

private:
    COsPing() = default;
    ~COsPing() = default;

    // One attempt through the system's echo service: 0 or OS_ERR_NETWORK.
    static int IcmpPing(const std::string& strHost, unsigned int nTimeout);
    // Builds the next request and sends it to dest: 0, or -1 when the send failed.
    static int send_packet(SOCKET hSocket, int nPid, const _S_SocketAddr& dest);
    // Waits up to nTimeout milliseconds in all (0: without limit) for a reply that unpack takes: 0, or -1
    // when none came.
    static int recv_packet(SOCKET hSocket, int nPid, const _S_SocketAddr& dest, unsigned int nTimeout);
    // The 40-byte echo request with sequence nSeq and identifier nPid in pPacket; gives its length.
    static int pack(int nSeq, int nPid, unsigned char* pPacket);
    // The Internet checksum of nLength bytes.
    static unsigned short cal_chksum(unsigned short* pData, int nLength);
    // 1 when the nLength bytes of pPacket (an IP packet) are the echo reply from dest with identifier nPid,
    // after its "Reply from" message has gone out; else 0.
    static int unpack(unsigned char* pPacket, int nLength, int nPid, const _S_SocketAddr& dest,
                      const _S_SocketAddr& from);

    // The sequence counter of every request the library builds: it starts at 0 and is never reset.
    static std::atomic<uint32_t> s_nSequence;

    // Tests reach the private steps through this friend.
    friend class COsPingTestAccess;
};
