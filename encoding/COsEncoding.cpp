// COsEncoding: the checks, the measuring and writing passes, and the two-leg and counted forms.
#include "encoding/COsEncoding.h"

#include <climits>
#include <cstring>
#include <memory>

#include "encoding/CodePageConversion.h"
#include "encoding/CodePageTable.h"
#include "encoding/Utf8Utf16.h"
#include "platform/memory.h"

namespace {

constexpr size_t kMaxTextUnits = 0x7FFFFFFF;

template <typename Unit>
int EmptyResult(Unit** result)
{
    *result = new Unit[1]();
    return 0;
}

size_t TextLength(const char* text)
{
    return std::strlen(text);
}

size_t TextLength(const wchar16* text)
{
    return encoding::Utf16Length(text);
}

// The checks that come before every conversion, in their order: null arguments, the length limit,
// the empty text (which still gets a one-unit buffer). True when the conversion is to go on with
// `length`; otherwise `status` is the result.
template <typename Input, typename Output>
bool PrepareConversion(const Input* text, Output** result, size_t& length, int& status)
{
    if (text == nullptr || result == nullptr) {
        status = OS_ERR_NULL_ARGUMENT;
        return false;
    }
    length = TextLength(text);
    if (length > kMaxTextUnits) {
        status = OS_ERR_OUT_OF_RANGE;
        return false;
    }
    if (length == 0) {
        status = EmptyResult(result);
        return false;
    }
    return true;
}

// A result buffer of `units` units, not cleared: every conversion writes each unit, terminator included.
template <typename Unit>
std::unique_ptr<Unit[]> NewResultBuffer(size_t units)
{
    std::unique_ptr<Unit[]> buffer(new Unit[units]);
    platform::PrepareLargeWrite(buffer.get(), units * sizeof(Unit));
    return buffer;
}

// Measures with a null target, allocates exactly the measured size and converts again into it.
// `convert(target, capacity)` gives the units needed with the terminator, or 0 on failure.
template <typename Unit, typename Convert>
int ConvertInTwoPasses(Convert convert, Unit** result)
{
    size_t needed = convert(nullptr, 0);
    if (needed < 1 || needed > static_cast<size_t>(INT_MAX))
        return OS_ERR_ENCODING;
    std::unique_ptr<Unit[]> buffer = NewResultBuffer<Unit>(needed);
    if (convert(buffer.get(), needed) != needed) {
        *result = nullptr;
        return OS_ERR_ENCODING;
    }
    *result = buffer.release();
    return static_cast<int>(needed);
}

int DecodeToResult(unsigned codePage, const char* text, size_t length, wchar16** result)
{
    return ConvertInTwoPasses<wchar16>(
        [&](wchar16* target, size_t capacity) {
            return encoding::DecodeCodePage(codePage, text, length, target, capacity);
        },
        result);
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
    return DecodeToResult(encoding::kCodePageUtf8, text, length, result);
}

int EncodeToResult(unsigned codePage, const wchar16* text, size_t length, char** result)
{
    return ConvertInTwoPasses<char>(
        [&](char* target, size_t capacity) {
            return encoding::EncodeCodePage(codePage, text, length, target, capacity);
        },
        result);
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
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    return DecodeUtf8ToResult(text, length, result);
}

int COsEncoding::UTF8ToUnicode(const char* text, wchar16** result)
{
    return UTF8ToUTF16(text, result);
}

int COsEncoding::UTF16ToUTF8(const wchar16* text, char** result)
{
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    return EncodeToResult(encoding::kCodePageUtf8, text, length, result);
}

int COsEncoding::UTF16ToUTF8(const wchar16* text, size_t count, char** result)
{
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    // The count is the caller's word, not clipped to the text: a NUL inside it ends the conversion.
    std::unique_ptr<wchar16[]> prefix(new wchar16[count + 1]());
    std::memcpy(prefix.get(), text, count * sizeof(wchar16));
    return UTF16ToUTF8(prefix.get(), result);
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
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    return EncodeToResult(GetLangIDValue(codePage), text, length, result);
}

int COsEncoding::AnsiToUnicode(const char* text, const char* codePage, wchar16** result)
{
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    return DecodeToResult(GetLangIDValue(codePage), text, length, result);
}

int COsEncoding::UTF8ToAnsi(const char* text, const char* codePage, char** result)
{
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    wchar16* wide = nullptr;
    if (UTF8ToUTF16(text, &wide) < 0) {
        delete[] wide;
        return OS_ERR_ENCODING;  // whatever the first leg reported
    }
    status = UnicodeToAnsi(wide, codePage, result);
    delete[] wide;
    return status;
}

int COsEncoding::AnsiToUTF8(const char* text, const char* codePage, char** result)
{
    size_t length;
    int status;
    if (!PrepareConversion(text, result, length, status))
        return status;
    wchar16* wide = nullptr;
    if (AnsiToUnicode(text, codePage, &wide) < 0) {
        delete[] wide;
        return OS_ERR_ENCODING;  // whatever the first leg reported
    }
    status = UTF16ToUTF8(wide, result);
    delete[] wide;
    return status;
}

int COsEncoding::AnsiToUTF8(const char* text, size_t count, const char* codePage, char** result)
{
    if (text == nullptr || result == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    const void* terminator = std::memchr(text, '\0', count);
    size_t length = terminator ? static_cast<size_t>(static_cast<const char*>(terminator) - text) : count;
    if (length > kMaxTextUnits)
        return OS_ERR_OUT_OF_RANGE;
    if (length == 0)
        return EmptyResult(result);
    std::unique_ptr<char[]> prefix(new char[length + 1]());
    std::memcpy(prefix.get(), text, length);
    return AnsiToUTF8(prefix.get(), codePage, result);
}
