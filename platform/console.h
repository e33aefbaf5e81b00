// The process's standard output, as a place for short lines that must never hold up the thread writing them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Writes up to `size` bytes to the process's standard output, waiting at most `milliseconds` for it to take
// them, and gives the count it took: fewer than `size` when the output would not take more in time (nobody
// reads it), has no reader any more, is closed or fails. Never raises a signal for an output whose reader
// has gone. The bytes go straight to the output: what the C library buffers for stdout is neither flushed
// nor waited for.
// Host notes: POSIX writes to pipes and terminals through a non-blocking open file of their own (from
// /proc/self/fd/1), since a blocking write to a full pipe or a stopped terminal cannot be given a time limit;
// where that open is refused, it waits for the output to be writable and writes at most PIPE_BUF bytes at a
// time. SIGPIPE is blocked for the write and a SIGPIPE that the write raised is taken back.
size_t WriteStandardOutput(const void* data, size_t size, uint32_t milliseconds);

}  // namespace platform
