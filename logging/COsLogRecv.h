// Internal: COsLogRecv, the receiver of the filter words that a connected log viewer sends, and the statics
// that it shares with the hub thread.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "core/CMonitoredSection.h"
#include "core/COsThreadTpl.h"

class COsSocket;

class COsLogRecv
{
public:
    explicit COsLogRecv(COsSocket* pSocket);
    ~COsLogRecv();

    // The thread's body: receives words and toggles them in the filter list while m_bRunning is set.
    void Run();
    // Switches a filter word on, or off when it is already in the list.
    static void ToggleFilter(const std::string& word);
    // The word of one received chunk: its bytes up to the first NUL, or all of them.
    static std::string WordOf(const char* chunk, int length);

    COsSocket* m_pSocket;
    std::atomic<bool> m_bRunning;
    // Set, and the receiver ends, when the viewer closed its side or the connection failed, so the hub need
    // not wait for a failed send (up to a heartbeat period) to notice that the viewer is gone.
    std::atomic<bool> m_bPeerGone;
    COsThreadTpl<COsLogRecv>* m_pThread;
};

// The receiver of the present connection, made and ended by the hub thread only.
extern COsLogRecv* s_LogRecv;
extern CMonitoredSection s_LogRecvSection;
// The viewer's filter words in order of arrival; a message passes if it contains any of them.
extern std::vector<std::string> s_LogFilters;
extern CMonitoredSection s_LogFilterSection;
