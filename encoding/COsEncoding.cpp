// COsEncoding: the checks, the measuring and writing passes, and the two-leg and counted forms.
#include "encoding/COsEncoding.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

#include "encoding/CodePageConversion.h"
#include "encoding/CodePageTable.h"
#include "encoding/Utf8Utf16.h"
#include "platform/memory.h"

namespace {

constexpr size_t kMaxTextUnits = 0x7FFFFFFF;
// The count of the forms without one: the whole text, up to its terminator.
constexpr size_t kWholeText = SIZE_MAX;

template <typename Unit>
int EmptyResult(Unit** result)
{
    *result = new Unit[1]();
    return 0;
}

// The length of a text up to its terminator, but no more than `limit` units; no unit past either is read.
size_t TextLength(const char* text, size_t limit)
{
    const void* terminator = std::memchr(text, '\0', limit);
    return terminator ? static_cast<size_t>(static_cast<const char*>(terminator) - text) : limit;
}

size_t TextLength(const wchar16* text, size_t limit)
{
    return encoding::Utf16Length(text, limit);
}

// The checks that come before every conversion, in their order: null arguments, the length limit, the
// empty text (which still gets a one-unit buffer). Then `convert(length)` converts the text's first
// `length` units and gives the result. The text is read up to its terminator, or only `count` units of
// it, and never further than one unit past the longest text that a result can count.
template <typename Input, typename Output, typename Convert>
int CheckedConversion(const Input* text, size_t count, Output** result, Convert convert)
{
    if (text == nullptr || result == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    size_t length = TextLength(text, count <= kMaxTextUnits ? count : kMaxTextUnits + 1);
    if (length > kMaxTextUnits)
        return OS_ERR_OUT_OF_RANGE;
    if (length == 0)
        return EmptyResult(result);
    return convert(length);
}

// A result buffer of `units` units, not cleared: every conversion writes each unit, terminator included.
template <typename Unit>
std::unique_ptr<Unit[]> NewResultBuffer(size_t units)
{
    std::unique_ptr<Unit[]> buffer(new Unit[units]);
    platform::PrepareLargeWrite(buffer.get(), units * sizeof(Unit));
    return buffer;
}

// Converts `length` units of `text` through page `codePage` into a new result buffer: measures with a null
// target, allocates exactly the measured size and converts again into it.
template <typename From, typename To>
int ConvertToResult(unsigned codePage, const From* text, size_t length, To** result)
{
    size_t needed = encoding::ConvertCodePage(codePage, text, length, static_cast<To*>(nullptr), 0);
    if (needed < 1 || needed > static_cast<size_t>(INT_MAX))
        return OS_ERR_ENCODING;
    std::unique_ptr<To[]> buffer = NewResultBuffer<To>(needed);
    if (encoding::ConvertCodePage(codePage, text, length, buffer.get(), needed) != needed) {
        *result = nullptr;
        return OS_ERR_ENCODING;
    }
    *result = buffer.release();
    return static_cast<int>(needed);
}

// Well-formed UTF-8, nearly every text, is measured by counting its lead bytes, several times faster than
// decoding it; the writing pass confirms the count by finding no ill-formed sequence. A text that holds
// one, whose replacement characters that count does not know, is measured by decoding.
int DecodeUtf8ToResult(const char* text, size_t length, wchar16** result)
{
    size_t needed = encoding::Utf16UnitsIfWellFormed(text, length) + 1;
    if (needed <= static_cast<size_t>(INT_MAX)) {
        std::unique_ptr<wchar16[]> buffer = NewResultBuffer<wchar16>(needed);
        if (encoding::WellFormedUtf8ToUtf16(text, length, buffer.get(), needed)) {
            buffer[needed - 1] = 0;
            *result = buffer.release();
            return static_cast<int>(needed);
        }
    }
    return ConvertToResult(encoding::kCodePageUtf8, text, length, result);
}

// The two-leg conversions: `firstLeg(&wide)` makes a wide text, `secondLeg(wide)` converts it on as a
// text of its own. The wide buffer is released on every path, and a failed first leg gives
// OS_ERR_ENCODING whatever it reported.
template <typename FirstLeg, typename SecondLeg>
int ThroughUtf16(FirstLeg firstLeg, SecondLeg secondLeg)
{
    wchar16* wide = nullptr;
    int status = firstLeg(&wide);
    std::unique_ptr<wchar16[]> held(wide);
    if (status < 0)
        return OS_ERR_ENCODING;
    return secondLeg(held.get());
}

}  // namespace

unsigned int COsEncoding::LookupCodePage(const char* codePage)
{
    return encoding::LookupCodePageNumber(codePage);
}

unsigned int COsEncoding::GetLangIDValue(const char* codePage)
{
    return encoding::FoldCodePage(LookupCodePage(codePage));
}

int COsEncoding::UTF8ToUTF16(const char* text, wchar16** result)
{
    return CheckedConversion(text, kWholeText, result,
                             [&](size_t length) { return DecodeUtf8ToResult(text, length, result); });
}

int COsEncoding::UTF8ToUnicode(const char* text, wchar16** result)
{
    return UTF8ToUTF16(text, result);
}

int COsEncoding::UTF16ToUTF8(const wchar16* text, char** result)
{
    return UTF16ToUTF8(text, kWholeText, result);
}

// The count is the caller's word: a NUL inside it ends the text, and no unit behind it is read.
int COsEncoding::UTF16ToUTF8(const wchar16* text, size_t count, char** result)
{
    return CheckedConversion(text, count, result, [&](size_t length) {
        return ConvertToResult(encoding::kCodePageUtf8, text, length, result);
    });
}

int COsEncoding::UnicodeToUTF8(const wchar16* text, char** result)
{
    return UTF16ToUTF8(text, result);
}

int COsEncoding::UnicodeToUTF8(const wchar16* text, size_t count, char** result)
{
    return UTF16ToUTF8(text, count, result);
}

int COsEncoding::UnicodeToAnsi(const wchar16* text, const char* codePage, char** result)
{
    return CheckedConversion(text, kWholeText, result, [&](size_t length) {
        return ConvertToResult(GetLangIDValue(codePage), text, length, result);
    });
}

int COsEncoding::AnsiToUnicode(const char* text, const char* codePage, wchar16** result)
{
    return CheckedConversion(text, kWholeText, result, [&](size_t length) {
        return ConvertToResult(GetLangIDValue(codePage), text, length, result);
    });
}

int COsEncoding::UTF8ToAnsi(const char* text, const char* codePage, char** result)
{
    return CheckedConversion(text, kWholeText, result, [&](size_t length) {
        return ThroughUtf16([&](wchar16** wide) { return DecodeUtf8ToResult(text, length, wide); },
                            [&](const wchar16* wide) { return UnicodeToAnsi(wide, codePage, result); });
    });
}

int COsEncoding::AnsiToUTF8(const char* text, const char* codePage, char** result)
{
    return AnsiToUTF8(text, kWholeText, codePage, result);
}

int COsEncoding::AnsiToUTF8(const char* text, size_t count, const char* codePage, char** result)
{
    return CheckedConversion(text, count, result, [&](size_t length) {
        return ThroughUtf16(
            [&](wchar16** wide) { return ConvertToResult(GetLangIDValue(codePage), text, length, wide); },
            [&](const wchar16* wide) { return UTF16ToUTF8(wide, result); });
    });
}
