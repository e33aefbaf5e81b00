// Memory hints on POSIX: transparent huge pages for large result buffers.
#include "platform/memory.h"

#include <cstdint>
#include <sys/mman.h>

namespace platform {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;
// Below this a buffer spans too few huge pages for the advice to pay for the system call.
constexpr size_t kWorthAdvising = 4 * kHugePage;

}  // namespace

void PrepareLargeWrite(void* start, size_t bytes)
{
    if (bytes < kWorthAdvising)
        return;
    uintptr_t first = (reinterpret_cast<uintptr_t>(start) + kHugePage - 1) & ~(kHugePage - 1);
    uintptr_t last = (reinterpret_cast<uintptr_t>(start) + bytes) & ~(kHugePage - 1);
    if (last > first)
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);  // a refusal only costs speed
}

}  // namespace platform
