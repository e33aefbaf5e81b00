// COsString: byte-string comparison, bounded copy, replace, repeated-pattern trims, case change and split.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "../core/Types.h"

// Text is bytes throughout: no operation here knows an encoding. The `const char*` forms hand their text
// back in a buffer made with new[], zero-terminated, that the caller releases with delete[]; the incoming
// buffer of the out-parameter is released first, so it must be null or such a buffer (COsEncoding, unlike
// this class, never looks at it). The case flag true ignores the case of ASCII letters.
class VELTRANE_API COsString
{
public:
    // -1, 0 or 1 for exact bytes (unsigned); with ignoreCase the difference of the first pair of bytes
    // that differ after folding ASCII letters to lower case. A null pointer gives OS_ERR_NULL_ARGUMENT.
    static int Compare(const char* first, const char* second, bool ignoreCase);
    // The same over at most count bytes of each; a count of 0 gives 0 (after the null test).
    static int Compare(const char* first, const char* second, size_t count, bool ignoreCase);
    // The standard-string forms compare the contents up to their first NUL.
    static int Compare(const std::string& first, const std::string& second, bool ignoreCase);
    static int Compare(const std::string& first, const std::string& second, size_t count, bool ignoreCase);

    // Releases *result, then stores a new buffer holding the source (at most count bytes of it).
    // Returns the length copied, or with *result left null OS_ERR_NULL_ARGUMENT for a null source and
    // OS_ERR_OUT_OF_RANGE for a copy longer than 0x7FFFFFFF bytes, which the result cannot count.
    static int Copy(const char* source, char** result);
    static int Copy(const char* source, size_t count, char** result);
    static std::string Copy(const std::string& source);
    static std::string Copy(const std::string& source, size_t count);

    // Every hit of pattern, left to right, replaced; text that a replacement brought in is never searched.
    static std::string Replace(const std::string& text, const std::string& pattern, const std::string& replacement);

    // Removes the space character 0x20, repeatedly, from both ends; tabs and line ends stay.
    static std::string Trim(const std::string& text);
    // Returns 0 or OS_ERR_NULL_ARGUMENT (then *result is left alone); text may be the buffer in *result.
    // A trimmed text longer than 0x7FFFFFFF bytes gives OS_ERR_OUT_OF_RANGE, as Copy does.
    static int Trim(const char* text, char** result);

    // Removes the whole pattern, as a unit and repeatedly, from the start of the text.
    static std::string TrimStart(const std::string& text, std::string pattern);
    static std::string TrimStart(const std::string& text, std::string pattern, bool ignoreCase);
    static int TrimStart(const char* text, const char* pattern, char** result);
    static int TrimStart(const char* text, const char* pattern, bool ignoreCase, char** result);

    // Removes the whole pattern, as a unit and repeatedly, from the end of the text.
    static std::string TrimEnd(const std::string& text, std::string pattern);
    static std::string TrimEnd(const std::string& text, std::string pattern, bool ignoreCase);
    static int TrimEnd(const char* text, const char* pattern, char** result);
    static int TrimEnd(const char* text, const char* pattern, bool ignoreCase, char** result);

    // The contents up to the first NUL with each byte passed through toupper / tolower.
    static std::string ToUpper(const std::string& text);
    static std::string ToLower(const std::string& text);

    // Tokens between whole separators, empty tokens kept.
    static std::vector<std::string> Split(const std::string& text, const std::string& separator);
    // Without wholeSeparator, any one byte of separator separates. A text ending in a separator gives a
    // last, empty token, and an empty text one empty token, unless dropEmpty removes them.
    static std::vector<std::string> Split(const std::string& text, const std::string& separator, bool dropEmpty,
                                          bool wholeSeparator);

private:
    COsString() {}
    ~COsString() {}
};
