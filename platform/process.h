// The process's own executable, and child processes whose first output is read through a pipe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// The process's id as the system numbers processes.
uint32_t CurrentProcessId();
// The full path of the process's executable as the kernel names it, "" when it cannot be read.
std::string ExecutablePath();

// Runs `commandLine` through the host's shell with standard output and standard error on one pipe
// (standard input is the caller's), waits up to `waitMilliseconds` for the child to end, then makes one
// read of at most `capacity` bytes that waits no longer than `readMilliseconds` for the first output.
// A child still running after the read is killed with everything it started, and every child is
// reaped: the call never leaves a process or a descriptor behind. False when the pipe, the child or
// the read failed; an empty `output` with true means the child wrote nothing in time.
bool RunAndReadOnce(const std::string& commandLine, unsigned waitMilliseconds, unsigned readMilliseconds,
                    size_t capacity, std::string& output);

}  // namespace platform
