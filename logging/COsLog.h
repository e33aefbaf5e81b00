// COsLog: the process-wide log hub that hands pushed messages to one connected log viewer over TCP.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>

#include "../core/CMonitoredSection.h"
#include "../core/COsThreadTpl.h"
#include "../core/Types.h"

class COsSocket;

class VELTRANE_API COsLog
{
public:
    // The hub, made on first use, or null when memory ran out. It listens only after Start.
    static COsLog* GetInstance();
    // Ends the hub, its threads and its connections; does nothing if there is none. Returns within a second.
    static void FreeInstance();
    // -1 until a bind has succeeded, afterwards the last port bound.
    static int GetLogOutputPort();

    // Listens on the first free port of ten from the base (61234, or the number in "LogOutputPort.txt" of the
    // current directory) and starts the hub thread. 0, or OS_ERR_NETWORK when no port could be opened.
    // The hub listens on every interface and asks a viewer for no credentials: whoever reaches the port reads
    // the messages, so keep it behind the machine's firewall.
    int Start();
    bool IsRunning() const;
    // Queues a copy of text while a viewer is attached; otherwise, or for null, the text is dropped: what is
    // pushed before a viewer has connected is never seen. No line end is added.
    void LogMsgPush(const char* text);
    // The same as LogMsgPush.
    void WriteLogToPort(const char* text);
    // Takes the oldest queued message out, or gives "" when none is queued.
    std::string LogMsgPoll();
    // Appends text to the file (COsFile::Write with "a+", under the file's range lock) and gives that
    // status; OS_ERR_NULL_ARGUMENT for a null name or text. Needs neither Start nor a viewer.
    int WriteLogToFile(const char* name, const char* text);

    // The hub owns a socket, a thread and a queue: it is never copied.
    COsLog& operator=(const COsLog&) = delete;
    COsLog(const COsLog&) = delete;

protected:
    // The hub thread's body: one viewer connection after the other, until the hub ends.
    void Run();

private:
    COsLog();
    ~COsLog();

    bool IsLogMsgEmpty();
    // The parts of Run: serving one accepted viewer, and the steps that end its connection.
    void ServeViewer(COsSocket* client);
    void StartReceiver(COsSocket* client);
    void EndReceiver(COsSocket* client);
    bool SendToViewer(COsSocket* client, const std::string& message);
    bool PassesFilters(const std::string& message);
    bool ViewerStillThere();
    bool PauseAfterSend();
    bool WaitForMessage();

    COsSocket* m_pListenSocket;
    // Read by client threads and the hub thread alike, hence atomic.
    std::atomic<bool> m_bRunning;
    std::atomic<bool> m_bConnected;
    // A deque: taking the head costs the same however long the queue has grown.
    std::deque<std::string>* m_pLogMsgs;
    CMonitoredSection m_MsgSection;
    COsThreadTpl<COsLog>* m_pThread;

    static COsLog* s_OsLog;
    static CMonitoredSection s_MonitoredSection;
    static std::atomic<int> s_LogOutputPort;
};
