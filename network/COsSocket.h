// COsSocket: one IPv4 TCP or UDP socket with its last failure in two forms and a process-wide object count.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "../core/CMonitoredSection.h"
#include "../core/Types.h"
#include "../core/WindowsTypes.h"

enum ESocketType : int32_t
{
    eSocketTypeTcp = 0,
    eSocketTypeUdp = 1,
};

// What IsReady waits for. The enumerations are 32 bits wide and hold any value a caller stores.
enum ESocketStatus : int32_t
{
    eSocketStatusRead = 0,
    eSocketStatusWrite = 1,
};

// The last failure of an object. 3, 11, 12 and 13 are free: nothing in the library produces them.
enum ESocketError : int32_t
{
    eSocketErrorNone = 0,
    eSocketErrorInvalid = 1,
    eSocketErrorHostNotFound = 2,
    eSocketErrorRefused = 4,
    eSocketErrorTimedOut = 5,
    eSocketErrorWouldBlock = 6,
    eSocketErrorNotConnected = 7,
    eSocketErrorInProgress = 8,
    eSocketErrorInterrupted = 9,
    eSocketErrorAborted = 10,
    eSocketErrorReset = 14,
    eSocketErrorAddressInUse = 15,
    eSocketErrorFault = 16,
    eSocketErrorUnknown = 17,
};

// The system's IPv4 socket address (16 bytes), handed to SendTo and filled by ReceiveFrom unread by the
// library. Family 2 is IPv4; port and address are in network byte order, as the system keeps them.
struct _S_SocketAddr
{
    uint16_t nFamily;
    uint16_t nPort;
    uint32_t nAddress;
    uint8_t szZero[8];
};

class VELTRANE_API COsSocket
{
public:
    // A new object that holds no socket, or null if none could be allocated. Give it back to FreeInstance.
    static COsSocket* CreateInstance();
    // Destroys *ppSocket (closing its socket) and sets it to null; null does nothing.
    static void FreeInstance(COsSocket** ppSocket);

    // A copy shares the source's socket and text buffers: only one of the two may reach the destructor or
    // Create. Neither touches the object count.
    COsSocket(const COsSocket& other);
    COsSocket& operator=(const COsSocket& other);
    virtual ~COsSocket();

    // Opening, closing and binding. Host texts are dotted numbers ("127.0.0.1") or names to look up.

    // Opens a new socket, closing one held before. A buffer size of 0 keeps the system's own; when a size
    // cannot be set the result is false but the socket stays open and held.
    bool Create(ESocketType eType, unsigned int nRecvBufferSize, unsigned int nSendBufferSize);
    // Closes the held socket; a call of another thread waiting on it ends with a failure. Create opens again.
    void ShutDown();
    // "localhost" (in any case) binds every interface, not the loopback one alone; bind "127.0.0.1" to
    // serve this machine only. Port 0 takes a free port, which GetLocalIPAddress then tells. "" is no host.
    bool Bind(const std::string& strHost, unsigned short nPort);
    bool BindToPort(unsigned short nPort);
    bool BindMulticast(const char* pInterface, const char* pGroup, unsigned short nPort);
    bool Listen();
    // On a non-blocking socket the result is false with eSocketErrorWouldBlock while the connection is under
    // way: IsReady with eSocketStatusWrite then waits for it and reports a refusal.
    bool Connect(const std::string& strHost, unsigned short nPort);
    // Waits for a connection, also on a non-blocking listener (a ShutDown from another thread ends the wait),
    // and hands it to *pSocket, an object from CreateInstance that holds no socket: one it held would not be
    // closed. The peer's dotted text goes into pIP (cut to nIPSize - 1 bytes and terminated), and its port
    // into *pPort only when pIP is not null.
    bool Accept(COsSocket* pSocket, char* pIP, unsigned int nIPSize, unsigned short* pPort);
    bool InitConnectedSocket(SOCKET hSocket);

