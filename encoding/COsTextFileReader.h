// Internal: the readers behind COsTextFile, one per format. A reader owns the read buffer of an open text
// file, finds the line ends in it and turns each line into UTF-8.
#pragma once

#include <cstddef>
#include <cstdio>

class COsTextFile;

// The reader of a file that has nothing to read (an empty file under detection): every read reports the
// end. It is also the base of the format readers and holds what they share: the stream, which it never
// closes, and the buffer that every read goes through.
//
// The data comes a refill at a time: `bufferSize` bytes, or as many whole units as fit them (one unit at
// least), and the line steps look at one refill at a time. To spare a request to the system and a copy for
// each refill, the reader reads 64 KiB or more at once and hands them out a refill at a time: the results
// are those of reading each refill by itself.
class COsTextFileReader
{
public:
    // A size of 0 means 4096 bytes; a negative size means no buffer at all, and every read reports the end.
    // `unitSize` is the size of the format's unit in bytes.
    COsTextFileReader(FILE* stream, int bufferSize, int unitSize = 1);
    virtual ~COsTextFileReader();
    COsTextFileReader(const COsTextFileReader&) = delete;
    COsTextFileReader& operator=(const COsTextFileReader&) = delete;

    // The next character as a number, CR skipped; -1 at the end.
    virtual int ReadChar();
    // The next line as UTF-8 into the block *line; the result as COsTextFile::ReadLine gives it.
    virtual int ReadLine(char** line, const char* codePage, const char* unknownChar, bool* flag, bool macLineEnds);

    // False when the buffer that the constructor was asked for could not be allocated.
    bool HasBuffer() const { return m_nCapacity <= 0 || m_pBuffer != nullptr; }

protected:
    // Makes sure that at least `unitSize` bytes of the refill lie unread, moving on to the next refill when
    // fewer do: false at the end. A rest too short for a unit is completed by the next read; at the end of
    // the file it is dropped.
    bool FillUnits(int unitSize) { return m_nCount - m_nPos >= unitSize || NextRefill(unitSize); }

    // The next unit as the file stores it, passing over units equal to `skip`; false at the end.
    template <typename Unit>
    bool NextRawUnit(Unit skip, Unit& unit);

    // Reads the units up to the next line end into the block *block (units as the file stores them, then a
    // 0 unit) and their count into *length. The line ends at `lineFeed`, or at `carriageReturn` with
    // `macLineEnds`; without it a CR that is the last unit taken from a refill is dropped. 0 for a line, -1
    // at the end, and -1 with an empty block for a line that a block cannot hold, which is read to its end.
    template <typename Unit>
    int ReadRawUnitLine(Unit** block, int* length, bool macLineEnds, Unit lineFeed, Unit carriageReturn);

    FILE* m_pFile;
    int m_nBufferSize;
    char* m_pBuffer;
    int m_nPos;    // the read position in m_pBuffer
    int m_nCount;  // the end of the current refill in m_pBuffer
    bool m_bEof;

private:
    // FillUnits when the refill is used up.
    bool NextRefill(int unitSize);

    int m_nRefill;    // the bytes of one refill: bufferSize rounded down to whole units
    int m_nCapacity;  // the bytes of m_pBuffer, a whole number of refills
    int m_nFilled;    // the bytes that the last read of the stream left in m_pBuffer
};

// ANSI text: bytes of a code page, converted line by line through COsEncoding with the caller's code page.
class COsAnsiTextFileReader : public COsTextFileReader
{
public:
    COsAnsiTextFileReader(COsTextFile* owner, FILE* stream, int bufferSize);
    ~COsAnsiTextFileReader() override;
    int ReadChar() override;
    int ReadLine(char** line, const char* codePage, const char* unknownChar, bool* flag, bool macLineEnds) override;

private:
    [[maybe_unused]] COsTextFile* m_pOwner;  // the file that made this reader; no read needs it yet
    char* m_pRawLine;       // block: the line's bytes before conversion
};

// UTF-8 text: lines go to the caller's block as the file holds them, without conversion.
class COsUTF8TextFileReader : public COsTextFileReader
{
public:
    COsUTF8TextFileReader(FILE* stream, int bufferSize);
    int ReadChar() override;
    int ReadLine(char** line, const char* codePage, const char* unknownChar, bool* flag, bool macLineEnds) override;
};

// UTF-16 (`Unit` char16_t) or UTF-32 (char32_t) text in the byte order the file stores, little-endian or
// big-endian.
template <typename Unit, bool BigEndian>
class COsUnitTextFileReader : public COsTextFileReader
{
public:
    COsUnitTextFileReader(FILE* stream, int bufferSize);
    ~COsUnitTextFileReader() override;
    int ReadChar() override;
    int ReadLine(char** line, const char* codePage, const char* unknownChar, bool* flag, bool macLineEnds) override;

private:
    Unit* m_pRawLine;  // block: the line's units in the host's byte order
};

using COsUTF16LETextFileReader = COsUnitTextFileReader<char16_t, false>;
using COsUTF16BETextFileReader = COsUnitTextFileReader<char16_t, true>;
using COsUTF32LETextFileReader = COsUnitTextFileReader<char32_t, false>;
using COsUTF32BETextFileReader = COsUnitTextFileReader<char32_t, true>;

// Made once, in the readers' source.
extern template class COsUnitTextFileReader<char16_t, false>;
extern template class COsUnitTextFileReader<char16_t, true>;
extern template class COsUnitTextFileReader<char32_t, false>;
extern template class COsUnitTextFileReader<char32_t, true>;
