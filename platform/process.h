// The process's own executable, and child processes whose first output is read through a pipe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// The process's id as the system numbers processes.
uint32_t CurrentProcessId();
// The full path of the process's executable as the kernel names it, "" when it cannot be read. A file
// removed or replaced while the program runs is still named by the path it was started from.
std::string ExecutablePath();

// A program for a child process: the absolute path of its file and its arguments, the program's own
// name not among them.
struct ChildProgram {
    std::string path;
    std::vector<std::string> arguments;
};

// Runs `program` from its absolute path, never found through a search, with a fixed minimal environment
// of the library's own instead of the caller's (standard input stays the caller's, standard output and
// standard error go to one pipe), waits up to `waitMilliseconds` for the child to end, then makes one read
// of at most `capacity` bytes that waits no longer than `readMilliseconds` for the first output. A child
// still running after the read is ended with everything it started, and every child is reaped: the call
// never leaves a process or a descriptor behind. False when the path is not absolute or the pipe, the
// child or the read failed; an empty `output` with true means the child wrote nothing in time.
// Host notes: POSIX gives the child PATH=/usr/bin:/bin and LC_ALL=C and nothing else, in a process group of
// its own; Windows gives it the system's root and directories only, quotes the arguments as the C runtime
// reads them back, runs it inside a job object, whose end kills what the child started, and gives an
// output the child wrote in UTF-16 (as the system's management tool does to a pipe) in UTF-8.
bool RunAndReadOnce(const ChildProgram& program, unsigned waitMilliseconds, unsigned readMilliseconds,
                    size_t capacity, std::string& output);

}  // namespace platform
