// Memory services: hints about how a large buffer is about to be used.
#pragma once

#include <cstddef>

namespace platform {

// Tells the host that the freshly allocated buffer at `start` is about to be written from end to end,
// so that it may back it with large pages and fill it with fewer page faults. Buffers below a few
// megabytes are left alone; the contents and the way the buffer is freed do not change.
// Host notes: POSIX advises transparent huge pages (madvise MADV_HUGEPAGE) on the whole 2 MiB ranges
// inside the buffer; where the kernel has them disabled the advice is refused and ignored. Windows gives
// large pages only to memory allocated as such by a privileged process, so there the hint does nothing.
void PrepareLargeWrite(void* start, size_t bytes);

}  // namespace platform
