// Counts of the test process's own resources, for tests that check nothing leaks: open descriptors (on
// Windows, the process's handles, sockets among them) and threads.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>
#else
#include <sys/resource.h>
#endif

namespace veltrane_test {

#ifdef _WIN32

// The number of handles the process holds.
inline int OpenDescriptorCount()
{
    DWORD count = 0;
    return ::GetProcessHandleCount(::GetCurrentProcess(), &count) ? static_cast<int>(count) : -1;
}

// The number of threads in the process, or -1 if the system's snapshot cannot be taken.
inline int ThreadCount()
{
    HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return -1;
    const DWORD process = ::GetCurrentProcessId();
    int count = 0;
    THREADENTRY32 entry;
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == process)
            ++count;
    }
    ::CloseHandle(snapshot);
    return count;
}

// The most memory the process has held at once, in kilobytes (its peak working set).
inline long PeakMemoryKilobytes()
{
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    return ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof(counters))
               ? static_cast<long>(counters.PeakWorkingSetSize / 1024)
               : -1;
}

// The number of processes on the machine whose executable has the name `name` (any case).
inline int ProcessesNamed(const char* name)
{
    HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return -1;
    int count = 0;
    PROCESSENTRY32 entry;
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Process32First(snapshot, &entry); more; more = ::Process32Next(snapshot, &entry)) {
        if (::lstrcmpiA(entry.szExeFile, name) == 0)
            ++count;
    }
    ::CloseHandle(snapshot);
    return count;
}

#else

// The number of open file descriptors, not counting the one used to list them.
inline int OpenDescriptorCount()
{
    std::error_code error;
    int count = 0;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end; !error && entry != end;
         entry.increment(error))
        ++count;
    return count - 1;
}

// The most memory the process has held at once, in kilobytes (its peak resident set).
inline long PeakMemoryKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// The number of threads in the process, or -1 if /proc/self/status cannot be read.
inline int ThreadCount()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("Threads:", 0) == 0)
            return std::stoi(line.substr(8));
    }
    return -1;
}

#endif

}  // namespace veltrane_test
