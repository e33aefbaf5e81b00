// platform/posix/console.cpp — bounded writes to standard output.
// A blocking write to a full pipe or a stopped terminal waits for ever and cannot be interrupted without a
// signal handler of the library's own, so pipes and terminals are written through a non-blocking open file of
// their own; the descriptor 1 shares its open file with other processes, whose flags must not change. A
// write to a pipe without a reader raises SIGPIPE even so: it is blocked for the write and taken back.
#include "platform/console.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

namespace {

constexpr char kOwnOutputName[] = "/proc/self/fd/1";

class Deadline
{
public:
    explicit Deadline(uint32_t milliseconds) : m_end(Now() + static_cast<int64_t>(milliseconds)) {}
    // Milliseconds left, 0 once the time has passed.
    int Remaining() const
    {
        int64_t left = m_end - Now();
        return left <= 0 ? 0 : left > INT_MAX ? INT_MAX : static_cast<int>(left);
    }

private:
    static int64_t Now()
    {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    }
    int64_t m_end;
};

// Keeps SIGPIPE blocked in the calling thread for its scope and takes back one that arose meanwhile, unless
// one was pending already (that one is the process's own business).
class SigPipeHeld
{
public:
    SigPipeHeld()
    {
        sigemptyset(&m_pipeOnly);
        sigaddset(&m_pipeOnly, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipeOnly, &m_previous);
        sigset_t pending;
        m_wasPending = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    }
    ~SigPipeHeld()
    {
        sigset_t pending;
        if (!m_wasPending && sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1) {
            const timespec now{0, 0};
            while (sigtimedwait(&m_pipeOnly, nullptr, &now) < 0 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }
    SigPipeHeld(const SigPipeHeld&) = delete;
    SigPipeHeld& operator=(const SigPipeHeld&) = delete;

private:
    sigset_t m_pipeOnly;
    sigset_t m_previous;
    bool m_wasPending;
};

// Waits until `descriptor` takes bytes or the time is up; false when it is up or the wait failed.
bool WaitWritable(int descriptor, const Deadline& deadline)
{
    for (;;) {
        int left = deadline.Remaining();
        if (left == 0)
            return false;
        pollfd entry{descriptor, POLLOUT, 0};
        int ready = poll(&entry, 1, left);
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

// Writes through `writeStep` (at most `step` bytes at a time), waiting between steps while the output takes
// nothing, until all is written, the time is up or the output fails.
template <class WriteStep>
size_t WriteBounded(int descriptor, const char* bytes, size_t size, size_t step, const Deadline& deadline,
                    WriteStep writeStep)
{
    size_t done = 0;
    bool saidWritable = false;
    while (done < size) {
        size_t wanted = size - done < step ? size - done : step;
        ssize_t taken = writeStep(bytes + done, wanted);
        if (taken > 0) {
            done += static_cast<size_t>(taken);
            saidWritable = false;
            continue;
        }
        if (taken < 0 && errno == EINTR)
            continue;
        if (taken < 0 && errno != EAGAIN && errno != EWOULDBLOCK)
            break;
        if (saidWritable) {
            // A stopped terminal reports that it takes bytes and then takes none: pace the retries.
            const timespec pause{0, 1000000L};
            nanosleep(&pause, nullptr);
        }
        if (!(saidWritable = WaitWritable(descriptor, deadline)))
            break;
    }
    return done;
}

}  // namespace

size_t WriteStandardOutput(const void* data, size_t size, uint32_t milliseconds)
{
    const char* bytes = static_cast<const char*>(data);
    struct stat status;
    if (size == 0 || fstat(STDOUT_FILENO, &status) != 0)
        return 0;
    const Deadline deadline(milliseconds);
    if (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode)) {
        // Files take their bytes without waiting on a reader.
        return WriteBounded(STDOUT_FILENO, bytes, size, size, deadline,
                            [](const char* from, size_t count) { return write(STDOUT_FILENO, from, count); });
    }
    if (S_ISSOCK(status.st_mode)) {
        return WriteBounded(STDOUT_FILENO, bytes, size, size, deadline, [](const char* from, size_t count) {
            return send(STDOUT_FILENO, from, count, MSG_DONTWAIT | MSG_NOSIGNAL);
        });
    }
    SigPipeHeld noSignal;
    int own = open(kOwnOutputName, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own >= 0) {
        size_t done = WriteBounded(own, bytes, size, size, deadline,
                                   [own](const char* from, size_t count) { return write(own, from, count); });
        close(own);
        return done;
    }
    if (errno == ENXIO)
        return 0;  // a pipe whose reader has gone
    // Without an open file of its own: a pipe that is writable takes up to PIPE_BUF bytes without waiting.
    return WriteBounded(STDOUT_FILENO, bytes, size, PIPE_BUF, deadline, [&](const char* from, size_t count) -> ssize_t {
        if (!WaitWritable(STDOUT_FILENO, deadline)) {
            errno = ETIMEDOUT;
            return -1;
        }
        return write(STDOUT_FILENO, from, count);
    });
}

}  // namespace platform
