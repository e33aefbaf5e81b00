// The text file readers: refills of one buffer, line ends found a buffer at a time, and each format's
// conversion of a line into the caller's block.
#include "encoding/COsTextFileReader.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/Blocks.h"
#include "encoding/COsEncoding.h"
#include "encoding/Utf32.h"
#include "encoding/Utf8Utf16.h"
#include "encoding/WordAtATime.h"

namespace {

constexpr int kDefaultBufferSize = 4096;

// The least that one read of the stream asks for.
constexpr int kReadAhead = 1 << 16;

// The largest size a block can be asked for: its capacity, a whole number of KiB, must fit a signed 32-bit
// field. A line that needs more is not held.
constexpr size_t kLargestBlock = 0x7FFFFFFF / 1024 * 1024;

inline char16_t SwapBytes(char16_t unit)
{
    return static_cast<char16_t>(__builtin_bswap16(static_cast<uint16_t>(unit)));
}

inline char32_t SwapBytes(char32_t unit)
{
    return static_cast<char32_t>(__builtin_bswap32(static_cast<uint32_t>(unit)));
}

// A unit as a file of the given byte order stores it, read as one value of the host, and back: the same
// exchange of bytes both ways.
template <typename Unit, bool BigEndian>
Unit StoredOrder(Unit unit)
{
    return BigEndian == encoding::kBigEndianHost ? unit : SwapBytes(unit);
}

template <typename Unit>
Unit UnitAt(const char* bytes, size_t index)
{
    Unit unit;
    std::memcpy(&unit, bytes + index * sizeof(Unit), sizeof unit);
    return unit;
}

// The index of the first of `count` units at `bytes` that equals `unit`, or `count` when none does.
inline size_t FindUnit(const char* bytes, size_t count, char unit)
{
    const void* found = std::memchr(bytes, unit, count);
    return found == nullptr ? count : static_cast<size_t>(static_cast<const char*>(found) - bytes);
}

// Units of two or four bytes, a machine word at a time: a lane of the word XOR the pattern is zero exactly
// where the unit matches, and adding the low bits of each lane to themselves sets a lane's high bit exactly
// when the lane is not zero, without a carry into the next lane.
template <typename Unit>
size_t FindUnit(const char* bytes, size_t count, Unit unit)
{
    constexpr unsigned kBits = sizeof(Unit) * 8;
    constexpr size_t kPerWord = 8 / sizeof(Unit);
    constexpr uint64_t kOnes = kBits == 16 ? 0x0001000100010001ull : 0x0000000100000001ull;
    constexpr uint64_t kHighs = kOnes << (kBits - 1);
    constexpr uint64_t kLows = ~kHighs;
    const uint64_t pattern = kOnes * static_cast<uint64_t>(unit);
    size_t index = 0;
    for (; index + kPerWord <= count; index += kPerWord) {
        const uint64_t word = encoding::Load8(bytes + index * sizeof(Unit)) ^ pattern;
        const uint64_t zeros = ~(((word & kLows) + kLows) | word) & kHighs;
        if (zeros != 0)
            return index + encoding::FirstMarkedLane(zeros, kBits);
    }
    for (; index < count; ++index) {
        if (UnitAt<Unit>(bytes, index) == unit)
            return index;
    }
    return count;
}

// Makes sure that `block`, of `capacity` bytes, holds at least `bytes` bytes, and updates `capacity`. It
// grows by half its capacity at least, so that a long line costs a few moves of its memory, not one per
// refill. Null when `bytes` is more than a block can hold or memory ran out; the block is then as it was.
void* ReserveBlock(void* block, size_t bytes, size_t& capacity)
{
    if (block != nullptr && bytes <= capacity)
        return block;
    if (bytes > kLargestBlock)
        return nullptr;
    size_t size = capacity + capacity / 2;
    if (size < bytes)
        size = bytes;
    if (size > kLargestBlock)
        size = kLargestBlock;
    void* grown = AllocBlock(block, static_cast<int>(size));
    if (grown != nullptr)
        capacity = static_cast<size_t>(GetBufferLength(grown));
    return grown;
}

void* ReserveBlock(void* block, size_t bytes)
{
    size_t capacity = static_cast<size_t>(GetBufferLength(block));
    return ReserveBlock(block, bytes, capacity);
}

// The same counted in units, with `capacity` in bytes.
template <typename Unit>
Unit* ReserveUnits(Unit* block, size_t units, size_t& capacity)
{
    if (units > kLargestBlock / sizeof(Unit))
        return nullptr;
    return static_cast<Unit*>(ReserveBlock(block, units * sizeof(Unit), capacity));
}

// Sets the caller's block to the empty text: 0, or -1 when memory ran out.
int StoreEmptyLine(char** line)
{
    char* block = static_cast<char*>(ReserveBlock(*line, 1));
    if (block == nullptr)
        return -1;
    block[0] = '\0';
    AllocBlock(block, 1);
    *line = block;
    return 0;
}

// Copies `bytes` bytes of UTF-8, terminator included, into the caller's block: the count, or -1 when the
// block cannot hold them.
int StoreLine(char** line, const char* text, size_t bytes)
{
    char* block = static_cast<char*>(ReserveBlock(*line, bytes));
    if (block == nullptr)
        return -1;
    std::memcpy(block, text, bytes);
    AllocBlock(block, static_cast<int>(bytes));
    *line = block;
    return static_cast<int>(bytes);
}

// The UTF-8 form of host-order units. `target` null only counts; otherwise it holds the count.
size_t EncodeUnits(const char16_t* units, size_t count, char* target, size_t capacity)
{
    return encoding::Utf16ToUtf8(units, count, target, capacity);
}

size_t EncodeUnits(const char32_t* units, size_t count, char* target, size_t)
{
    return encoding::Utf32ToUtf8(units, count, target);
}

size_t LengthWithin(const char16_t* units, size_t count)
{
    return encoding::Utf16LengthWithin(units, count);
}

size_t LengthWithin(const char32_t* units, size_t count)
{
    return encoding::Utf32LengthWithin(units, count);
}

// The most UTF-8 bytes one unit can give: three for a UTF-16 unit (a pair gives four for two), four for
// a code point.
template <typename Unit>
constexpr size_t kMostBytesPerUnit = sizeof(Unit) == 2 ? 3 : 4;

// Converts the host-order units of a raw line, up to the first 0 unit, straight into the caller's block:
// the bytes with the terminator, 0 for an empty line, -1 when the block cannot hold the text. A surrogate
// without its partner, and in UTF-32 any value that is no Unicode scalar value, becomes U+FFFD.
template <typename Unit>
int StoreConvertedUnits(char** line, const Unit* units, size_t count)
{
    count = LengthWithin(units, count);
    if (count == 0)
        return StoreEmptyLine(line);
    size_t bound = count * kMostBytesPerUnit<Unit>;
    if (bound >= kLargestBlock)
        bound = EncodeUnits(units, count, nullptr, 0);
    if (bound >= kLargestBlock)
        return -1;
    char* block = static_cast<char*>(ReserveBlock(*line, bound + 1));
    if (block == nullptr)
        return -1;
    *line = block;
    const size_t bytes = EncodeUnits(units, count, block, bound);
    block[bytes] = '\0';
    AllocBlock(block, static_cast<int>(bytes + 1));
    return static_cast<int>(bytes + 1);
}

}  // namespace

