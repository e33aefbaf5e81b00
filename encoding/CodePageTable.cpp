// The code page name table, the folding of the Unicode pages, and the host charset behind each page.
#include "encoding/CodePageTable.h"

namespace encoding {

const CodePageName kCodePageNames[] = {
    {"IBM037", 37}, {"IBM437", 437}, {"IBM500", 500}, {"ASMO-708", 708},
    {"DOS-720", 720}, {"ibm737", 737}, {"ibm775", 775}, {"ibm850", 850},
    {"ibm852", 852}, {"IBM855", 855}, {"ibm857", 857}, {"IBM00858", 858},
    {"IBM860", 860}, {"ibm861", 861}, {"DOS-862", 862}, {"IBM863", 863},
    {"IBM864", 864}, {"IBM865", 865}, {"cp866", 866}, {"ibm869", 869},
    {"IBM870", 870}, {"windows-874", 874}, {"cp875", 875}, {"shift_jis", 932},
    {"gb2312", 936}, {"ks_c_5601-1987", 949}, {"big5", 950}, {"IBM1026", 1026},
    {"IBM01047", 1047}, {"IBM01140", 1140}, {"IBM01141", 1141}, {"IBM01142", 1142},
    {"IBM01143", 1143}, {"IBM01144", 1144}, {"IBM01145", 1145}, {"IBM01146", 1146},
    {"IBM01147", 1147}, {"IBM01148", 1148}, {"IBM01149", 1149}, {"utf-16", 1200},
    {"unicodeFFFE", 1201}, {"windows-1250", 1250}, {"windows-1251", 1251}, {"windows-1252", 1252},
    {"windows-1253", 1253}, {"windows-1254", 1254}, {"windows-1255", 1255}, {"windows-1256", 1256},
    {"windows-1257", 1257}, {"windows-1258", 1258}, {"Johab", 1361}, {"macintosh", 10000},
    {"x-mac-japanese", 10001}, {"x-mac-chinesetrad", 10002}, {"x-mac-korean", 10003}, {"x-mac-arabic", 10004},
    {"x-mac-hebrew", 10005}, {"x-mac-greek", 10006}, {"x-mac-cyrillic", 10007}, {"x-mac-chinesesimp", 10008},
    {"x-mac-romanian", 10010}, {"x-mac-ukrainian", 10017}, {"x-mac-thai", 10021}, {"x-mac-ce", 10029},
    {"x-mac-icelandic", 10079}, {"x-mac-turkish", 10081}, {"x-mac-croatian", 10082}, {"utf-32", 12000},
    {"utf-32BE", 12001}, {"x-Chinese_CNS", 20000}, {"x-cp20001", 20001}, {"x_Chinese-Eten", 20002},
    {"x-cp20003", 20003}, {"x-cp20004", 20004}, {"x-cp20005", 20005}, {"x-IA5", 20105},
    {"x-IA5-German", 20106}, {"x-IA5-Swedish", 20107}, {"x-IA5-Norwegian", 20108}, {"us-ascii", 20127},
    {"x-cp20261", 20261}, {"x-cp20269", 20269}, {"IBM273", 20273}, {"IBM277", 20277},
    {"IBM278", 20278}, {"IBM280", 20280}, {"IBM284", 20284}, {"IBM285", 20285},
    {"IBM290", 20290}, {"IBM297", 20297}, {"IBM420", 20420}, {"IBM423", 20423},
    {"IBM424", 20424}, {"x-EBCDIC-KoreanExtended", 20833}, {"IBM-Thai", 20838}, {"koi8-r", 20866},
    {"IBM871", 20871}, {"IBM880", 20880}, {"IBM905", 20905}, {"IBM00924", 20924},
    {"EUC-JP", 20932}, {"x-cp20936", 20936}, {"x-cp20949", 20949}, {"cp1025", 21025},
    {"koi8-u", 21866}, {"iso-8859-1", 28591}, {"iso-8859-2", 28592}, {"iso-8859-3", 28593},
    {"iso-8859-4", 28594}, {"iso-8859-5", 28595}, {"iso-8859-6", 28596}, {"iso-8859-7", 28597},
    {"iso-8859-8", 28598}, {"iso-8859-9", 28599}, {"iso-8859-13", 28603}, {"iso-8859-15", 28605},
    {"x-Europa", 29001}, {"iso-8859-8-i", 38598}, {"csISO2022JP", 50221}, {"iso-2022-jp", 50222},
    {"iso-2022-kr", 50225}, {"x-cp50227", 50227}, {"EUC-CN", 51936}, {"euc-kr", 51949},
    {"hz-gb-2312", 52936}, {"GB18030", 54936}, {"x-iscii-de", 57002}, {"x-iscii-be", 57003},
    {"x-iscii-ta", 57004}, {"x-iscii-te", 57005}, {"x-iscii-as", 57006}, {"x-iscii-or", 57007},
    {"x-iscii-ka", 57008}, {"x-iscii-ma", 57009}, {"x-iscii-gu", 57010}, {"x-iscii-pa", 57011},
    {"utf-7", 65000}, {"utf-8", 65001}, {"GBK", 936}, {"Unicode", 12000},
    {"CP_ACP", 0},
};
const size_t kCodePageNameCount = sizeof kCodePageNames / sizeof kCodePageNames[0];

// Each charset is chosen for agreeing with Windows' own table byte by byte, not for its name: CP932 rather
// than SHIFT_JIS (which reads 0x5C as the yen sign), CP936 rather than GBK or GB18030, CP1252 rather than
// ISO-8859-1. Pages 0 and 1252 use the library's own Windows-1252 table, which agrees with CP1252.
// The Unicode pages (1200, 12000, 12001, 65000, 65001) are folded to 0 before a charset is needed;
// 1201 is not folded, and has no charset, so naming it fails.
const CodePageCharset kCodePageCharsets[] = {
    {0, "CP1252"}, {37, "IBM037"}, {437, "CP437"}, {500, "IBM500"}, {708, "ASMO_449"}, {720, nullptr},
    {737, "CP737"}, {775, "CP775"}, {850, "CP850"}, {852, "CP852"}, {855, "CP855"}, {857, "CP857"},
    {858, "IBM858"}, {860, "CP860"}, {861, "CP861"}, {862, "CP862"}, {863, "CP863"}, {864, "CP864"},
    {865, "CP865"}, {866, "CP866"}, {869, "CP869"}, {870, "IBM870"}, {874, "CP874"}, {875, "CP875"},
    {932, "CP932"}, {936, "CP936"}, {949, "CP949"}, {950, "CP950"}, {1026, "IBM1026"}, {1047, "IBM1047"},
    {1140, "IBM1140"}, {1141, "IBM1141"}, {1142, "IBM1142"}, {1143, "IBM1143"}, {1144, "IBM1144"},
    {1145, "IBM1145"}, {1146, "IBM1146"}, {1147, "IBM1147"}, {1148, "IBM1148"}, {1149, "IBM1149"},
    {1200, nullptr}, {1201, nullptr},
    {1250, "CP1250"}, {1251, "CP1251"}, {1252, "CP1252"}, {1253, "CP1253"}, {1254, "CP1254"},
    {1255, "CP1255"}, {1256, "CP1256"}, {1257, "CP1257"}, {1258, "CP1258"}, {1361, "JOHAB"},
    {10000, "MACINTOSH"}, {10001, "CP932"}, {10002, "BIG5"}, {10003, "EUC-KR"}, {10004, nullptr},
    {10005, nullptr}, {10006, nullptr}, {10007, "CP10007"}, {10008, "EUC-CN"}, {10010, nullptr},
    {10017, "MACUKRAINIAN"}, {10021, "TIS-620"}, {10029, "MAC-CENTRALEUROPE"}, {10079, "MAC-IS"},
    {10081, nullptr}, {10082, nullptr}, {12000, nullptr}, {12001, nullptr},
    {20000, nullptr}, {20001, nullptr}, {20002, nullptr}, {20003, nullptr}, {20004, nullptr}, {20005, nullptr},
    {20105, nullptr}, {20106, "ISO646-DE"}, {20107, "ISO646-SE"}, {20108, "ISO646-NO"}, {20127, "ASCII"},
    {20261, "T.61-8BIT"}, {20269, "ISO_6937"}, {20273, "IBM273"}, {20277, "IBM277"}, {20278, "IBM278"},
    {20280, "IBM280"}, {20284, "IBM284"}, {20285, "IBM285"}, {20290, "IBM290"}, {20297, "IBM297"},
    {20420, "IBM420"}, {20423, "IBM423"}, {20424, "IBM424"}, {20833, nullptr}, {20838, nullptr},
    {20866, "KOI8-R"}, {20871, "IBM871"}, {20880, "IBM880"}, {20905, "IBM905"}, {20924, nullptr},
    {20932, "EUC-JP"}, {20936, "EUC-CN"}, {20949, "EUC-KR"}, {21025, "IBM1025"}, {21866, "KOI8-U"},
    {28591, "ISO-8859-1"}, {28592, "ISO-8859-2"}, {28593, "ISO-8859-3"}, {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"}, {28596, "ISO-8859-6"}, {28597, "ISO-8859-7"}, {28598, "ISO-8859-8"},
    {28599, "ISO-8859-9"}, {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"}, {29001, nullptr},
    {38598, "ISO-8859-8"}, {50221, "ISO-2022-JP"}, {50222, "ISO-2022-JP"}, {50225, "ISO-2022-KR"},
    {50227, "ISO-2022-CN"}, {51936, "EUC-CN"}, {51949, "EUC-KR"}, {52936, nullptr}, {54936, "GB18030"},
    {57002, nullptr}, {57003, nullptr}, {57004, nullptr}, {57005, nullptr}, {57006, nullptr},
    {57007, nullptr}, {57008, nullptr}, {57009, nullptr}, {57010, nullptr}, {57011, nullptr},
    {65000, nullptr}, {65001, nullptr},
};
const size_t kCodePageCharsetCount = sizeof kCodePageCharsets / sizeof kCodePageCharsets[0];

namespace {

char AsciiLower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualIgnoringAsciiCase(const char* left, const char* right)
{
    for (; *left != '\0' && *right != '\0'; ++left, ++right) {
        if (AsciiLower(*left) != AsciiLower(*right))
            return false;
    }
    return *left == *right;
}

}  // namespace

unsigned LookupCodePageNumber(const char* name)
{
    if (name == nullptr)
        return kCodePageUtf8;
    for (const CodePageName& row : kCodePageNames) {
        if (EqualIgnoringAsciiCase(name, row.name))
            return row.page;
    }
    return kCodePageUtf8;
}

unsigned FoldCodePage(unsigned page)
{
    switch (page) {
    case 1200:
    case 12000:
    case 12001:
    case 65000:
    case 65001:
        return kCodePageAnsi;
    default:
        return page;
    }
}

const char* CharsetOfCodePage(unsigned page)
{
    for (const CodePageCharset& row : kCodePageCharsets) {
        if (row.page == page)
            return row.charset;
    }
    return nullptr;
}

}  // namespace encoding
