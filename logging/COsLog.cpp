// COsLog: the hub thread, the message queue, the port file and the send loop with its heartbeat.
#include "logging/COsLog.h"

#include <cstring>
#include <new>

#include "core/SectionGuard.h"
#include "filesystem/COsFile.h"
#include "logging/COsLogRecv.h"
#include "network/COsSocket.h"
#include "platform/filehead.h"
#include "platform/sync.h"

// The library's statics come up in this order: the hub's singleton section, the receiver's section, the
// filter list with its section.
COsLog* COsLog::s_OsLog = nullptr;
CMonitoredSection COsLog::s_MonitoredSection;
std::atomic<int> COsLog::s_LogOutputPort{-1};
COsLogRecv* s_LogRecv = nullptr;
CMonitoredSection s_LogRecvSection;
LogFilterList s_LogFilters;
CMonitoredSection s_LogFilterSection;

namespace {

constexpr int kDefaultBasePort = 61234;
constexpr int kHighestBasePort = 65525;
constexpr int kHighestPort = 65535;
constexpr size_t kPortFileBytesRead = 64;
constexpr int kPortsTried = 10;
constexpr unsigned int kListenReceiveBufferSize = 0x6400000;
constexpr char kPortFileName[] = "LogOutputPort.txt";
constexpr char kHeartbeat[] = "\x07";
constexpr uint32_t kSendPauseMilliseconds = 10;
constexpr int kIdlePollsBeforeHeartbeat = 300;
// A viewer that stops reading holds a send at most this long; then it counts as gone, so that neither
// the hub nor FreeInstance can be held by it.
constexpr unsigned int kSendLimitMilliseconds = 500;

// The port that a port file's text begins with, read as atoi reads (leading blanks, a sign, digits), or -1
// when the text holds no number or one outside the ports. Unlike atoi it cannot overflow: "4294972296" is
// out of range, not 5000.
int PortOfText(const std::string& text)
{
    size_t next = 0;
    while (next < text.size() && (text[next] == ' ' || (text[next] >= '\t' && text[next] <= '\r')))
        ++next;
    bool negative = false;
    if (next < text.size() && (text[next] == '+' || text[next] == '-'))
        negative = text[next++] == '-';
    int value = 0;
    bool digits = false;
    for (; next < text.size() && text[next] >= '0' && text[next] <= '9'; ++next) {
        digits = true;
        if (value <= kHighestPort)
            value = value * 10 + (text[next] - '0');
    }
    return !digits || negative || value > kHighestPort ? -1 : value;
}

// The base port from the port file, or the default when the file is missing, is no regular file, or holds
// no port in range. Only the first bytes are read: a port needs five digits, and a few blanks may lead.
int ReadBasePort()
{
    std::string text;
    int basePort = platform::ReadFileHead(kPortFileName, kPortFileBytesRead, text) ? PortOfText(text) : -1;
    if (basePort < 1 || basePort > kHighestBasePort)
        basePort = kDefaultBasePort;
    return basePort;
}

}  // namespace

COsLog* COsLog::GetInstance()
{
    SectionGuard lock(s_MonitoredSection);
    if (s_OsLog != nullptr)
        return s_OsLog;
    COsLog* hub = nullptr;
    try {
        hub = new COsLog();
    } catch (const std::bad_alloc&) {
        return nullptr;  // memory ran out: no hub, as a pointer result says
    }
    if (hub->m_pListenSocket == nullptr) {
        delete hub;
        return nullptr;
    }
    s_OsLog = hub;
    return s_OsLog;
}

void COsLog::FreeInstance()
{
    SectionGuard lock(s_MonitoredSection);
    if (s_OsLog == nullptr)
        return;
    delete s_OsLog;
    s_OsLog = nullptr;
}

int COsLog::GetLogOutputPort()
{
    return s_LogOutputPort.load(std::memory_order_acquire);
}

COsLog::COsLog()
    : m_pListenSocket(nullptr), m_bRunning(false), m_bConnected(false), m_pLogMsgs(new std::deque<std::string>()),
      m_pThread(nullptr)
{
    // Made last: it is the one part that an exception thrown above would leave behind.
    m_pListenSocket = COsSocket::CreateInstance();
}