COsTextFileReader::COsTextFileReader(FILE* stream, int bufferSize, int unitSize)
    : m_pFile(stream),
      m_nBufferSize(bufferSize == 0 ? kDefaultBufferSize : bufferSize < 0 ? 0 : bufferSize),
      m_pBuffer(nullptr),
      m_nPos(0),
      m_nCount(0),
      m_bEof(false),
      m_nRefill(0),
      m_nCapacity(0),
      m_nFilled(0)
{
    if (m_nBufferSize == 0)
        return;
    // A buffer too small for one unit still reads one: a refill that could hold none would never move on.
    m_nRefill = m_nBufferSize < unitSize ? unitSize : m_nBufferSize - m_nBufferSize % unitSize;
    m_nCapacity = m_nRefill >= kReadAhead ? m_nRefill : (kReadAhead + m_nRefill - 1) / m_nRefill * m_nRefill;
    m_pBuffer = static_cast<char*>(std::malloc(static_cast<size_t>(m_nCapacity)));
}

COsTextFileReader::~COsTextFileReader()
{
    std::free(m_pBuffer);
}

int COsTextFileReader::ReadChar()
{
    return -1;
}

int COsTextFileReader::ReadLine(char**, const char*, const char*, bool*, bool)
{
    return -1;
}

bool COsTextFileReader::NextRefill(int unitSize)
{
    while (m_nCount - m_nPos < unitSize) {
        if (m_bEof)
            return false;
        if (m_nCount < m_nFilled) {
            // The next refill is in the buffer already. Refills are whole units, so the last one ended on a
            // unit's end: only a read of the stream that stopped short leaves a rest.
            m_nCount = m_nFilled - m_nCount < m_nRefill ? m_nFilled : m_nCount + m_nRefill;
            continue;
        }
        const int rest = m_nFilled - m_nPos;
        if (rest > 0)
            std::memmove(m_pBuffer, m_pBuffer + m_nPos, static_cast<size_t>(rest));
        // The buffer holds a unit at least, so the read always asks for something. Only a read that gives
        // nothing is the end; a read error is one.
        const size_t got = m_pBuffer == nullptr
                               ? 0
                               : std::fread(m_pBuffer + rest, 1, static_cast<size_t>(m_nCapacity - rest), m_pFile);
        m_nPos = 0;
        m_nFilled = rest + static_cast<int>(got);
        m_nCount = m_nFilled < m_nRefill ? m_nFilled : m_nRefill;
        if (got == 0) {
            m_bEof = true;
            m_nCount = m_nFilled = 0;  // a rest too short for a unit ends the file unread
            return false;
        }
    }
    return true;
}

