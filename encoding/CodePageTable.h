// Internal: the code page names a caller may give, and the pages they fold to.
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

// The name rows in their search order; the first row whose name matches wins.
extern const CodePageName kCodePageNames[];
extern const size_t kCodePageNameCount;

// The page of the first row whose name equals `name` apart from ASCII case; 65001 when none does or
// `name` is null.
unsigned LookupCodePageNumber(const char* name);

// The page that a looked-up number converts through: the Unicode pages and UTF-7 fold to 0.
unsigned FoldCodePage(unsigned page);

}  // namespace encoding
