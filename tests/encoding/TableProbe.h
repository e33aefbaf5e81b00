// The encoding tests' window on COsEncoding's name lookup, which the class opens to this one struct.
#pragma once

#include <Veltrane.h>

struct COsEncodingTableProbe {
    static unsigned Lookup(const char* name) { return COsEncoding::LookupCodePage(name); }
    static unsigned LangId(const char* name) { return COsEncoding::GetLangIDValue(name); }
};
