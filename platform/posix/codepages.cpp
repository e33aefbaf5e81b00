// platform/posix/codepages.cpp — legacy code pages through glibc's iconv, one charset per page number, with
// the replacement rules the library promises.
// iconv stops at the first byte it cannot decode and at the first character it cannot encode; here the
// conversion goes on past them. Some tables (windows-1255 among them) hold the last character back
// until the flush call, so every conversion ends with it. Long texts in the common sets, whose characters
// are one or two bytes with no shift state, go through tables that are read out of iconv once per set:
// iconv's per-call cost would otherwise be paid twice, by the measuring and the writing pass.
#include "platform/codepages.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace platform {
namespace {

struct PageCharset {
    unsigned page;
    const char* charset;  // nullptr: glibc has no table for the page
};

// Each charset is chosen for agreeing with Windows' own table byte by byte, not for its name: CP932 rather
// than SHIFT_JIS (which reads 0x5C as the yen sign), CP936 rather than GBK or GB18030, CP1252 rather than
// ISO-8859-1. The library converts pages 0 and 1252 with its own Windows-1252 table, which agrees with CP1252.
// The Unicode pages (1200, 12000, 12001, 65000, 65001) are folded to 0 before a charset is needed;
// 1201 is not folded, and has no charset, so naming it fails.
const PageCharset kPageCharsets[] = {
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


const char* CharsetOfPage(unsigned page)
{
    for (const PageCharset& row : kPageCharsets) {
        if (row.page == page)
            return row.charset;
    }
    return nullptr;
}

// UTF-16 in the host's own byte order, so that units are written straight into the caller's buffer.
const char* HostUtf16()
{
    const char16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? "UTF-16LE" : "UTF-16BE";
}

class Descriptor
{
public:
    Descriptor(const char* to, const char* from) : m_cd(iconv_open(to, from)) {}
    ~Descriptor()
    {
        if (valid())
            iconv_close(m_cd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    bool valid() const { return m_cd != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const { return m_cd; }

private:
    iconv_t m_cd;
};

// Where converted bytes go: the caller's buffer while it has room, then a scratch area that is only counted.
class Sink
{
public:
    Sink(char* target, size_t capacity) : m_target(target), m_capacity(target ? capacity : 0) {}

    // Runs one iconv call into the sink; returns iconv's result and leaves errno as iconv set it.
    size_t Convert(iconv_t cd, char** in, size_t* inLeft)
    {
        char* out;
        size_t outLeft;
        bool intoTarget = Window(&out, &outLeft);
        char* start = out;
        size_t result = iconv(cd, in, inLeft, &out, &outLeft);
        int saved = errno;
        m_produced += static_cast<size_t>(out - start);
        // A character that does not fit the rest of the caller's buffer goes on in the scratch area, so the
        // count stays right and the caller sees that its buffer was too small.
        if (result == static_cast<size_t>(-1) && saved == E2BIG && intoTarget && out == start)
            m_capacity = m_produced;
        errno = saved;
        return result;
    }

    // The flush call: emits what the table held back and returns the state to its start.
    void Flush(iconv_t cd)
    {
        for (;;) {
            if (Convert(cd, nullptr, nullptr) != static_cast<size_t>(-1) || errno != E2BIG)
                return;
        }
    }

    void Put(const void* bytes, size_t count)
    {
        const char* from = static_cast<const char*>(bytes);
        for (size_t i = 0; i < count; ++i) {
            if (m_produced < m_capacity)
                m_target[m_produced] = from[i];
            ++m_produced;
        }
    }

    size_t produced() const { return m_produced; }

private:
    bool Window(char** out, size_t* outLeft)
    {
        if (m_produced < m_capacity) {
            *out = m_target + m_produced;
            *outLeft = m_capacity - m_produced;
            return true;
        }
        *out = m_scratch;
        *outLeft = sizeof m_scratch;
        return false;
    }

    char* m_target;
    size_t m_capacity;
    size_t m_produced = 0;
    char m_scratch[4096];
};

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Texts shorter than this stream through iconv; the tables pay off only over many characters.
constexpr size_t kTableThreshold = 64 * 1024;

constexpr uint32_t kLeadByte = 0x10000;   // in the single-byte table: the first byte of a pair
constexpr char16_t kNoPair = 0xFFFF;      // in the pair table: the two bytes are no character
constexpr char16_t kReplacement = 0xFFFD;

// What one iconv call makes of `input` from the initial state, and what the flush call adds after it.
struct Probe {
    bool failed = false;      // EILSEQ or EINVAL
    int error = 0;
    size_t consumed = 0;
    std::string output;       // bytes before the flush
    size_t flushed = 0;       // bytes the flush added
};

Probe RunProbe(iconv_t cd, const void* input, size_t size)
{
    Probe probe;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(static_cast<const char*>(input));
    size_t inLeft = size;
    char buffer[32];
    char* out = buffer;
    size_t outLeft = sizeof buffer;
    if (iconv(cd, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1)) {
        probe.failed = true;
        probe.error = errno;
    }
    probe.consumed = size - inLeft;
    probe.output.assign(buffer, out);
    char* mark = out;
    iconv(cd, nullptr, nullptr, &out, &outLeft);
    probe.flushed = static_cast<size_t>(out - mark);
    return probe;
}

char16_t UnitOf(const std::string& bytes)
{
    char16_t unit;
    std::memcpy(&unit, bytes.data(), sizeof unit);
    return unit;
}

// The decoding of every byte and every lead-byte pair, or !usable where the set is not of that kind.
struct DecodeTable {
    bool usable = false;
    uint32_t single[256];
    std::vector<char16_t> pairs;  // 256 per lead byte, indexed by lead * 256 + trail
    // One bit per entry of `pairs` that is a character: 8 KiB, which the measuring pass reads instead of
    // the 128 KiB of `pairs` and so stays in the fastest cache.
    std::vector<uint64_t> pairIsCharacter;

    bool IsPair(unsigned lead, unsigned trail) const
    {
        unsigned index = lead * 256 + trail;
        return (pairIsCharacter[index / 64] >> (index % 64)) & 1;
    }
};

std::unique_ptr<DecodeTable> ReadDecodeTable(const char* charset)
{
    auto table = std::make_unique<DecodeTable>();
    Descriptor cd(HostUtf16(), charset);
    if (!cd.valid())
        return table;
    bool hasLead = false;
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned char input = static_cast<unsigned char>(byte);
        Probe probe = RunProbe(cd.get(), &input, 1);
        if (probe.flushed != 0)
            return table;  // held back for a following mark: decoding depends on the next byte
        if (probe.failed && probe.error == EINVAL) {
            table->single[byte] = kLeadByte;
            hasLead = true;
        } else if (probe.failed) {
            table->single[byte] = kReplacement;
        } else if (probe.consumed == 1 && probe.output.size() == sizeof(char16_t)) {
            table->single[byte] = UnitOf(probe.output);
        } else {
            return table;  // a shift byte, or one byte giving two units
        }
    }
    if (hasLead) {
        table->pairs.assign(256 * 256, kNoPair);
        table->pairIsCharacter.assign(256 * 256 / 64, 0);
        for (unsigned lead = 0; lead < 256; ++lead) {
            if (table->single[lead] != kLeadByte)
                continue;
            for (unsigned trail = 0; trail < 256; ++trail) {
                unsigned char input[2] = {static_cast<unsigned char>(lead), static_cast<unsigned char>(trail)};
                Probe probe = RunProbe(cd.get(), input, 2);
                if (probe.flushed != 0)
                    return table;
                if (probe.failed && probe.error == EILSEQ && probe.consumed == 0)
                    continue;  // decoded as a bad lead byte, then the trail on its own
                if (probe.failed || probe.consumed != 2 || probe.output.size() != sizeof(char16_t) ||
                    UnitOf(probe.output) == kNoPair)
                    return table;  // longer sequences, or pairs that are not one unit
                table->pairs[lead * 256 + trail] = UnitOf(probe.output);
                table->pairIsCharacter[(lead * 256 + trail) / 64] |= uint64_t{1} << ((lead * 256 + trail) % 64);
            }
        }
    }
    table->usable = true;
    return table;
}

// The bytes of every BMP character, or !usable where the set is not of that kind.
struct EncodeTable {
    bool usable = false;
    std::vector<uint16_t> bytes;       // up to two bytes, the first in the high half
    std::vector<unsigned char> sizes;  // 0 where the set has no such character
    std::string question;              // the set's default character
};

std::unique_ptr<EncodeTable> ReadEncodeTable(const char* charset)
{
    auto table = std::make_unique<EncodeTable>();
    Descriptor cd(charset, HostUtf16());
    if (!cd.valid())
        return table;
    table->bytes.assign(65536, 0);
    table->sizes.assign(65536, 0);
    for (uint32_t code = 1; code < 65536; ++code) {
        if (code >= 0xD800 && code <= 0xDFFF)
            continue;
        char16_t unit = static_cast<char16_t>(code);
        Probe probe = RunProbe(cd.get(), &unit, sizeof unit);
        if (probe.flushed != 0 || probe.output.size() > 2)
            return table;  // a shifting set, or characters longer than a pair
        if (probe.failed)
            continue;
        if (probe.output.empty())
            return table;
        const unsigned char* out = reinterpret_cast<const unsigned char*>(probe.output.data());
        table->sizes[code] = static_cast<unsigned char>(probe.output.size());
        table->bytes[code] = static_cast<uint16_t>(probe.output.size() == 2 ? (out[0] << 8) | out[1] : out[0]);
    }
    table->question = table->sizes[u'?'] == 0 ? std::string("?")
                      : table->sizes[u'?'] == 1
                          ? std::string(1, static_cast<char>(table->bytes[u'?']))
                          : std::string{static_cast<char>(table->bytes[u'?'] >> 8), static_cast<char>(table->bytes[u'?'] & 0xFF)};
    table->usable = true;
    return table;
}

// The tables read so far, one of each kind per set, kept for the life of the process.
template <typename Table>
const Table& TableFor(const char* charset, std::unique_ptr<Table> (*read)(const char*))
{
    static std::mutex lock;
    static std::map<std::string, std::unique_ptr<Table>> tables;
    std::lock_guard<std::mutex> guard(lock);
    std::unique_ptr<Table>& table = tables[charset];
    if (!table)
        table = read(charset);
    return *table;
}

// The units DecodeByTable gives, counted without reading the characters.
long long CountByTable(const DecodeTable& table, const unsigned char* in, size_t count)
{
    size_t produced = 0;
    // A branch, not a select, decides the step: predicted, it lets the next character's reads begin before
    // this one's are done.
    for (size_t i = 0; i < count; ++produced) {
        if (table.single[in[i]] == kLeadByte && i + 1 < count && table.IsPair(in[i], in[i + 1]))
            i += 2;
        else
            ++i;
    }
    return static_cast<long long>(produced);
}

long long DecodeByTable(const DecodeTable& table, const char* bytes, size_t count, char16_t* target, size_t capacity)
{
    const unsigned char* in = reinterpret_cast<const unsigned char*>(bytes);
    if (target == nullptr)
        return CountByTable(table, in, count);
    size_t produced = 0;
    for (size_t i = 0; i < count; ++produced) {
        uint32_t unit = table.single[in[i]];
        if (unit == kLeadByte) {
            char16_t paired = i + 1 < count ? table.pairs[in[i] * 256u + in[i + 1]] : kNoPair;
            unit = paired == kNoPair ? kReplacement : paired;
            i += paired == kNoPair ? 1 : 2;
        } else {
            ++i;
        }
        if (produced < capacity)
            target[produced] = static_cast<char16_t>(unit);
    }
    return static_cast<long long>(produced);
}

long long EncodeByTable(const EncodeTable& table, const char16_t* text, size_t count, char* target, size_t capacity)
{
    size_t produced = 0;
    auto put = [&](unsigned char byte) {
        if (target && produced < capacity)
            target[produced] = static_cast<char>(byte);
        ++produced;
    };
    for (size_t i = 0; i < count; ++i) {
        char16_t unit = text[i];
        unsigned size = table.sizes[unit];
        if (size == 1) {
            put(static_cast<unsigned char>(table.bytes[unit]));
        } else if (size == 2) {
            put(static_cast<unsigned char>(table.bytes[unit] >> 8));
            put(static_cast<unsigned char>(table.bytes[unit] & 0xFF));
        } else {
            if (IsHighSurrogate(unit) && i + 1 < count && IsLowSurrogate(text[i + 1]))
                ++i;  // no set read into a table holds characters beyond the BMP
            for (char byte : table.question)
                put(static_cast<unsigned char>(byte));
        }
    }
    return static_cast<long long>(produced);
}

long long StreamDecode(const char* charset, const char* bytes, size_t count, char16_t* target, size_t capacity);
long long StreamEncode(const char* charset, const char16_t* text, size_t count, char* target, size_t capacity);

}  // namespace

const char* LegacyPageTableName(unsigned page)
{
    return CharsetOfPage(page);
}

long long DecodeLegacyPage(unsigned page, const char* bytes, size_t count, char16_t* target, size_t capacity)
{
    const char* charset = CharsetOfPage(page);
    if (charset == nullptr)
        return -1;
    if (count >= kTableThreshold) {
        const DecodeTable& table = TableFor<DecodeTable>(charset, ReadDecodeTable);
        if (table.usable)
            return DecodeByTable(table, bytes, count, target, capacity);
    }
    return StreamDecode(charset, bytes, count, target, capacity);
}

long long EncodeLegacyPage(unsigned page, const char16_t* text, size_t count, char* target, size_t capacity)
{
    const char* charset = CharsetOfPage(page);
    if (charset == nullptr)
        return -1;
    if (count >= kTableThreshold) {
        const EncodeTable& table = TableFor<EncodeTable>(charset, ReadEncodeTable);
        if (table.usable)
            return EncodeByTable(table, text, count, target, capacity);
    }
    return StreamEncode(charset, text, count, target, capacity);
}

namespace {

// glibc's UHC decoder (CP949) reports some unassigned pairs only after it has taken both bytes, so it stops
// at the next character rather than at the bad bytes; every other decoder stops at the bad bytes.
// `prober` is opened on the first call that needs it and kept for the rest of the text.
bool StopsAfterBadPair(const char* charset, std::unique_ptr<Descriptor>& prober, const char* stop, size_t left)
{
    if (std::strcmp(charset, "CP949") != 0)
        return false;
    if (!prober)
        prober = std::make_unique<Descriptor>(HostUtf16(), charset);
    // A character begins where the decoder stopped when a fresh decoder takes bytes from there.
    return prober->valid() && RunProbe(prober->get(), stop, left < 4 ? left : 4).consumed > 0;
}

long long StreamDecode(const char* charset, const char* bytes, size_t count, char16_t* target, size_t capacity)
{
    Descriptor cd(HostUtf16(), charset);
    if (!cd.valid())
        return -1;
    Sink sink(reinterpret_cast<char*>(target), capacity * sizeof(char16_t));
    std::unique_ptr<Descriptor> prober;
    char* in = const_cast<char*>(bytes);
    size_t inLeft = count;
    while (inLeft > 0) {
        if (sink.Convert(cd.get(), &in, &inLeft) != static_cast<size_t>(-1))
            break;
        if (errno == E2BIG)
            continue;
        if (errno != EILSEQ && errno != EINVAL)
            return -1;
        // A held-back character came before the bad byte, so it goes out first.
        sink.Flush(cd.get());
        sink.Put(&kReplacement, sizeof kReplacement);
        // Some decoders (glibc's UHC) report a bad last byte after they have taken it.
        if (inLeft == 0)
            break;
        // The bad bytes are passed over one at a time, unless the decoder has taken them already.
        if (!StopsAfterBadPair(charset, prober, in, inLeft)) {
            ++in;
            --inLeft;
        }
    }
    sink.Flush(cd.get());
    return static_cast<long long>(sink.produced() / sizeof(char16_t));
}

long long StreamEncode(const char* charset, const char16_t* text, size_t count, char* target, size_t capacity)
{
    Descriptor cd(charset, HostUtf16());
    if (!cd.valid())
        return -1;
    Sink sink(target, capacity);
    const char16_t* unit = text;
    const char16_t* end = text + count;
    while (unit < end) {
        char* in = reinterpret_cast<char*>(const_cast<char16_t*>(unit));
        size_t inLeft = static_cast<size_t>(end - unit) * sizeof(char16_t);
        size_t result = sink.Convert(cd.get(), &in, &inLeft);
        unit = end - inLeft / sizeof(char16_t);
        if (result != static_cast<size_t>(-1))
            break;
        if (errno == E2BIG)
            continue;
        if (errno != EILSEQ && errno != EINVAL)
            return -1;
        // The set's own question mark goes through the same descriptor, so a shifting set stays in step.
        if (unit < end) {
            bool pair = IsHighSurrogate(unit[0]) && unit + 1 < end && IsLowSurrogate(unit[1]);
            unit += pair ? 2 : 1;
        }
        char16_t question = u'?';
        char* mark = reinterpret_cast<char*>(&question);
        size_t markLeft = sizeof question;
        while (markLeft > 0) {
            if (sink.Convert(cd.get(), &mark, &markLeft) != static_cast<size_t>(-1) || errno == E2BIG)
                continue;
            sink.Put("?", 1);  // a set without a question mark of its own gets the ASCII one
            break;
        }
    }
    sink.Flush(cd.get());
    return static_cast<long long>(sink.produced());
}

}  // namespace
}  // namespace platform
