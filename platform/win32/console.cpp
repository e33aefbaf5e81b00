// platform/win32/console.cpp — bounded writes to standard output.
// A write to a pipe that nobody reads blocks, and Windows has no time limit for a synchronous write, so the
// write runs on a helper thread that is cancelled (CancelSynchronousIo) when the time is up. The request lives
// on the heap with its own copy of the bytes, shared by both threads: whichever is done last releases it, so
// a helper that the cancel does not reach at once never touches freed memory.
#include "platform/console.h"

#include <windows.h>

#include <atomic>
#include <mutex>
#include <new>
#include <string>

namespace platform {

namespace {

// A cancelled write ends at once where the system can cancel it; not every system can (Wine cannot cancel a
// write to a pipe), so a write that goes on is left to its helper, and until it ends, the output counts as
// taking nothing: later calls return at once instead of each waiting for a write that cannot be cancelled.
constexpr DWORD kCancelWaitMilliseconds = 20;

std::mutex g_StuckMutex;
HANDLE g_StuckHelper = nullptr;

// True while an earlier write that could not be cancelled is still under way.
bool EarlierWriteStuck()
{
    std::lock_guard<std::mutex> lock(g_StuckMutex);
    if (g_StuckHelper == nullptr)
        return false;
    if (::WaitForSingleObject(g_StuckHelper, 0) != WAIT_OBJECT_0)
        return true;
    ::CloseHandle(g_StuckHelper);
    g_StuckHelper = nullptr;
    return false;
}

// The bytes are the request's own copy: a helper that the cancel does not reach outlives the caller's data.
struct WriteRequest
{
    HANDLE output;
    std::string bytes;
    std::atomic<DWORD> written{0};
    std::atomic<int> references{2};
};

void Release(WriteRequest* request)
{
    if (request->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete request;
}

DWORD WINAPI WriteAll(LPVOID raw)
{
    WriteRequest* request = static_cast<WriteRequest*>(raw);
    const DWORD size = static_cast<DWORD>(request->bytes.size());
    DWORD done = 0;
    while (done < size) {
        DWORD written = 0;
        if (!::WriteFile(request->output, request->bytes.data() + done, size - done, &written, nullptr) || written == 0)
            break;
        done += written;
        request->written.store(done, std::memory_order_release);
    }
    Release(request);
    return 0;
}

}  // namespace

size_t WriteStandardOutput(const void* data, size_t size, uint32_t milliseconds)
{
    HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    if (output == nullptr || output == INVALID_HANDLE_VALUE || size == 0 || EarlierWriteStuck())
        return 0;
    const size_t chunk = size > MAXDWORD ? MAXDWORD : size;
    WriteRequest* request = new (std::nothrow) WriteRequest{output, std::string(static_cast<const char*>(data), chunk)};
    if (request == nullptr)
        return 0;
    HANDLE helper = ::CreateThread(nullptr, 0, WriteAll, request, 0, nullptr);
    if (helper == nullptr) {
        delete request;
        return 0;
    }
    bool ended = ::WaitForSingleObject(helper, milliseconds) == WAIT_OBJECT_0;
    if (!ended) {
        ::CancelSynchronousIo(helper);
        ended = ::WaitForSingleObject(helper, kCancelWaitMilliseconds) == WAIT_OBJECT_0;
    }
    if (ended) {
        ::CloseHandle(helper);
    } else {
        std::lock_guard<std::mutex> lock(g_StuckMutex);
        if (g_StuckHelper != nullptr)
            ::CloseHandle(g_StuckHelper);
        g_StuckHelper = helper;
    }
    const size_t written = request->written.load(std::memory_order_acquire);
    Release(request);
    return written;
}

}  // namespace platform
