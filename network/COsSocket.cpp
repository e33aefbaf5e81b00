// COsSocket: object life, addressing, options, error translation, data transfer and readiness.
#include "network/COsSocket.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

#include "core/SectionGuard.h"
#include "network/NetworkText.h"
#include "platform/clock.h"
#include "platform/sockets.h"
#include "strings/COsConverter.h"
#include "strings/COsString.h"
#include "strings/StringHelpers.h"

int COsSocket::s_nTotalSockets = 0;
CMonitoredSection COsSocket::s_MonitoredSection;

using network_text::DottedText;
using network_text::HardwareText;

namespace {

constexpr unsigned int kAddressFailure = 0xFFFFFFFF;
constexpr int kListenBacklog = 0x7FFFFFFF;

ESocketError ErrorFromCode(int code)
{
    switch (code) {
    case 0: return eSocketErrorNone;
    case platform::kWsaAccess:
    case platform::kWsaInvalid:
    case platform::kWsaTooManyOpen:
    case platform::kWsaNotSocket:
    case platform::kWsaProtocolNotSupported:
    case platform::kWsaFamilyNotSupported:
    case platform::kWsaNoBuffers: return eSocketErrorInvalid;
    case platform::kWsaNoData: return eSocketErrorHostNotFound;
    case platform::kWsaConnectionRefused: return eSocketErrorRefused;
    case platform::kWsaTimedOut: return eSocketErrorTimedOut;
    case platform::kWsaWouldBlock: return eSocketErrorWouldBlock;
    case platform::kWsaBadHandle:
    case platform::kWsaNotConnected: return eSocketErrorNotConnected;
    case platform::kWsaInProgress: return eSocketErrorInProgress;
    case platform::kWsaInterrupted: return eSocketErrorInterrupted;
    case platform::kWsaConnectionAborted: return eSocketErrorAborted;
    case platform::kWsaConnectionReset: return eSocketErrorReset;
    case platform::kWsaAddressInUse: return eSocketErrorAddressInUse;
    case platform::kWsaFault: return eSocketErrorFault;
    default: return eSocketErrorUnknown;
    }
}

// Copies min(size, length) bytes and no terminator: the caller's buffer is zero-filled and larger.
void CopyUnterminated(char* target, unsigned int size, const char* text)
{
    if (target == nullptr)
        return;
    size_t length = std::strlen(text);
    std::memcpy(target, text, length < size ? length : size);
}

// Transfers and waits on one socket may be under way on other threads when ShutDown closes it. The
// descriptor is shut down at once, which wakes them, but closed only after they have left their system
// call, so no thread ever works on a descriptor number that the system has handed out again.
class HandleUsers
{
public:
    // The handle in `field` now, counted as in use until Leave; INVALID_SOCKET when none is held.
    SOCKET Enter(const std::atomic<SOCKET>* field)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        SOCKET handle = field->load(std::memory_order_acquire);
        if (handle != INVALID_SOCKET)
            ++m_Users[handle];
        return handle;
    }

    void Leave(SOCKET handle)
    {
        if (handle == INVALID_SOCKET)
            return;
        std::lock_guard<std::mutex> lock(m_Mutex);
        auto user = m_Users.find(handle);
        if (user != m_Users.end() && --user->second == 0) {
            m_Users.erase(user);
            m_Idle.notify_all();
        }
    }

    // Clears `field` and closes the socket it held. A call that the shutdown did not wake within a
    // second no longer holds the close back.
    void Close(std::atomic<SOCKET>* field)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        SOCKET handle = field->exchange(INVALID_SOCKET, std::memory_order_acq_rel);
        if (handle == INVALID_SOCKET)
            return;
        if (m_Users.count(handle) != 0) {
            platform::SocketShutdownBoth(handle);
            m_Idle.wait_for(lock, std::chrono::seconds(1), [&] { return m_Users.count(handle) == 0; });
        }
        platform::SocketClose(handle);
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Idle;
    std::unordered_map<SOCKET, int> m_Users;
};

