// COsLogRecv: receives the viewer's filter words, echoes them and toggles them in the filter list.
#include "logging/COsLogRecv.h"

#include <cstdio>
#include <cstring>

#include "core/SectionGuard.h"
#include "network/COsSocket.h"
#include "strings/COsString.h"

namespace {

constexpr unsigned int kChunkSize = 4096;
constexpr unsigned int kReceiveLimitMilliseconds = 10000;

}  // namespace

COsLogRecv::COsLogRecv(COsSocket* pSocket)
    : m_pSocket(pSocket), m_bRunning(false), m_bPeerGone(false), m_pThread(nullptr)
{
}

COsLogRecv::~COsLogRecv()
{
    delete m_pThread;
}

std::string COsLogRecv::WordOf(const char* chunk, int length)
{
    const void* firstNul = std::memchr(chunk, '\0', static_cast<size_t>(length));
    size_t wordLength = firstNul != nullptr ? static_cast<const char*>(firstNul) - chunk : static_cast<size_t>(length);
    return std::string(chunk, wordLength);
}

void COsLogRecv::ToggleFilter(const std::string& word)
{
    for (auto filter = s_LogFilters.begin(); filter != s_LogFilters.end(); ++filter) {
        if (COsString::Compare(*filter, word, false) == 0) {
            s_LogFilters.erase(filter);
            return;
        }
    }
    s_LogFilters.push_back(word);
}

void COsLogRecv::Run()
{
    char chunk[kChunkSize];
    while (m_bRunning) {
        std::memset(chunk, 0, sizeof(chunk));
        int received = m_pSocket->ReceiveWithTimeout(chunk, kChunkSize, kReceiveLimitMilliseconds, 0);
        if (received < 0) {
            // A closed or failed connection gives nothing more: the receiver ends, and the hub sees the
            // viewer gone at its next look instead of at the next failed send.
            m_bPeerGone = true;
            break;
        }
        if (received == 0)
            continue;
        std::string word = WordOf(chunk, received);
        std::fwrite(word.data(), 1, word.size(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);

        SectionGuard lock(s_LogFilterSection);
        ToggleFilter(word);
    }
    m_bRunning = false;
}
