// COsEncoding: text between UTF-8, UTF-16 and the legacy code pages, named as callers name them.
#pragma once

#include <cstddef>

#include "../core/Types.h"

// Every conversion stores a new buffer (array new, zero-terminated, released by the caller with delete[])
// into its out-parameter without looking at what the parameter held, and returns the units written with
// the terminator, 0 for an empty text, or OS_ERR_OUT_OF_RANGE, OS_ERR_NULL_ARGUMENT, OS_ERR_ENCODING.
// The out-parameter holds a buffer exactly when the result is 0 or above.
class VELTRANE_API COsEncoding
{
public:
    static int UTF8ToUTF16(const char* text, wchar16** result);
    static int UTF8ToUnicode(const char* text, wchar16** result);

    static int UTF16ToUTF8(const wchar16* text, char** result);
    // The first `count` units of `text`, which must all be readable; a NUL among them ends the text.
    static int UTF16ToUTF8(const wchar16* text, size_t count, char** result);
    static int UnicodeToUTF8(const wchar16* text, char** result);
    static int UnicodeToUTF8(const wchar16* text, size_t count, char** result);

    // A code page is named as in docs/codepages.md ("GBK", "shift_jis", "windows-1251"), apart from ASCII
    // case. A null or unknown name, a number ("936" is no name) and the Unicode pages mean the ANSI code
    // page (Windows-1252), without a failure: a misspelt name converts as Windows-1252.
    static int UnicodeToAnsi(const wchar16* text, const char* codePage, char** result);
    static int AnsiToUnicode(const char* text, const char* codePage, wchar16** result);
    static int UTF8ToAnsi(const char* text, const char* codePage, char** result);
    static int AnsiToUTF8(const char* text, const char* codePage, char** result);
    // The first `count` bytes of `text`, or fewer where its terminator comes first.
    static int AnsiToUTF8(const char* text, size_t count, const char* codePage, char** result);

private:
    friend struct COsEncodingTableProbe;  // lets the tests read the name lookup directly

    COsEncoding() {}
    ~COsEncoding() {}

    // The number to convert through: the table's number, with the Unicode pages folded to 0.
    static unsigned int GetLangIDValue(const char* codePage);
    // The number of the first table row whose name matches apart from ASCII case; 65001 for none.
    static unsigned int LookupCodePage(const char* codePage);
};