template <typename Unit>
bool COsTextFileReader::NextRawUnit(Unit skip, Unit& unit)
{
    while (FillUnits(sizeof(Unit))) {
        unit = UnitAt<Unit>(m_pBuffer + m_nPos, 0);
        m_nPos += sizeof(Unit);
        if (unit != skip)
            return true;
    }
    return false;
}

template <typename Unit>
int COsTextFileReader::ReadRawUnitLine(Unit** block, int* length, bool macLineEnds, Unit lineFeed,
                                       Unit carriageReturn)
{
    size_t capacity = static_cast<size_t>(GetBufferLength(*block));
    Unit* line = ReserveUnits(*block, 1, capacity);
    if (line == nullptr)
        return -1;
    *block = line;
    const Unit terminator = macLineEnds ? carriageReturn : lineFeed;
    size_t total = 0;
    bool held = true;  // false once the line has outgrown what a block can hold
    int result = -1;
    while (FillUnits(sizeof(Unit))) {
        result = 0;
        const char* start = m_pBuffer + m_nPos;
        const size_t unread = static_cast<size_t>(m_nCount - m_nPos) / sizeof(Unit);
        const size_t end = FindUnit(start, unread, terminator);
        const bool found = end < unread;
        m_nPos += static_cast<int>((found ? end + 1 : unread) * sizeof(Unit));
        // The line end is searched a refill at a time, so a CR that ends a refill is dropped as one before
        // an LF is, whatever follows it.
        size_t taken = end;
        if (!macLineEnds && taken > 0 && UnitAt<Unit>(start, taken - 1) == carriageReturn)
            --taken;
        if (held && taken > 0) {
            Unit* grown = ReserveUnits(line, total + taken + 1, capacity);
            if (grown != nullptr) {
                line = grown;
                *block = line;
                std::memcpy(line + total, start, taken * sizeof(Unit));
                total += taken;
            } else {
                held = false;  // the rest of the line is read and passed over
            }
        }
        if (found)
            break;
    }
    if (!held) {
        total = 0;
        result = -1;
    }
    line[total] = 0;
    AllocBlock(line, static_cast<int>((total + 1) * sizeof(Unit)));  // the length; the capacity is there
    *length = static_cast<int>(total);
    return result;
}

COsAnsiTextFileReader::COsAnsiTextFileReader(COsTextFile* owner, FILE* stream, int bufferSize)
    : COsTextFileReader(stream, bufferSize), m_pOwner(owner), m_pRawLine(nullptr)
{
}

COsAnsiTextFileReader::~COsAnsiTextFileReader()
{
    FreeBlock(m_pRawLine);
}

int COsAnsiTextFileReader::ReadChar()
{
    char unit;
    return NextRawUnit<char>('\r', unit) ? static_cast<unsigned char>(unit) : -1;
}

