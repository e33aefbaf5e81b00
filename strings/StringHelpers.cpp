// The plain helper functions.
#include "strings/StringHelpers.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "strings/TextBytes.h"

namespace {

// Copies source into [target, target + room), terminator included. True when the terminator fit;
// otherwise the last byte of the room becomes 0.
bool CopyBounded(char* target, size_t room, const char* source)
{
    size_t length = ::strnlen(source, room);
    if (length < room) {
        std::memcpy(target, source, length + 1);
        return true;
    }
    std::memcpy(target, source, room - 1);
    target[room - 1] = '\0';
    return false;
}

constexpr size_t kVersionComponentLimit = 31;

// Reads the component that starts at position and ends at dot as an integer. A dot right at the position
// is an empty component (0) and is stepped over; otherwise the position stops on the dot, so that the next
// round reads that dot as an empty component.
int ReadComponent(const char*& position, const char* dot)
{
    if (dot == position) {
        ++position;
        return 0;
    }
    char component[kVersionComponentLimit + 1] = {};
    size_t length = static_cast<size_t>(dot - position);
    std::memcpy(component, position, length < kVersionComponentLimit ? length : kVersionComponentLimit);
    position = dot;
    return std::atoi(component);
}

}  // namespace

int strcpyz(char* target, size_t size, const char* source)
{
    if (target == nullptr)
        return -2;
    if (source == nullptr)
        return -3;
    if (size == 0)
        return -1;
    return CopyBounded(target, size, source) ? 0 : -1;
}

int strcatz(char* target, size_t size, const char* source)
{
    if (target == nullptr || size == 0)
        return -1;
    size_t position = ::strnlen(target, size);
    if (position == size)
        position = size - 1;
    if (source == nullptr)
        return -2;
    return CopyBounded(target + position, size - position, source) ? 0 : -1;
}

int memsetz(void* target, size_t count, int value)
{
    if (target == nullptr)
        return -1;
    if (count != 0)
        std::memset(target, value, count);
    return 0;
}

char* stristr(const char* text, const char* pattern)
{
    if (text == nullptr || pattern == nullptr)
        return nullptr;
    size_t textLength = std::strlen(text);
    size_t patternLength = std::strlen(pattern);
    if (textLength == 0 || textLength < patternLength)
        return nullptr;
    // Trying the pattern at every position would cost the product of the lengths; this search is linear.
    const veltrane::text::PatternFinder finder(std::string_view(pattern, patternLength), true);
    size_t match = finder.Find(std::string_view(text, textLength), 0);
    return match == std::string_view::npos ? nullptr : const_cast<char*>(text + match);
}

int compareversion(const char* first, const char* second)
{
    if (first == nullptr || second == nullptr)
        return -1;
    const char* firstPosition = first;
    const char* secondPosition = second;
    while (*firstPosition != '\0' && *secondPosition != '\0') {
        const char* firstDot = std::strchr(firstPosition, '.');
        const char* secondDot = std::strchr(secondPosition, '.');
        if (firstDot == nullptr || secondDot == nullptr)
            break;
        int firstComponent = ReadComponent(firstPosition, firstDot);
        int secondComponent = ReadComponent(secondPosition, secondDot);
        if (firstComponent != secondComponent)
            return firstComponent < secondComponent ? -1 : 1;
    }
    double difference = std::atof(firstPosition) - std::atof(secondPosition);
    return difference < 0 ? -1 : (difference > 0 ? 1 : 0);
}

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
