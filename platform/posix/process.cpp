// platform/posix/process.cpp — /proc/self/exe, and children started with posix_spawn on a pipe.
// The child gets its own process group, so that a shell's grandchildren die with it; the parent
// closes its copy of the write end, so a read never waits on a writer the parent itself holds. The
// child is the file at its absolute path and sees a fixed environment, never the caller's.
#include "platform/process.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <vector>

namespace platform {

namespace {

class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : m_nDescriptor(descriptor) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_nDescriptor; }
    void Close()
    {
        if (m_nDescriptor >= 0)
            ::close(m_nDescriptor);
        m_nDescriptor = -1;
    }

private:
    int m_nDescriptor;
};

long long MonotonicMilliseconds()
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void SleepMilliseconds(long milliseconds)
{
    timespec pause{milliseconds / 1000, (milliseconds % 1000) * 1000000};
    while (::nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
}

// True when the child ended (and was reaped) within the time.
bool WaitForChild(pid_t child, unsigned milliseconds)
{
    const long long deadline = MonotonicMilliseconds() + milliseconds;
    for (;;) {
        int status = 0;
        const pid_t result = ::waitpid(child, &status, WNOHANG);
        if (result == child || (result < 0 && errno != EINTR))
            return true;
        if (MonotonicMilliseconds() >= deadline)
            return false;
        SleepMilliseconds(2);
    }
}

void KillAndReap(pid_t child)
{
    ::kill(-child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

bool ReadOnce(int descriptor, unsigned milliseconds, size_t capacity, std::string& output)
{
    pollfd readable{descriptor, POLLIN, 0};
    int ready;
    do {
        ready = ::poll(&readable, 1, static_cast<int>(milliseconds));
    } while (ready < 0 && errno == EINTR);
    if (ready < 0)
        return false;
    if (ready == 0)
        return true;
    std::vector<char> buffer(capacity);
    ssize_t count;
    do {
        count = ::read(descriptor, buffer.data(), capacity);
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        return false;
    output.assign(buffer.data(), static_cast<size_t>(count));
    return true;
}

// What every child gets instead of the caller's environment: a caller's PATH, locale or shell start-up
// variables must not choose what runs or what it prints.
char kSearchPath[] = "PATH=/usr/bin:/bin";
char kLocale[] = "LC_ALL=C";

bool Spawn(const ChildProgram& program, int writeEnd, pid_t& child)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&actions) != 0)
        return false;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return false;
    }
    bool prepared = posix_spawn_file_actions_adddup2(&actions, writeEnd, STDOUT_FILENO) == 0 &&
                    posix_spawn_file_actions_adddup2(&actions, writeEnd, STDERR_FILENO) == 0 &&
                    posix_spawnattr_setpgroup(&attributes, 0) == 0 &&
                    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP) == 0;
    bool started = false;
    if (prepared) {
        std::vector<std::string> texts;
        texts.reserve(program.arguments.size() + 1);
        texts.push_back(program.path);
        texts.insert(texts.end(), program.arguments.begin(), program.arguments.end());
        std::vector<char*> arguments;
        for (std::string& text : texts)
            arguments.push_back(text.data());
        arguments.push_back(nullptr);
        char* environment[] = {kSearchPath, kLocale, nullptr};
        // posix_spawn, unlike posix_spawnp, never searches: the path is the file that runs.
        started = ::posix_spawn(&child, program.path.c_str(), &actions, &attributes, arguments.data(), environment) == 0;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return started;
}

// A path the child can be started from: absolute, and without a NUL that would cut it or an argument.
bool Runnable(const ChildProgram& program)
{
    if (program.path.empty() || program.path[0] != '/' || program.path.find('\0') != std::string::npos)
        return false;
    for (const std::string& argument : program.arguments)
        if (argument.find('\0') != std::string::npos)
            return false;
    return true;
}

// The kernel marks the name of a program whose file was removed or replaced while it runs (an update of a
// running service) with " (deleted)". The mark is no part of the path the program was started from; only a
// file that really bears such a name, and is the running program, keeps it.
std::string WithoutRemovalMark(std::string name)
{
    static const std::string mark = " (deleted)";
    if (name.size() <= mark.size() || name.compare(name.size() - mark.size(), mark.size(), mark) != 0)
        return name;
    struct stat running;
    struct stat named;
    if (::stat("/proc/self/exe", &running) == 0 && ::stat(name.c_str(), &named) == 0 &&
        running.st_dev == named.st_dev && running.st_ino == named.st_ino)
        return name;
    name.resize(name.size() - mark.size());
    return name;
}

}  // namespace

uint32_t CurrentProcessId()
{
    return static_cast<uint32_t>(getpid());
}

std::string ExecutablePath()
{
    std::vector<char> buffer(4096);
    for (;;) {
        const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0)
            return std::string();
        if (static_cast<size_t>(length) < buffer.size())
            return WithoutRemovalMark(std::string(buffer.data(), static_cast<size_t>(length)));
        buffer.resize(buffer.size() * 2);
    }
}

bool RunAndReadOnce(const ChildProgram& program, unsigned waitMilliseconds, unsigned readMilliseconds,
                    size_t capacity, std::string& output)
{
    if (!Runnable(program))
        return false;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return false;
    Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);

    pid_t child = 0;
    if (!Spawn(program, writeEnd.Get(), child))
        return false;
    writeEnd.Close();

    const bool ended = WaitForChild(child, waitMilliseconds);
    const bool read = ReadOnce(readEnd.Get(), ended ? 0 : readMilliseconds, capacity, output);
    if (!ended)
        KillAndReap(child);
    return read;
}

}  // namespace platform