// Never destroyed: a socket may still be closed by a static destructor at exit.
HandleUsers& Users()
{
    static HandleUsers* users = new HandleUsers();
    return *users;
}

class HandleInUse
{
public:
    explicit HandleInUse(const std::atomic<SOCKET>* field) : m_hSocket(Users().Enter(field)) {}
    ~HandleInUse() { Users().Leave(m_hSocket); }
    HandleInUse(const HandleInUse&) = delete;
    HandleInUse& operator=(const HandleInUse&) = delete;
    SOCKET get() const { return m_hSocket; }

private:
    SOCKET m_hSocket;
};

// Makes a transfer again while the system says it was interrupted or would block. A would-block retry
// first waits up to 10 ms for the socket, so a waiting caller does not burn a core; the handle is read
// afresh for every attempt, so a ShutDown from another thread ends the loop.
template <typename Transfer>
long Retrying(const std::atomic<SOCKET>* field, bool forWrite, Transfer transfer)
{
    for (;;) {
        HandleInUse handle(field);
        long result = transfer(handle.get());
        if (result != -1)
            return result;
        int error = platform::SocketLastError();
        if (error == platform::kWsaInterrupted)
            continue;
        if (error != platform::kWsaWouldBlock)
            return -1;
        platform::SocketPause(handle.get(), forWrite);
    }
}

}  // namespace

COsSocket::COsSocket()
    : m_hSocket(INVALID_SOCKET), m_eError(eSocketErrorNone), m_bBlocking(false), m_eType(eSocketTypeTcp),
      m_bBound(false), m_bConnected(false), m_pRemoteIP(nullptr), m_nRemotePort(0), m_nOriginError(0),
      m_pRemoteMac(nullptr)
{
    SectionGuard lock(s_MonitoredSection);
    // The socket service runs exactly while an object lives; a service that fails to start shows at Create.
    if (s_nTotalSockets == 0)
        platform::SocketServiceStart();
    ++s_nTotalSockets;
}

COsSocket::COsSocket(const COsSocket& other)
    : m_hSocket(other.CurrentHandle()), m_eError(other.m_eError), m_bBlocking(other.m_bBlocking),
      m_eType(other.m_eType), m_bBound(other.m_bBound), m_bConnected(other.m_bConnected),
      m_pRemoteIP(other.m_pRemoteIP), m_nRemotePort(other.m_nRemotePort), m_nOriginError(other.m_nOriginError),
      m_pRemoteMac(other.m_pRemoteMac)
{
}

COsSocket& COsSocket::operator=(const COsSocket& other)
{
    m_hSocket.store(other.CurrentHandle(), std::memory_order_release);
    m_eError = other.m_eError;
    m_bBlocking = other.m_bBlocking;
    m_eType = other.m_eType;
    m_bBound = other.m_bBound;
    m_bConnected = other.m_bConnected;
    m_pRemoteIP = other.m_pRemoteIP;
    m_nRemotePort = other.m_nRemotePort;
    m_nOriginError = other.m_nOriginError;
    m_pRemoteMac = other.m_pRemoteMac;
    return *this;
}

COsSocket::~COsSocket()
{
    SectionGuard lock(s_MonitoredSection);
    ShutDown();
    if (--s_nTotalSockets == 0)
        platform::SocketServiceStop();
    delete[] m_pRemoteIP;
    delete[] m_pRemoteMac;
}

COsSocket* COsSocket::CreateInstance()
{
    return new (std::nothrow) COsSocket();
}

void COsSocket::FreeInstance(COsSocket** ppSocket)
{
    if (ppSocket == nullptr || *ppSocket == nullptr)
        return;
    delete *ppSocket;
    *ppSocket = nullptr;
}

SOCKET COsSocket::CurrentHandle() const
{
    return m_hSocket.load(std::memory_order_acquire);
}

void COsSocket::CloseHeldSocket()
{
    Users().Close(&m_hSocket);
}

void COsSocket::ShutDown()
{
    CloseHeldSocket();
    if (m_eType == eSocketTypeUdp)
        m_bBound = false;
    platform::Sleep(5);
}

