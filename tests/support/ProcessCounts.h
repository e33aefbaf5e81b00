// Counts of the test process's own resources, read from /proc/self, for tests that check nothing leaks.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace veltrane_test {

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

}  // namespace veltrane_test
