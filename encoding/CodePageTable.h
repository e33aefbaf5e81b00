// Internal: the code page names a caller may give, and the host charset behind each code page number.
#pragma once

#include <cstddef>

namespace encoding {

constexpr unsigned kCodePageAnsi = 0;
constexpr unsigned kCodePageWindows1252 = 1252;
constexpr unsigned kCodePageUtf8 = 65001;

struct CodePageName {
    const char* name;
    unsigned page;
};

struct CodePageCharset {
    unsigned page;
    const char* charset;  // nullptr: this host has no table for the page
};

// The name rows in their search order; the first row whose name matches wins.
extern const CodePageName kCodePageNames[];
extern const size_t kCodePageNameCount;

// Every page number the name rows can give, with the host charset chosen for it.
extern const CodePageCharset kCodePageCharsets[];
extern const size_t kCodePageCharsetCount;

// The page of the first row whose name equals `name` apart from ASCII case; 65001 when none does or
// `name` is null.
unsigned LookupCodePageNumber(const char* name);

// The page that a looked-up number converts through: the Unicode pages and UTF-7 fold to 0.
unsigned FoldCodePage(unsigned page);

// The host charset for `page`, or nullptr when this host has none. Page 0 is Windows-1252.
const char* CharsetOfCodePage(unsigned page);

}  // namespace encoding