int COsAnsiTextFileReader::ReadLine(char** line, const char* codePage, const char*, bool*, bool macLineEnds)
{
    int length = 0;
    if (ReadRawUnitLine<char>(&m_pRawLine, &length, macLineEnds, '\n', '\r') < 0)
        return -1;
    char* converted = nullptr;
    const int status = COsEncoding::AnsiToUTF8(m_pRawLine, codePage, &converted);
    std::unique_ptr<char[]> owned(converted);
    if (status < 0)
        return -1;
    if (status == 0)
        return StoreEmptyLine(line);
    return StoreLine(line, converted, static_cast<size_t>(status));
}

COsUTF8TextFileReader::COsUTF8TextFileReader(FILE* stream, int bufferSize) : COsTextFileReader(stream, bufferSize)
{
}

int COsUTF8TextFileReader::ReadChar()
{
    char unit;
    return NextRawUnit<char>('\r', unit) ? static_cast<unsigned char>(unit) : -1;
}

int COsUTF8TextFileReader::ReadLine(char** line, const char*, const char*, bool*, bool macLineEnds)
{
    // Most lines lie whole in the current refill and fit the block that the caller hands back: one search,
    // one copy and the block's length. A line that crosses a refill, outgrows the block or comes first
    // takes the general way, with the same result.
    const int unread = m_nCount - m_nPos;
    if (unread > 0 && *line != nullptr) {
        const char* start = m_pBuffer + m_nPos;
        const char* end = static_cast<const char*>(std::memchr(start, macLineEnds ? '\r' : '\n', unread));
        if (end != nullptr) {
            size_t taken = static_cast<size_t>(end - start);
            if (!macLineEnds && taken > 0 && end[-1] == '\r')
                --taken;
            if (taken < static_cast<size_t>(GetBufferLength(*line))) {
                std::memcpy(*line, start, taken);
                (*line)[taken] = '\0';
                AllocBlock(*line, static_cast<int>(taken + 1));
                m_nPos += static_cast<int>(end - start) + 1;
                return 0;
            }
        }
    }
    int length = 0;
    return ReadRawUnitLine<char>(line, &length, macLineEnds, '\n', '\r');
}

template <typename Unit, bool BigEndian>
COsUnitTextFileReader<Unit, BigEndian>::COsUnitTextFileReader(FILE* stream, int bufferSize)
    : COsTextFileReader(stream, bufferSize, sizeof(Unit)), m_pRawLine(nullptr)
{
}

template <typename Unit, bool BigEndian>
COsUnitTextFileReader<Unit, BigEndian>::~COsUnitTextFileReader()
{
    FreeBlock(m_pRawLine);
}

template <typename Unit, bool BigEndian>
int COsUnitTextFileReader<Unit, BigEndian>::ReadChar()
{
    Unit unit;
    if (!NextRawUnit<Unit>(StoredOrder<Unit, BigEndian>(u'\r'), unit))
        return -1;
    const uint32_t value = static_cast<uint32_t>(StoredOrder<Unit, BigEndian>(unit));
    // Negative results mean the end, so a UTF-32 value beyond them comes out as the replacement character.
    return value > 0x7FFFFFFF ? 0xFFFD : static_cast<int>(value);
}

template <typename Unit, bool BigEndian>
int COsUnitTextFileReader<Unit, BigEndian>::ReadLine(char** line, const char*, const char*, bool*, bool macLineEnds)
{
    int length = 0;
    if (ReadRawUnitLine<Unit>(&m_pRawLine, &length, macLineEnds, StoredOrder<Unit, BigEndian>(u'\n'),
                              StoredOrder<Unit, BigEndian>(u'\r')) < 0)
        return -1;
    if (BigEndian != encoding::kBigEndianHost) {
        for (int i = 0; i < length; ++i)
            m_pRawLine[i] = SwapBytes(m_pRawLine[i]);
    }
    return StoreConvertedUnits(line, m_pRawLine, static_cast<size_t>(length));
}

template class COsUnitTextFileReader<char16_t, false>;
template class COsUnitTextFileReader<char16_t, true>;
template class COsUnitTextFileReader<char32_t, false>;
template class COsUnitTextFileReader<char32_t, true>;
