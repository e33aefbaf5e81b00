// The plain helper functions.
#include "strings/StringHelpers.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace veltrane {

int snprintf(char* target, size_t size, const char* format, ...)
{
    if (target == nullptr || size == 0)
        return -1;
    std::memset(target, 0, size);
    va_list arguments;
    va_start(arguments, format);
    int needed = std::vsnprintf(target, size, format, arguments);
    va_end(arguments);
    if (needed > 0 && static_cast<size_t>(needed) > size - 1)
        return -1;
    if (needed <= 0)
        return needed;
    // A %c of value 0 leaves a NUL inside the text; the count stops there.
    return static_cast<int>(std::strlen(target));
}

}  // namespace veltrane