COsLog::~COsLog()
{
    m_bRunning = false;
    // Closing the listening socket makes a waiting Accept fail, so the hub thread sees the end.
    if (m_pListenSocket != nullptr)
        m_pListenSocket->ShutDown();
    if (m_pThread != nullptr) {
        // Without limit: the thread runs this object's Run, so it must have ended before the object goes. Its
        // every wait is bounded (the send's time limit, the receiver's woken wait), so it ends well within a
        // second.
        m_pThread->Finish(platform::kWaitForever);
        delete m_pThread;
        m_pThread = nullptr;
    }
    COsSocket::FreeInstance(&m_pListenSocket);
    delete m_pLogMsgs;
    m_pLogMsgs = nullptr;
    {
        // No viewer is left to use the words; what a viewer made the hub hold goes with the hub.
        SectionGuard lock(s_LogFilterSection);
        s_LogFilters.Clear();
    }
    s_OsLog = nullptr;
}

int COsLog::Start()
{
    if (m_bRunning)
        return 0;
    int basePort = ReadBasePort();
    if (m_pListenSocket == nullptr || !m_pListenSocket->Create(eSocketTypeTcp, kListenReceiveBufferSize, 0))
        return OS_ERR_NETWORK;
    int boundPort = -1;
    for (int port = basePort; port < basePort + kPortsTried; ++port) {
        if (m_pListenSocket->Bind("localhost", static_cast<unsigned short>(port))) {
            boundPort = port;
            break;
        }
    }
    if (boundPort < 0)
        return OS_ERR_NETWORK;
    s_LogOutputPort.store(boundPort, std::memory_order_release);
    if (!m_pListenSocket->Listen() || !m_pListenSocket->SetBlocking(true))
        return OS_ERR_NETWORK;

    m_bRunning = true;
    if (m_pThread == nullptr)
        m_pThread = COsThreadTpl<COsLog>::CreateThread(this, &COsLog::Run);
    if (m_pThread == nullptr || !m_pThread->Start())
        m_bRunning = false;
    return 0;
}

bool COsLog::IsRunning() const
{
    return m_bRunning;
}

void COsLog::LogMsgPush(const char* text)
{
    // Without a viewer the text is dropped without a copy; the flag is looked at again inside the section,
    // which decides. The copy is made before the section is taken, so producers and the hub thread wait on
    // each other only for the append itself.
    if (text == nullptr || !m_bConnected)
        return;
    std::string message(text);
    SectionGuard lock(m_MsgSection);
    if (m_bConnected)
        m_pLogMsgs->push_back(std::move(message));
}

void COsLog::WriteLogToPort(const char* text)
{
    LogMsgPush(text);
}

std::string COsLog::LogMsgPoll()
{
    SectionGuard lock(m_MsgSection);
    if (m_pLogMsgs->empty())
        return std::string();
    std::string message = std::move(m_pLogMsgs->front());
    m_pLogMsgs->pop_front();
    return message;
}

