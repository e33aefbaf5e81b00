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

// The scan reads the file in pieces of this size, so that a file of any size costs this much memory.
constexpr size_t kScanPiece = 1 << 20;

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

// Two machine words side by side. GCC and clang make the operations on them vector instructions where the
// machine has them, so that each step below looks at sixteen bytes.
typedef uint64_t Words2 __attribute__((vector_size(16)));

constexpr uint64_t kHighBits = encoding::kHighBits;

// Follows the lead and continuation pattern over `count` bytes, with `owed` the continuation bytes still
// due from the bytes before: false when a byte breaks it. Only the pattern counts: overlong forms, encoded
// surrogates and the five- and six-byte forms pass.
//
// Sixteen bytes at a time, with the top bit of each byte standing for it: a byte must be a continuation
// (10xxxxxx) exactly when a lead one to five places before it announces that many continuations or more, so
// the continuations must equal the leads of at least one to five continuations (bytes from C0, E0, F0, F8
// and FC on), each moved on by its count, ORed together. FE and FF break the pattern wherever they stand.
// Words are read with their first byte lowest, so moving a byte on is a shift to the left.
bool FollowsLeadPattern(const unsigned char* bytes, size_t count, int& owed)
{
    size_t index = 0;
    if (count >= 16) {
        const Words2 highBits = {kHighBits, kHighBits};
        // What the leads of the sixteen bytes before owe the next word, second lane; at the start, the owed
        // continuations themselves.
        Words2 spillBefore = {0, owed > 0 ? ((1ull << 8 * owed) - 1) & kHighBits : 0};
        Words2 broken = {0, 0};
        auto step = [&](const unsigned char* at) {
            const Words2 word = {encoding::LoadLittle8(at), encoding::LoadLittle8(at + 8)};
            const Words2 high = word & highBits;
            const Words2 lead1 = high & word << 1;
            const Words2 lead2 = lead1 & word << 2;
            const Words2 lead3 = lead2 & word << 3;
            const Words2 lead4 = lead3 & word << 4;
            const Words2 lead5 = lead4 & word << 5;
            const Words2 continuation = high & ~(word << 1);
            const Words2 spill = lead1 >> 56 | lead2 >> 48 | lead3 >> 40 | lead4 >> 32 | lead5 >> 24;
            const Words2 carried = __builtin_shufflevector(spillBefore, spill, 1, 2);
            const Words2 owedHere = carried | lead1 << 8 | lead2 << 16 | lead3 << 24 | lead4 << 32 | lead5 << 40;
            broken |= (owedHere ^ continuation) | (lead5 & word << 6);
            spillBefore = spill;
        };
        for (; index + 64 <= count; index += 64) {
            uint64_t any = 0;
            for (size_t word = 0; word < 64; word += 8)
                any |= encoding::Load8(bytes + index + word);
            if (spillBefore[1] == 0 && (any & kHighBits) == 0)
                continue;  // ASCII with nothing owed: the spill stays nothing
            for (size_t part = 0; part < 64; part += 16)
                step(bytes + index + part);
        }
        for (; index + 16 <= count; index += 16)
            step(bytes + index);
        // One test at the end: a break anywhere decides, and the rest of the piece costs no branch.
        if ((broken[0] | broken[1]) != 0)
            return false;
        owed = __builtin_popcountll(spillBefore[1]);  // one lead at most reaches past, or a lane broke
    }
    for (; index < count; ++index) {
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
    // shrinks gives a short read.
    const size_t pieceSize = static_cast<uint64_t>(size) < kScanPiece ? static_cast<size_t>(size) : kScanPiece;
    std::unique_ptr<unsigned char[]> piece(new (std::nothrow) unsigned char[pieceSize]);
    if (!piece)
        return kFailed;
    uint64_t remaining = static_cast<uint64_t>(size);
    int owed = 0;
    while (remaining > 0) {
        const size_t wanted = remaining < pieceSize ? static_cast<size_t>(remaining) : pieceSize;
        if (std::fread(piece.get(), 1, wanted, stream) != wanted)
            return kFailed;
        if (!FollowsLeadPattern(piece.get(), wanted, owed))
            return 0;  // what lies behind the first byte that breaks the pattern is not read
        remaining -= wanted;
    }
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
