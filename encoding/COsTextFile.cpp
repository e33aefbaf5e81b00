// COsTextFile: opening a text file, finding its format by mark or by the UTF-8 scan, and handing the reading
// to the reader of that format.
#include "encoding/COsTextFile.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "encoding/COsTextFileReader.h"
#include "encoding/WordAtATime.h"
#include "filesystem/COsFile.h"
#include "platform/files.h"
#include "strings/COsString.h"

namespace {

// Open's failure, a plain value of this class rather than a status code.
constexpr int kFailed = -2;

// The byte order mark that a format requires at the start of the file; none for length 0.
struct Mark {
    unsigned char bytes[4];
    int length;
};

constexpr Mark kMarks[] = {
    {{}, 0},                       // TextFormatAuto: detection decides
    {{}, 0},                       // TextFormatAnsi
    {{0xEF, 0xBB, 0xBF}, 3},       // TextFormatUTF8Bom
    {{}, 0},                       // TextFormatUTF8
    {{0xFF, 0xFE}, 2},             // TextFormatUTF16LEBom
    {{}, 0},                       // TextFormatUTF16LE
    {{0xFE, 0xFF}, 2},             // TextFormatUTF16BEBom
    {{}, 0},                       // TextFormatUTF16BE
    {{0xFF, 0xFE, 0x00, 0x00}, 4}, // TextFormatUTF32LEBom
    {{}, 0},                       // TextFormatUTF32LE
    {{0x00, 0x00, 0xFE, 0xFF}, 4}, // TextFormatUTF32BEBom
    {{}, 0},                       // TextFormatUTF32BE
};

// The scan reads the file in pieces of this size, so that a file of any size costs this much memory, and a
// piece stays in the processor's cache between the read that fills it and the scan that follows.
constexpr size_t kScanPiece = 256 << 10;

// The bytes kept in front of each piece: the five before a byte decide whether it must be a continuation, and
// the test for a run of ASCII looks at eight.
constexpr size_t kLookBack = 16;

// The continuation bytes that a lead byte announces: one for each leading 1 bit behind the first, up to
// the six-byte form. -1 for a byte that cannot lead: 10xxxxxx, FE and FF.
int AnnouncedContinuations(unsigned char lead)
{
    if (lead < 0xC0)
        return -1;
    if (lead < 0xE0)
        return 1;
    if (lead < 0xF0)
        return 2;
    if (lead < 0xF8)
        return 3;
    if (lead < 0xFC)
        return 4;
    if (lead < 0xFE)
        return 5;
    return -1;
}

// Sixteen bytes side by side, and the result of comparing two such: all ones in each byte where the
// comparison holds. GCC and clang make the operations on them vector instructions where the machine has them.
typedef unsigned char Bytes16 __attribute__((vector_size(16)));
typedef signed char Mask16 __attribute__((vector_size(16)));

Bytes16 Load16(const unsigned char* at)
{
    Bytes16 bytes;
    std::memcpy(&bytes, at, sizeof bytes);
    return bytes;
}

// All ones in each of the sixteen bytes at `at` that breaks the lead and continuation pattern, judged by the
// five bytes before each, which must be readable. A byte must be a continuation (10xxxxxx) exactly when a
// lead one to five places before it announces that many continuations or more: a lead from C0 on one place
// before, from E0 on two places before, and so on to FC five places before. FE and FF break the pattern
// wherever they stand. Only the pattern counts: overlong forms, encoded surrogates and the five- and
// six-byte forms pass.
Mask16 Breaks16(const unsigned char* at)
{
    const Bytes16 bytes = Load16(at);
    const Mask16 owed = (Load16(at - 1) >= 0xC0) | (Load16(at - 2) >= 0xE0) | (Load16(at - 3) >= 0xF0) |
                        (Load16(at - 4) >= 0xF8) | (Load16(at - 5) >= 0xFC);
    const Mask16 continuation = (bytes & 0xC0) == 0x80;
    return (owed ^ continuation) | (bytes >= 0xFE);
}

// The same where neither the sixteen bytes nor the five before them reach F8: no five- or six-byte lead can
// owe anything and no FE or FF can stand there, which spares half the work.
Mask16 BreaksBelowF8(const unsigned char* at)
{
    const Mask16 owed = (Load16(at - 1) >= 0xC0) | (Load16(at - 2) >= 0xE0) | (Load16(at - 3) >= 0xF0);
    return owed ^ ((Load16(at) & 0xC0) == 0x80);
}

Bytes16 Larger(Bytes16 a, Bytes16 b)
{
    return a > b ? a : b;
}

// Whether any byte of `bytes` is not zero.
bool AnySet(Bytes16 bytes)
{
    uint64_t halves[2];
    std::memcpy(halves, &bytes, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

// Follows the pattern over `count` bytes, a multiple of sixteen, whose sixteen bytes before are readable
// and were checked (zeros before the file): false when a byte breaks it. Each 64 bytes are first looked at
// together with the sixteen before them through their largest values: a run of ASCII owes and breaks
// nothing and is passed over, and one without F8 or above takes the shorter check.
bool FollowsLeadPattern(const unsigned char* bytes, size_t count)
{
    Mask16 broken = {};
    size_t index = 0;
    for (; index + 64 <= count; index += 64) {
        const unsigned char* at = bytes + index;
        const Bytes16 first = Larger(Load16(at), Load16(at + 16));
        const Bytes16 second = Larger(Load16(at + 32), Load16(at + 48));
        const Bytes16 largest = Larger(Larger(first, second), Load16(at - 16));
        if (!AnySet(largest & 0x80))
            continue;
        if (AnySet(reinterpret_cast<Bytes16>(largest >= 0xF8)))
            broken |= Breaks16(at) | Breaks16(at + 16) | Breaks16(at + 32) | Breaks16(at + 48);
        else
            broken |= BreaksBelowF8(at) | BreaksBelowF8(at + 16) | BreaksBelowF8(at + 32) | BreaksBelowF8(at + 48);
    }
    for (; index < count; index += 16)
        broken |= Breaks16(bytes + index);
    // One test at the end: a break anywhere decides, and the rest of the piece costs no branch.
    return !AnySet(reinterpret_cast<Bytes16>(broken));
}

// The continuation bytes still due after the bytes before `end`, which follow the pattern: those of the lead
// among the last five that reaches past them, if one does.
int OwedBefore(const unsigned char* end)
{
    for (int back = 1; back <= 5; ++back) {
        const int announced = AnnouncedContinuations(end[-back]);
        if (announced >= back)
            return announced - back + 1;
    }
    return 0;
}

// Follows the pattern a byte at a time over `count` bytes, with `owed` the continuation bytes still due
// from the bytes before: false when a byte breaks it.
bool FollowsLeadPatternBytewise(const unsigned char* bytes, size_t count, int& owed)
{
    for (size_t index = 0; index < count; ++index) {
        const unsigned char byte = bytes[index];
        if (owed > 0) {
            if ((byte & 0xC0) != 0x80)
                return false;
            --owed;
        } else if (byte >= 0x80) {
            owed = AnnouncedContinuations(byte);
            if (owed < 0)
                return false;
        }
    }
    return true;
}

}  // namespace

COsTextFile::COsTextFile()
    : m_eFormat(TextFormatAuto),
      m_nBufferSize(0),
      m_pFile(nullptr),
      m_pReader(nullptr),
      m_pCodePage(nullptr),
      m_pUnknownChar(nullptr),
      m_bMacCRLF(false)
{
}

COsTextFile::~COsTextFile()
{
    Close();
}

COsTextFile* COsTextFile::CreateInstance()
{
    return new (std::nothrow) COsTextFile();
}

void COsTextFile::FreeInstance(COsTextFile** instance)
{
    if (instance == nullptr || *instance == nullptr)
        return;
    (*instance)->Close();
    delete *instance;
    *instance = nullptr;
}

int COsTextFile::Open(const char* path, const char* mode, ETextFormat format, int bufferSize)
{
    // An object that holds a stream keeps it: opening another would lose the first to nobody.
    if (path == nullptr || mode == nullptr || m_pFile != nullptr)
        return kFailed;
    FILE* stream = COsFile::Open(path, mode);
    if (stream == nullptr)
        return kFailed;
    m_eFormat = format;
    m_nBufferSize = bufferSize;
    m_pFile = stream;
    return CreateFileReader();
}

int COsTextFile::Close()
{
    delete[] m_pCodePage;
    m_pCodePage = nullptr;
    delete m_pReader;
    m_pReader = nullptr;
    delete[] m_pUnknownChar;
    m_pUnknownChar = nullptr;
    int result = 0;
    if (m_pFile != nullptr) {
        result = std::fclose(m_pFile);
        m_pFile = nullptr;
    }
    return result;
}

int COsTextFile::ReadLine(bool* flag, char** line)
{
    if (flag != nullptr)
        *flag = false;
    if (m_pReader == nullptr || line == nullptr)
        return -1;
    return m_pReader->ReadLine(line, m_pCodePage, m_pUnknownChar, flag, m_bMacCRLF);
}

int COsTextFile::ReadChar()
{
    return m_pReader == nullptr ? -1 : m_pReader->ReadChar();
}

void COsTextFile::SetCodePage(const char* codePage)
{
    COsString::Copy(codePage, &m_pCodePage);
}

void COsTextFile::SetUnknownChar(const char* text)
{
    COsString::Copy(text, &m_pUnknownChar);
}

void COsTextFile::SetMacCRLF(bool macLineEnds)
{
    m_bMacCRLF = macLineEnds;
}

ETextFormat COsTextFile::GetFormat() const
{
    return m_eFormat;
}

int COsTextFile::CreateFileReader()
{
    if (m_eFormat < TextFormatAuto || m_eFormat > TextFormatUTF32BE)
        return kFailed;
    if (m_eFormat == TextFormatAuto)
        return DetectFormat();
    // A format without a mark reads a mark in the file as text.
    const Mark& mark = kMarks[m_eFormat];
    for (int i = 0; i < mark.length; ++i) {
        if (ReadStreamByte(m_pFile) != mark.bytes[i]) {
            std::fseek(m_pFile, 0, SEEK_SET);
            return kFailed;
        }
    }
    return MakeReader(m_eFormat);
}

int COsTextFile::DetectFormat()
{
    const int first = ReadStreamByte(m_pFile);
    if (first < 0)
        return MakeReader(TextFormatAuto);
    if (first == 0xFF) {
        if (ReadStreamByte(m_pFile) != 0xFE) {
            std::fseek(m_pFile, 0, SEEK_SET);
            return MakeReader(TextFormatAnsi);
        }
        const int third = ReadStreamByte(m_pFile);
        const int fourth = ReadStreamByte(m_pFile);
        if (third == 0x00 && fourth == 0x00)
            return MakeReader(TextFormatUTF32LEBom);
        std::fseek(m_pFile, 2, SEEK_SET);
        return MakeReader(TextFormatUTF16LEBom);
    }
    if (first == 0x00) {
        if (ReadStreamByte(m_pFile) == 0x00 && ReadStreamByte(m_pFile) == 0xFE && ReadStreamByte(m_pFile) == 0xFF)
            return MakeReader(TextFormatUTF32BEBom);
        std::fseek(m_pFile, 0, SEEK_SET);
        return MakeReader(TextFormatAnsi);
    }
    if (first == 0xFE && ReadStreamByte(m_pFile) == 0xFF)
        return MakeReader(TextFormatUTF16BEBom);
    if (first == 0xEF && ReadStreamByte(m_pFile) == 0xBB && ReadStreamByte(m_pFile) == 0xBF)
        return MakeReader(TextFormatUTF8Bom);
    // No mark: plain ASCII passes the scan too, and so opens as UTF-8.
    bool isUtf8 = false;
    if (IsUTF8NoBom(m_pFile, isUtf8) < 0)
        return kFailed;
    std::fseek(m_pFile, 0, SEEK_SET);
    return MakeReader(isUtf8 ? TextFormatUTF8 : TextFormatAnsi);
}

int COsTextFile::MakeReader(ETextFormat format)
{
    m_eFormat = format;
    COsTextFileReader* reader = nullptr;
    switch (format) {
    case TextFormatAuto:
        reader = new (std::nothrow) COsTextFileReader(m_pFile, -1);  // an empty file: nothing to buffer
        break;
    case TextFormatAnsi:
        reader = new (std::nothrow) COsAnsiTextFileReader(this, m_pFile, m_nBufferSize);
        break;
    case TextFormatUTF8Bom:
    case TextFormatUTF8:
        reader = new (std::nothrow) COsUTF8TextFileReader(m_pFile, m_nBufferSize);
        break;
    case TextFormatUTF16LEBom:
    case TextFormatUTF16LE:
        reader = new (std::nothrow) COsUTF16LETextFileReader(m_pFile, m_nBufferSize);
        break;
    case TextFormatUTF16BEBom:
    case TextFormatUTF16BE:
        reader = new (std::nothrow) COsUTF16BETextFileReader(m_pFile, m_nBufferSize);
        break;
    case TextFormatUTF32LEBom:
    case TextFormatUTF32LE:
        reader = new (std::nothrow) COsUTF32LETextFileReader(m_pFile, m_nBufferSize);
        break;
    case TextFormatUTF32BEBom:
    case TextFormatUTF32BE:
        reader = new (std::nothrow) COsUTF32BETextFileReader(m_pFile, m_nBufferSize);
        break;
    }
    if (reader == nullptr || !reader->HasBuffer()) {
        delete reader;
        return kFailed;
    }
    m_pReader = reader;
    return 0;
}

int COsTextFile::IsUTF8NoBom(FILE* stream, bool& isUtf8)
{
    isUtf8 = false;
    const int64_t size = platform::StreamSize(stream);
    std::rewind(stream);
    if (size < 0)
        return kFailed;
    if (size == 0) {
        isUtf8 = true;
        return 0;
    }
    // The measured size bounds the scan: a file that grows meanwhile is judged by its first bytes, one that
    // shrinks gives a short read. Each piece is read behind the bytes kept from the one before: the last
    // sixteen checked ones and the rest that did not fill sixteen, which is checked with the next piece.
    const size_t pieceSize = static_cast<uint64_t>(size) < kScanPiece ? static_cast<size_t>(size) : kScanPiece;
    std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[kLookBack + 16 + pieceSize]);
    if (!buffer)
        return kFailed;
    std::memset(buffer.get(), 0, kLookBack);  // ASCII before the file: nothing is owed at its start
    unsigned char* const piece = buffer.get() + kLookBack;
    uint64_t remaining = static_cast<uint64_t>(size);
    size_t carried = 0;  // unchecked bytes at `piece`, fewer than sixteen
    while (remaining > 0) {
        const size_t wanted = remaining < pieceSize ? static_cast<size_t>(remaining) : pieceSize;
        if (std::fread(piece + carried, 1, wanted, stream) != wanted)
            return kFailed;
        remaining -= wanted;
        const size_t available = carried + wanted;
        const size_t checked = available / 16 * 16;
        if (!FollowsLeadPattern(piece, checked))
            return 0;  // what lies behind the piece that breaks the pattern is not read
        carried = available - checked;
        std::memmove(buffer.get(), piece + checked - kLookBack, kLookBack + carried);
    }
    int owed = OwedBefore(piece);
    if (!FollowsLeadPatternBytewise(piece, carried, owed))
        return 0;
    // A file that ends inside a sequence is no more taken for ANSI text than for UTF-8.
    if (owed > 0)
        return kFailed;
    isUtf8 = true;
    return 0;
}

int COsTextFile::ReadStreamByte(FILE* stream)
{
    const int byte = std::fgetc(stream);
    return byte == EOF ? -1 : byte;
}