    // Options.
    bool SetBlocking(bool bBlocking);
    bool SetBroadcast();
    bool SetMulticast(bool bMulticast, char nTTL);
    bool SetRecvBufferSize(unsigned int nSize);
    bool SetSendBufferSize(unsigned int nSize);

    // Addresses. The text is copied without a terminator: pass a zero-filled buffer larger than it.
    bool GetLocalIPAddress(char* pIP, unsigned int nSize, unsigned short* pPort);
    bool GetRemoteIPAddress(char* pIP, unsigned int nSize, unsigned short* pPort);
    bool GetRemoteMac(std::string strHost);
    bool GetRemoteMacAddress(char* pMac, unsigned int nSize);

    // State and errors. The error fields keep the last failure; no success clears them.
    ESocketType GetSocketType();
    ESocketError GetSocketError();
    int GetOriginSocketError();
    void SetSocketError(ESocketError eError);
    void TranslateSocketError();

    // Data transfer: -1 with eSocketErrorInvalid when no socket is held, and -1 for a failure unless said
    // otherwise. Flags are the Windows numbers (2 peeks, 8 waits for the whole length).
    // The bytes the system took, which may be fewer than nLength.
    int Send(const char* pData, unsigned int nLength);
    int SendTo(const char* pData, unsigned int nLength, int nFlags, const _S_SocketAddr* pAddr, unsigned int nAddrLength);
    int SendToHost(const char* pData, unsigned int nLength, int nFlags, const std::string& strHost, unsigned short nPort);
    // The bytes read, up to nLength, with no terminator added; 0 when the peer has closed the connection.
    int Receive(char* pData, unsigned int nLength, int nFlags);
    // 1 for any successful receive (not the byte count), 0 for a failure.
    int ReceiveFrom(char* pData, unsigned int nLength, int nFlags, _S_SocketAddr* pAddr, unsigned int* pAddrLength);
    int ReceiveFromHost(char* pData, unsigned int nLength, int nFlags, char* pIP, unsigned int nIPSize,
                        unsigned short* pPort);
    // Sends all of pData unless the socket stays unwritable for nTimeout ms: then the bytes sent so far.
    int SendWithTimeout(const char* pData, unsigned int nLength, unsigned int nTimeout, int nFlags);
    // One receive after waiting up to nTimeout ms: bytes read, 0 for a time-out, -1 for a failure or the
    // peer's orderly close (after a close the error fields hold no new failure).
    int ReceiveWithTimeout(char* pData, unsigned int nLength, unsigned int nTimeout, int nFlags);

    // Readiness: above 0 ready, 0 time-out (or no socket), -1 failure.
    int IsReady(unsigned int nTimeout, ESocketStatus eStatus);
    // 1 if pFirst is readable, else 2 if pSecond is, 0 on a time-out, -1 on a failure.
    static int IsReadable(COsSocket* pFirst, COsSocket* pSecond, unsigned int nTimeout);

protected:
    COsSocket();

private:
    std::string HandleHostName(const char* pHost);
    unsigned int GetAddress(const std::string& strHost);
    void TranslateSocketError(int nError);

    // The handle is read atomically and closed through a registry of the calls under way on it,
    // because another thread may close the socket while this one waits on it.
    SOCKET CurrentHandle() const;
    void CloseHeldSocket();

    std::atomic<SOCKET> m_hSocket;
    ESocketError m_eError;
    bool m_bBlocking;
    ESocketType m_eType;
    bool m_bBound;
    bool m_bConnected;
    char* m_pRemoteIP;
    unsigned short m_nRemotePort;
    int m_nOriginError;
    char* m_pRemoteMac;

    static int s_nTotalSockets;
    static CMonitoredSection s_MonitoredSection;

    // Tests reach the private steps (HandleHostName, TranslateSocketError) through this friend.
    friend class COsSocketTestAccess;
};
