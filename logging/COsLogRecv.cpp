// COsLogRecv: receives the viewer's filter words, echoes them and toggles them in the filter list.
#include "logging/COsLogRecv.h"

#include <cstring>

#include "core/SectionGuard.h"
#include "network/COsSocket.h"
#include "platform/console.h"

namespace {

constexpr unsigned int kChunkSize = 4096;
constexpr unsigned int kReceiveLimitMilliseconds = 10000;
// How long one word may wait for a standard output that takes nothing (nobody reads it): well below the
// second within which the hub has to end.
constexpr uint32_t kEchoWaitMilliseconds = 100;

}  // namespace

COsLogRecv::COsLogRecv(COsSocket* pSocket)
    : m_pSocket(pSocket), m_bRunning(false), m_bPeerGone(false), m_bWordsEnded(false), m_nProbesLeft(2),
      m_pThread(nullptr), m_bEchoBlocked(false)
{
}

COsLogRecv::~COsLogRecv()
{
    delete m_pThread;
}

std::string_view COsLogRecv::WordOf(const char* chunk, int length)
{
    const void* firstNul = std::memchr(chunk, '\0', static_cast<size_t>(length));
    size_t wordLength = firstNul != nullptr ? static_cast<const char*>(firstNul) - chunk : static_cast<size_t>(length);
    return std::string_view(chunk, wordLength);
}

void COsLogRecv::Echo(std::string_view word)
{
    // One write for the word and its line end, so that a word is never split from its line end by another
    // writer of the process.
    char line[kChunkSize + 1];
    if (word.size() > kChunkSize)
        return;  // a word is at most one receive long
    std::memcpy(line, word.data(), word.size());
    line[word.size()] = '\n';
    const size_t length = word.size() + 1;
    m_bEchoBlocked = platform::WriteStandardOutput(line, length, m_bEchoBlocked ? 0 : kEchoWaitMilliseconds) < length;
}

void COsLogRecv::Run()
{
    char chunk[kChunkSize];
    while (m_bRunning) {
        std::memset(chunk, 0, sizeof(chunk));
        // The wait and the receive are made apart, so that the viewer's orderly end of its words (a receive of
        // 0) is told from a failed connection: a viewer that only shut its sending side still reads.
        int ready = m_pSocket->IsReady(kReceiveLimitMilliseconds, eSocketStatusRead);
        if (ready == 0)
            continue;
        int received = ready < 0 ? -1 : m_pSocket->Receive(chunk, kChunkSize, 0);
        if (received <= 0) {
            // Nothing more can come: the receiver ends. A failed connection is gone at the hub's next look,
            // instead of at the next failed send.
            if (received == 0)
                m_bWordsEnded = true;
            else
                m_bPeerGone = true;
            break;
        }
        std::string_view word = WordOf(chunk, received);
        Echo(word);
        SectionGuard lock(s_LogFilterSection);
        s_LogFilters.Toggle(word);
    }
    m_bRunning = false;
}