bool COsSocket::Create(ESocketType eType, unsigned int nRecvBufferSize, unsigned int nSendBufferSize)
{
    m_eType = eType;
    if (CurrentHandle() != INVALID_SOCKET) {
        CloseHeldSocket();
        if (m_eType == eSocketTypeUdp)
            m_bBound = false;
        platform::Sleep(5);
    }
    SOCKET handle = INVALID_SOCKET;
    if (eType == eSocketTypeTcp || eType == eSocketTypeUdp)
        handle = platform::SocketOpen(eType == eSocketTypeTcp);
    m_hSocket.store(handle, std::memory_order_release);
    if (handle == INVALID_SOCKET) {
        TranslateSocketError();
        return false;
    }
    bool receiveSizeFailed = false;
    if (nRecvBufferSize != 0 && !platform::SocketSetReceiveBuffer(handle, nRecvBufferSize)) {
        TranslateSocketError();
        receiveSizeFailed = true;
    }
    if (nSendBufferSize != 0 && !platform::SocketSetSendBuffer(handle, nSendBufferSize)) {
        TranslateSocketError();
        return false;
    }
    return !receiveSizeFailed;
}

std::string COsSocket::HandleHostName(const char* pHost)
{
    if (pHost == nullptr)
        return std::string();
    const std::string text(pHost);
    std::string normalised;
    size_t start = 0;
    for (;;) {
        size_t dot = text.find('.', start);
        int number = 0;
        if (!COsConverter::StringToInt32(text.substr(start, dot == std::string::npos ? std::string::npos : dot - start),
                                         number))
            return text;
        if (start > 0)
            normalised += '.';
        normalised += COsConverter::Int32ToString(number);
        if (dot == std::string::npos)
            return normalised;
        start = dot + 1;
    }
}

unsigned int COsSocket::GetAddress(const std::string& strHost)
{
    const std::string host = HandleHostName(strHost.c_str());
    uint32_t address = platform::ParseIPv4(host.c_str());
    if (address != platform::kNoAddress)
        return address;
    if (platform::ResolveIPv4(host.c_str(), &address))
        return address;
    TranslateSocketError();
    return kAddressFailure;
}

bool COsSocket::Bind(const std::string& strHost, unsigned short nPort)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return false;
    }
    // "localhost" means every interface here, not the loopback interface alone.
    unsigned int address = 0;
    if (COsString::Compare(strHost, "localhost", true) != 0) {
        address = GetAddress(strHost);
        if (address == kAddressFailure) {
            m_eError = eSocketErrorHostNotFound;
            return false;
        }
    }
    // A stream socket may take a port whose earlier connections still linger in TIME_WAIT, as on
    // Windows, so a restarted server gets its port back at once. Two listeners on one port stay refused.
    if (m_eType == eSocketTypeTcp)
        platform::SocketSetRestartableBind(handle);
    if (!platform::SocketBind(handle, address, nPort)) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::BindToPort(unsigned short nPort)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET || m_eType == eSocketTypeTcp) {
        TranslateSocketError();
        return false;
    }
    if (m_bBound)
        return true;
    if (!platform::SocketBind(handle, 0, nPort)) {
        TranslateSocketError();
        return false;
    }
    m_bBound = true;
    return true;
}

bool COsSocket::BindMulticast(const char* pInterface, const char* pGroup, unsigned short nPort)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET || m_eType == eSocketTypeTcp) {
        TranslateSocketError();
        return false;
    }
    if (m_bBound)
        return true;
    uint32_t local = 0;
    if (pInterface != nullptr && *pInterface != '\0' && platform::ParseIPv4(pInterface) != platform::kNoAddress)
        local = platform::ParseIPv4(pInterface);
    uint32_t group = pGroup != nullptr ? platform::ParseIPv4(pGroup) : platform::kNoAddress;
    // The socket does not hear its own group traffic.
    if (!platform::SocketBind(handle, local, nPort) || !platform::SocketSetMulticastLoop(handle, false) ||
        !platform::SocketJoinGroup(handle, group, local)) {
        TranslateSocketError();
        return false;
    }
    m_bBound = true;
    return true;
}

