// The code page name table and the folding of the Unicode pages.
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

}  // namespace encoding
