// COsString: byte-string comparison, bounded copy, replace, repeated-pattern trims, case change and split.
#include "strings/COsString.h"

#include <cctype>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "strings/TextBytes.h"

using veltrane::text::ExactCompare;
using veltrane::text::FoldedCompare;

namespace {

constexpr size_t kWholeText = SIZE_MAX;
// The longest text whose length the `int` results can give.
constexpr size_t kMaxCountedLength = INT_MAX;

size_t SmallerSize(const std::string& first, const std::string& second)
{
    return first.size() < second.size() ? first.size() : second.size();
}

// Compares a window of pattern.size() bytes with the pattern as the two NUL-terminated texts they would be
// if copied out: a NUL in either ends it.
bool WindowMatches(const char* window, const std::string& pattern, bool ignoreCase)
{
    size_t length = pattern.size();
    if (ignoreCase)
        return FoldedCompare(window, pattern.c_str(), length, length) == 0;
    return ExactCompare(window, pattern.c_str(), length) == 0;
}

// The start of what stays once the pattern has been cut from the front as often as it stands there.
size_t TrimmedStart(const std::string& text, const std::string& pattern, bool ignoreCase)
{
    size_t length = pattern.size();
    if (text.empty() || length == 0)
        return 0;
    size_t start = 0;
    while (text.size() - start >= length && WindowMatches(text.data() + start, pattern, ignoreCase))
        start += length;
    return start;
}

// The end of what stays once the pattern has been cut from the back as often as it stands there. The
// working text is an index, never a copy, so a long run of patterns costs one pass.
size_t TrimmedEnd(const std::string& text, const std::string& pattern, bool ignoreCase)
{
    size_t length = pattern.size();
    size_t end = text.size();
    if (end == 0 || length == 0)
        return end;
    while (end >= length && WindowMatches(text.data() + end - length, pattern, ignoreCase))
        end -= length;
    return end;
}

// The shared tail of the `const char*` trims: the trimmed text goes through Copy into *result, which
// releases the buffer held there only now, after the text (which may be that buffer) has been read.
int StoreTrimmed(const std::string& trimmed, char** result)
{
    int copied = COsString::Copy(trimmed.c_str(), trimmed.size(), result);
    return copied < 0 ? copied : 0;
}

template <typename MapByte>
std::string MapBytes(const std::string& text, MapByte map)
{
    std::string mapped(text.c_str());
    for (char& byte : mapped)
        byte = static_cast<char>(map(static_cast<unsigned char>(byte)));
    return mapped;
}

}  // namespace

