// Internal: COsLogRecv, the receiver of the filter words that a connected log viewer sends, and the statics
// that it shares with the hub thread.
#pragma once

#include <atomic>
#include <string_view>

#include "core/CMonitoredSection.h"
#include "core/COsThreadTpl.h"
#include "logging/LogFilterList.h"

class COsSocket;

class COsLogRecv
{
public:
    explicit COsLogRecv(COsSocket* pSocket);
    ~COsLogRecv();

    // The thread's body: receives words, echoes them and toggles them in the filter list while m_bRunning is
    // set.
    void Run();
    // The word of one received chunk: its bytes up to the first NUL, or all of them.
    static std::string_view WordOf(const char* chunk, int length);

    COsSocket* m_pSocket;
    std::atomic<bool> m_bRunning;
    // Set, and the receiver ends, when the connection failed, so the hub need not wait for a failed send (up to
    // a heartbeat period) to notice that the viewer is gone.
    std::atomic<bool> m_bPeerGone;
    // Set, and the receiver ends, when the viewer ended its words in order: it may have gone, or it may only
    // have shut its sending side and still read. The hub tells the two apart with heartbeats.
    std::atomic<bool> m_bWordsEnded;
    // The heartbeats that the hub may still send to tell a viewer that ended its words from one that has gone;
    // used by the hub thread alone.
    int m_nProbesLeft;
    COsThreadTpl<COsLogRecv>* m_pThread;

private:
    // Writes the word and a line end to the process's standard output, never holding the receiver for long.
    void Echo(std::string_view word);

    // Set while the standard output takes nothing: later words are then written only as far as it takes them
    // at once, so that a flood of words is not slowed down by one wait each.
    bool m_bEchoBlocked;
};

// The receiver of the present connection, made and ended by the hub thread only.
extern COsLogRecv* s_LogRecv;
extern CMonitoredSection s_LogRecvSection;
// The viewer's filter words in order of arrival; a message passes if it contains any of them.
extern LogFilterList s_LogFilters;
extern CMonitoredSection s_LogFilterSection;