int COsLog::WriteLogToFile(const char* name, const char* text)
{
    if (name == nullptr || text == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    size_t written = 0;
    return COsFile::Write(name, "a+", text, std::strlen(text), written);
}

bool COsLog::IsLogMsgEmpty()
{
    SectionGuard lock(m_MsgSection);
    return m_pLogMsgs->empty();
}

void COsLog::Run()
{
    while (m_bRunning) {
        COsSocket* client = COsSocket::CreateInstance();
        m_bConnected = false;
        if (client != nullptr && m_pListenSocket->Accept(client, nullptr, 0, nullptr)) {
            m_bConnected = true;
            ServeViewer(client);
        }
        COsSocket::FreeInstance(&client);
    }
}

void COsLog::ServeViewer(COsSocket* client)
{
    {
        SectionGuard lock(s_LogFilterSection);
        s_LogFilters.Clear();
    }
    StartReceiver(client);

    while (m_bRunning) {
        std::string message = LogMsgPoll();
        if (message.empty()) {
            message = kHeartbeat;  // the heartbeat is never filtered
        } else if (!PassesFilters(message)) {
            continue;
        }
        if (!SendToViewer(client, message) || !PauseAfterSend() || !WaitForMessage())
            break;
    }

    {
        SectionGuard lock(m_MsgSection);
        m_pLogMsgs->clear();
    }
    EndReceiver(client);
}

// The pause after each send, which keeps a viewer at about 100 messages a second, looked through in
// 1 ms steps so that a viewer gone meanwhile ends the connection at once; false in that case.
bool COsLog::PauseAfterSend()
{
    for (uint32_t waited = 0; waited < kSendPauseMilliseconds; ++waited) {
        if (!m_bRunning || !ViewerStillThere())
            return false;
        COsThread::Sleep(1);
    }
    return true;
}

// Waits until a message is queued or a heartbeat is due; false when the hub ends or the viewer is gone.
bool COsLog::WaitForMessage()
{
    for (int poll = 0; poll < kIdlePollsBeforeHeartbeat && IsLogMsgEmpty(); ++poll) {
        if (!m_bRunning || !ViewerStillThere())
            return false;
        COsThread::Sleep(kSendPauseMilliseconds);
    }
    return m_bRunning && ViewerStillThere();
}

bool COsLog::ViewerStillThere()
{
    // Only this thread makes and ends the receiver, so it reads the pointer without the section.
    if (s_LogRecv == nullptr)
        return true;
    if (s_LogRecv->m_bPeerGone)
        return false;
    // A viewer that ended its words may have gone, or may still read. A heartbeat to a gone viewer brings back
    // a reset, which the next send meets: two heartbeats, one look apart, end the connection of a gone viewer
    // at once, and a viewer that still reads is served on.
    if (s_LogRecv->m_bWordsEnded && s_LogRecv->m_nProbesLeft > 0) {
        --s_LogRecv->m_nProbesLeft;
        return SendToViewer(s_LogRecv->m_pSocket, kHeartbeat);
    }
    return true;
}

bool COsLog::PassesFilters(const std::string& message)
{
    SectionGuard lock(s_LogFilterSection);
    return s_LogFilters.Passes(message);
}

bool COsLog::SendToViewer(COsSocket* client, const std::string& message)
{
    // A message only partly sent within the limit would leave the stream cut, so it ends the connection.
    unsigned int length = static_cast<unsigned int>(message.size());
    return client->SendWithTimeout(message.data(), length, kSendLimitMilliseconds, 0) == static_cast<int>(length);
}

void COsLog::StartReceiver(COsSocket* client)
{
    SectionGuard lock(s_LogRecvSection);
    if (s_LogRecv == nullptr && (s_LogRecv = new (std::nothrow) COsLogRecv(client)) == nullptr)
        return;  // the connection goes on without a receiver; filter words go unread
    if (!s_LogRecv->m_bRunning) {
        s_LogRecv->m_bRunning = true;
        if (s_LogRecv->m_pThread == nullptr)
            s_LogRecv->m_pThread = COsThreadTpl<COsLogRecv>::CreateThread(s_LogRecv, &COsLogRecv::Run);
        if (s_LogRecv->m_pThread == nullptr || !s_LogRecv->m_pThread->Start())
            s_LogRecv->m_bRunning = false;  // the connection goes on; filter words go unread
    }
}

void COsLog::EndReceiver(COsSocket* client)
{
    SectionGuard lock(s_LogRecvSection);
    if (s_LogRecv == nullptr)
        return;
    s_LogRecv->m_bRunning = false;
    if (s_LogRecv->m_pThread != nullptr) {
        // Shutting the connection down wakes a receiver that waits for words, so its 10 s wait is never
        // waited out; one that saw the viewer go has ended already.
        if (s_LogRecv->m_pThread->IsRunning())
            client->ShutDown();
        // Without limit, as the receiver object goes next; its waits are bounded (the woken receive, the echo).
        s_LogRecv->m_pThread->Finish(platform::kWaitForever);
        delete s_LogRecv->m_pThread;
        s_LogRecv->m_pThread = nullptr;
    }
    delete s_LogRecv;
    s_LogRecv = nullptr;
}