int COsString::Compare(const char* first, const char* second, bool ignoreCase)
{
    if (first == nullptr || second == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    return ignoreCase ? FoldedCompare(first, second, kWholeText, 0) : ExactCompare(first, second, kWholeText);
}

int COsString::Compare(const char* first, const char* second, size_t count, bool ignoreCase)
{
    if (first == nullptr || second == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    if (count == 0)
        return 0;
    // Comparing at most count bytes in place gives what comparing two bounded copies would.
    return ignoreCase ? FoldedCompare(first, second, count, 0) : ExactCompare(first, second, count);
}

int COsString::Compare(const std::string& first, const std::string& second, bool ignoreCase)
{
    return Compare(first, second, kWholeText, ignoreCase);
}

int COsString::Compare(const std::string& first, const std::string& second, size_t count, bool ignoreCase)
{
    if (count == 0)
        return 0;
    if (ignoreCase)
        return FoldedCompare(first.c_str(), second.c_str(), count, SmallerSize(first, second));
    return ExactCompare(first.c_str(), second.c_str(), count);
}

int COsString::Copy(const char* source, char** result)
{
    return Copy(source, kWholeText, result);
}

int COsString::Copy(const char* source, size_t count, char** result)
{
    delete[] *result;
    *result = nullptr;
    if (source == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    // The text is measured no further than one byte past what the result can count.
    size_t length = veltrane::text::BoundedLength(source, count <= kMaxCountedLength ? count : kMaxCountedLength + 1);
    if (length > kMaxCountedLength)
        return OS_ERR_OUT_OF_RANGE;
    char* buffer = new char[length + 1]();
    std::memcpy(buffer, source, length);
    *result = buffer;
    return static_cast<int>(length);
}

std::string COsString::Copy(const std::string& source)
{
    return source;
}

std::string COsString::Copy(const std::string& source, size_t count)
{
    return source.substr(0, count);
}

std::string COsString::Replace(const std::string& text, const std::string& pattern, const std::string& replacement)
{
    if (text.empty() || pattern.empty())
        return text;
    // A linear search: a text built to make std::string::find compare the whole pattern at every
    // position costs no more than any other.
    const veltrane::text::PatternFinder finder(pattern, false);
    std::string replaced;
    replaced.reserve(text.size());
    size_t position = 0;
    for (size_t hit = finder.Find(text, 0); hit != std::string::npos; hit = finder.Find(text, position)) {
        replaced.append(text, position, hit - position);
        replaced.append(replacement);
        // The search goes on in the original text behind the hit, which is where a search behind the
        // inserted replacement would start: inserted text is never searched.
        position = hit + pattern.size();
    }
    replaced.append(text, position, std::string::npos);
    return replaced;
}

std::string COsString::Trim(const std::string& text)
{
    static const std::string space(" ");
    size_t start = TrimmedStart(text, space, false);
    std::string rest = text.substr(start);
    return rest.substr(0, TrimmedEnd(rest, space, false));
}

int COsString::Trim(const char* text, char** result)
{
    if (text == nullptr || result == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    return StoreTrimmed(Trim(std::string(text)), result);
}

std::string COsString::TrimStart(const std::string& text, std::string pattern)
{
    return TrimStart(text, std::move(pattern), false);
}

std::string COsString::TrimStart(const std::string& text, std::string pattern, bool ignoreCase)
{
    return text.substr(TrimmedStart(text, pattern, ignoreCase));
}

int COsString::TrimStart(const char* text, const char* pattern, char** result)
{
    return TrimStart(text, pattern, false, result);
}

int COsString::TrimStart(const char* text, const char* pattern, bool ignoreCase, char** result)
{
    if (text == nullptr || pattern == nullptr || result == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    return StoreTrimmed(TrimStart(std::string(text), std::string(pattern), ignoreCase), result);
}

std::string COsString::TrimEnd(const std::string& text, std::string pattern)
{
    return TrimEnd(text, std::move(pattern), false);
}

std::string COsString::TrimEnd(const std::string& text, std::string pattern, bool ignoreCase)
{
    return text.substr(0, TrimmedEnd(text, pattern, ignoreCase));
}

int COsString::TrimEnd(const char* text, const char* pattern, char** result)
{
    return TrimEnd(text, pattern, false, result);
}

int COsString::TrimEnd(const char* text, const char* pattern, bool ignoreCase, char** result)
{
    if (text == nullptr || pattern == nullptr || result == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    return StoreTrimmed(TrimEnd(std::string(text), std::string(pattern), ignoreCase), result);
}

std::string COsString::ToUpper(const std::string& text)
{
    return MapBytes(text, [](unsigned char byte) { return std::toupper(byte); });
}

std::string COsString::ToLower(const std::string& text)
{
    return MapBytes(text, [](unsigned char byte) { return std::tolower(byte); });
}

std::vector<std::string> COsString::Split(const std::string& text, const std::string& separator)
{
    return Split(text, separator, false, true);
}

std::vector<std::string> COsString::Split(const std::string& text, const std::string& separator, bool dropEmpty,
                                          bool wholeSeparator)
{
    std::vector<std::string> tokens;
    veltrane::text::ForEachToken(text, separator, wholeSeparator, [&](std::string_view token) {
        if (!dropEmpty || !token.empty())
            tokens.emplace_back(token);
    });
    return tokens;
}
