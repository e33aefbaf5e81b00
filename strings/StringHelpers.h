// The plain helper functions: bounded copy, append and fill, case-blind search, version compare, bounded format.
#pragma once

#include <cstddef>

#include "core/Types.h"

namespace veltrane {

// The library's bounded format. It shares its name with the C library's function, so it lives in this
// namespace: call it as veltrane::snprintf. The size bytes are zeroed first, the text is always
// terminated, and the result is the length of the text, 0 or a negative expansion result as it came,
// or -1 when the text needed more than size - 1 characters (never the length a larger target needed).
// A size of 0 writes nothing and gives -1.
VELTRANE_API int snprintf(char* target, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace veltrane