bool COsSocket::Listen()
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET || m_eType == eSocketTypeUdp)
        return false;
    if (!platform::SocketListen(handle, kListenBacklog)) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::Connect(const std::string& strHost, unsigned short nPort)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return false;
    }
    unsigned int address = GetAddress(strHost);
    if (address == kAddressFailure) {
        m_eError = eSocketErrorHostNotFound;
        return false;
    }
    // The peer is remembered before the attempt and stays when it fails.
    COsString::Copy(DottedText(address).c_str(), &m_pRemoteIP);
    m_nRemotePort = nPort;
    if (!platform::SocketConnect(handle, address, nPort)) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::Accept(COsSocket* pSocket, char* pIP, unsigned int nIPSize, unsigned short* pPort)
{
    if (CurrentHandle() == INVALID_SOCKET || m_eType == eSocketTypeUdp || pSocket == nullptr) {
        m_eError = eSocketErrorInvalid;
        return false;
    }
    uint32_t peerAddress = 0;
    uint16_t peerPort = 0;
    // The handle is kept whole beside the loop's status: a 64-bit handle does not pass through a count.
    SOCKET connection = INVALID_SOCKET;
    long accepted = Retrying(&m_hSocket, false, [&](SOCKET handle) {
        connection = platform::SocketAccept(handle, &peerAddress, &peerPort);
        return connection == platform::kNoSocket ? -1L : 0L;
    });
    if (accepted == -1) {
        TranslateSocketError();
        return false;
    }
    pSocket->m_hSocket.store(connection, std::memory_order_release);
    pSocket->m_eType = eSocketTypeTcp;
    if (pIP != nullptr) {
        strcpyz(pIP, nIPSize, DottedText(peerAddress).c_str());
        if (pPort != nullptr)
            *pPort = peerPort;
    }
    return true;
}

bool COsSocket::InitConnectedSocket(SOCKET hSocket)
{
    if (hSocket == INVALID_SOCKET)
        return false;
    m_hSocket.store(hSocket, std::memory_order_release);
    m_bConnected = true;
    return true;
}

bool COsSocket::SetBlocking(bool bBlocking)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return false;
    }
    if (!platform::SocketSetNonBlocking(handle, !bBlocking)) {
        TranslateSocketError();
        return false;
    }
    m_bBlocking = bBlocking;
    return true;
}

bool COsSocket::SetBroadcast()
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET || m_eType != eSocketTypeUdp)
        return true;
    if (!platform::SocketSetBroadcast(handle, true)) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::SetMulticast(bool, char nTTL)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET || m_eType != eSocketTypeUdp)
        return false;
    if (!platform::SocketSetMulticastTtl(handle, static_cast<uint8_t>(nTTL))) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::SetRecvBufferSize(unsigned int nSize)
{
    if (!platform::SocketSetReceiveBuffer(CurrentHandle(), nSize)) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::SetSendBufferSize(unsigned int nSize)
{
    if (!platform::SocketSetSendBuffer(CurrentHandle(), nSize)) {
        TranslateSocketError();
        return false;
    }
    return true;
}

bool COsSocket::GetLocalIPAddress(char* pIP, unsigned int nSize, unsigned short* pPort)
{
    uint32_t address = 0;
    uint16_t port = 0;
    if (!platform::SocketLocalAddress(CurrentHandle(), &address, &port))
        return false;
    CopyUnterminated(pIP, nSize, DottedText(address).c_str());
    if (pPort != nullptr)
        *pPort = port;
    return true;
}

bool COsSocket::GetRemoteIPAddress(char* pIP, unsigned int nSize, unsigned short* pPort)
{
    if (m_pRemoteIP == nullptr)
        return false;
    CopyUnterminated(pIP, nSize, m_pRemoteIP);
    if (pPort != nullptr)
        *pPort = m_nRemotePort;
    return true;
}

bool COsSocket::GetRemoteMac(std::string strHost)
{
    if (strHost.empty())
        return false;
    unsigned int address = GetAddress(strHost);
    if (address == kAddressFailure)
        return false;
    uint8_t hardware[8];
    std::memset(hardware, 0xFF, sizeof(hardware));
    uint32_t length = 6;
    if (platform::HardwareAddressOf(address, hardware, &length) != 0)
        return false;
    if (length > 0)
        COsString::Copy(HardwareText(hardware, length).c_str(), &m_pRemoteMac);
    return true;
}

bool COsSocket::GetRemoteMacAddress(char* pMac, unsigned int nSize)
{
    if (m_pRemoteMac == nullptr)
        return false;
    CopyUnterminated(pMac, nSize, m_pRemoteMac);
    return true;
}

ESocketType COsSocket::GetSocketType()
{
    return m_eType;
}

ESocketError COsSocket::GetSocketError()
{
    return m_eError;
}

int COsSocket::GetOriginSocketError()
{
    return m_nOriginError;
}

void COsSocket::SetSocketError(ESocketError eError)
{
    m_eError = eError;
}

void COsSocket::TranslateSocketError()
{
    TranslateSocketError(platform::SocketLastError());
}

void COsSocket::TranslateSocketError(int nError)
{
    m_nOriginError = nError;
    m_eError = ErrorFromCode(nError);
}

int COsSocket::Send(const char* pData, unsigned int nLength)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    long sent = Retrying(&m_hSocket, true,
                         [&](SOCKET handle) { return platform::SocketSend(handle, pData, nLength, 0); });
    if (sent == -1)
        TranslateSocketError();
    return static_cast<int>(sent);
}

