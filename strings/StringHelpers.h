// The plain helper functions: bounded copy, append and fill, case-blind search, version compare, bounded format.
#pragma once

#include <cstddef>

#include "../core/Types.h"

// Copies source into target, terminator included, writing at most size bytes. Gives 0 when it fit; -1
// when it did not (the target then holds the first size - 1 bytes and a terminator); -2 for a null target;
// -3 for a null source, with the target untouched. A size of 0 writes nothing and gives -1.
VELTRANE_API int strcpyz(char* target, size_t size, const char* source);

// Appends source behind target's text within size bytes; a target with no terminator in its size bytes is
// appended to at its last byte. Gives 0 when the source's terminator fit, else -1 with the last byte set
// to 0; -1 for a null target; -2 for a null source, with the target untouched. A size of 0 writes nothing
// and gives -1.
VELTRANE_API int strcatz(char* target, size_t size, const char* source);

// Fills count bytes of target with value. Gives 0, or -1 for a null target.
VELTRANE_API int memsetz(void* target, size_t count, int value);

// The first place in text where pattern matches with ASCII letters in either case, or null (also for a
// null argument, an empty text or a text shorter than the pattern). An empty pattern matches at the start.
VELTRANE_API char* stristr(const char* text, const char* pattern);

// -1, 0 or 1 as the dotted version first is below, equal to or above second; a null argument gives -1.
// Components compare as integers up to the last dot of the text with fewer dots; the rest of both texts
// then compares as decimal numbers. A component holds at most 31 characters.
VELTRANE_API int compareversion(const char* first, const char* second);

namespace veltrane {

// The library's bounded format. It shares its name with the C library's function, so it lives in this
// namespace: call it as veltrane::snprintf. The size bytes are zeroed first, the text is always
// terminated, and the result is the length of the text, 0 or a negative expansion result as it came,
// or -1 when the text needed more than size - 1 characters (never the length a larger target needed).
// A size of 0 or a null target writes nothing and gives -1.
VELTRANE_API int snprintf(char* target, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace veltrane