int COsSocket::SendTo(const char* pData, unsigned int nLength, int nFlags, const _S_SocketAddr* pAddr,
                      unsigned int nAddrLength)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    long sent = Retrying(&m_hSocket, true, [&](SOCKET handle) {
        return platform::SocketSendToRaw(handle, pData, nLength, nFlags, pAddr, nAddrLength);
    });
    if (sent == -1)
        TranslateSocketError();
    return static_cast<int>(sent);
}

int COsSocket::SendToHost(const char* pData, unsigned int nLength, int nFlags, const std::string& strHost,
                          unsigned short nPort)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    unsigned int address = GetAddress(strHost);
    if (address == kAddressFailure) {
        m_eError = eSocketErrorHostNotFound;
        return -1;
    }
    long sent = Retrying(&m_hSocket, true, [&](SOCKET handle) {
        return platform::SocketSendTo(handle, pData, nLength, nFlags, address, nPort);
    });
    if (sent == -1)
        TranslateSocketError();
    return static_cast<int>(sent);
}

int COsSocket::Receive(char* pData, unsigned int nLength, int nFlags)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    long received = Retrying(&m_hSocket, false,
                             [&](SOCKET handle) { return platform::SocketReceive(handle, pData, nLength, nFlags); });
    if (received == -1)
        TranslateSocketError();
    return static_cast<int>(received);
}

int COsSocket::ReceiveFrom(char* pData, unsigned int nLength, int nFlags, _S_SocketAddr* pAddr,
                           unsigned int* pAddrLength)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    long received = Retrying(&m_hSocket, false, [&](SOCKET handle) {
        return platform::SocketReceiveFromRaw(handle, pData, nLength, nFlags, pAddr, pAddrLength);
    });
    if (received == -1) {
        TranslateSocketError();
        return 0;
    }
    return 1;
}

int COsSocket::ReceiveFromHost(char* pData, unsigned int nLength, int nFlags, char* pIP, unsigned int nIPSize,
                               unsigned short* pPort)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    uint32_t senderAddress = 0;
    uint16_t senderPort = 0;
    long received = Retrying(&m_hSocket, false, [&](SOCKET handle) {
        return platform::SocketReceiveFrom(handle, pData, nLength, nFlags, &senderAddress, &senderPort);
    });
    if (received == -1) {
        TranslateSocketError();
        return -1;
    }
    // A buffer without room is as none: it holds no text that could be remembered.
    if (pIP == nullptr || nIPSize == 0)
        return static_cast<int>(received);
    strcpyz(pIP, nIPSize, DottedText(senderAddress).c_str());
    if (pPort != nullptr)
        *pPort = senderPort;
    // The sender becomes the socket's remembered peer.
    COsString::Copy(pIP, &m_pRemoteIP);
    m_nRemotePort = senderPort;
    return static_cast<int>(received);
}

int COsSocket::SendWithTimeout(const char* pData, unsigned int nLength, unsigned int nTimeout, int)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    if (static_cast<int>(nLength) <= 0)
        return 0;
    unsigned int sent = 0;
    long last = 0;
    while (sent < nLength) {
        last = IsReady(nTimeout, eSocketStatusWrite);
        if (last <= 0)
            break;
        // Each step hands over only what the socket takes at once, so that the time limit holds on a
        // blocking socket too: a peer that stops reading ends the transfer at the next wait.
        {
            HandleInUse handle(&m_hSocket);
            last = platform::SocketSendNow(handle.get(), pData + sent, nLength - sent);
        }
        if (last == -1) {
            int error = platform::SocketLastError();
            if (error == platform::kWsaInterrupted || error == platform::kWsaWouldBlock)
                continue;
            TranslateSocketError(error);
        }
        if (last <= 0)
            break;
        sent += static_cast<unsigned int>(last);
    }
    return last < 0 ? -1 : static_cast<int>(sent);
}

int COsSocket::ReceiveWithTimeout(char* pData, unsigned int nLength, unsigned int nTimeout, int nFlags)
{
    if (CurrentHandle() == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return -1;
    }
    if (nLength == 0)
        return 0;
    int ready = IsReady(nTimeout, eSocketStatusRead);
    if (ready <= 0)
        return ready;
    int received = Receive(pData, nLength, nFlags);
    if (received != 0)
        return received;
    // The peer's orderly close: reported as a failure, so a caller tells it from a time-out (0).
    TranslateSocketError();
    return -1;
}

int COsSocket::IsReady(unsigned int nTimeout, ESocketStatus eStatus)
{
    SOCKET handle = CurrentHandle();
    if (handle == INVALID_SOCKET) {
        m_eError = eSocketErrorInvalid;
        return 0;
    }
    platform::SocketWaitResult result;
    int count;
    for (;;) {
        {
            // The wait is on the handle read at the start; one closed meanwhile fails as a closed one would.
            HandleInUse inUse(&m_hSocket);
            count = platform::SocketWait(inUse.get() == handle ? handle : INVALID_SOCKET, eStatus != eSocketStatusRead,
                                         nTimeout, &result);
        }
        if (count != -1)
            break;
        int error = platform::SocketLastError();
        if (error != platform::kWsaInterrupted && error != platform::kWsaWouldBlock) {
            TranslateSocketError(error);
            return -1;
        }
        platform::Sleep(1);
    }
    if (count == 0)
        return 0;
    if (result.inMain)
        return count;
    if (result.inException) {
        // A failed connection, or out-of-band data (whose pending error is 0).
        TranslateSocketError(result.pendingError);
        return -1;
    }
    return count;
}

int COsSocket::IsReadable(COsSocket* pFirst, COsSocket* pSecond, unsigned int nTimeout)
{
    const std::atomic<SOCKET> none{INVALID_SOCKET};
    HandleInUse first(pFirst != nullptr ? &pFirst->m_hSocket : &none);
    HandleInUse second(pSecond != nullptr ? &pSecond->m_hSocket : &none);
    bool firstReadable = false;
    bool secondReadable = false;
    int count;
    for (;;) {
        count = platform::SocketWaitReadable(first.get(), second.get(), nTimeout, &firstReadable, &secondReadable);
        int error = count == -1 ? platform::SocketLastError() : 0;
        if (error != platform::kWsaInterrupted && error != platform::kWsaWouldBlock)
            break;
    }
    if (count <= 0)
        return count;
    if (firstReadable)
        return 1;
    if (secondReadable)
        return 2;
    return 0;
}
