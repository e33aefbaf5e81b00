// What COsTextFile gives for a file, worked out the plain way, a unit at a time, for the tests and the fuzz
// target to compare with. Detection, line ends, refills, the NUL cut and the conversions of each format.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <Veltrane.h>

namespace veltrane_test {

// How a format stores text: the bytes of its unit, their order, and the mark it requires.
struct FormatShape {
    int unit;
    bool bigEndian;
    std::string mark;
};

inline FormatShape ShapeOf(ETextFormat format)
{
    switch (format) {
    case TextFormatUTF8Bom:
        return {1, false, "\xEF\xBB\xBF"};
    case TextFormatUTF16LEBom:
        return {2, false, "\xFF\xFE"};
    case TextFormatUTF16LE:
        return {2, false, ""};
    case TextFormatUTF16BEBom:
        return {2, true, "\xFE\xFF"};
    case TextFormatUTF16BE:
        return {2, true, ""};
    case TextFormatUTF32LEBom:
        return {4, false, std::string("\xFF\xFE\0\0", 4)};
    case TextFormatUTF32LE:
        return {4, false, ""};
    case TextFormatUTF32BEBom:
        return {4, true, std::string("\0\0\xFE\xFF", 4)};
    case TextFormatUTF32BE:
        return {4, true, ""};
    default:
        return {1, false, ""};
    }
}

// The first byte of the pattern scan that breaks it, in the plain form: -1 when the file passes, -2 when
// it ends inside a sequence.
inline long FirstBreak(const std::string& bytes)
{
    int owed = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const unsigned char byte = static_cast<unsigned char>(bytes[i]);
        if (owed > 0) {
            if ((byte & 0xC0) != 0x80)
                return static_cast<long>(i);
            --owed;
            continue;
        }
        if (byte < 0x80)
            continue;
        int ones = 0;
        while (ones < 8 && (byte << ones & 0x80))
            ++ones;
        if (ones < 2 || ones > 6)
            return static_cast<long>(i);
        owed = ones - 1;
    }
    return owed > 0 ? -2 : -1;
}

// The format that detection finds and where reading starts, or -2 for a file that Open refuses.
inline int DetectedFormat(const std::string& bytes, size_t& start)
{
    auto at = [&](size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : -1; };
    start = 0;
    if (bytes.empty())
        return TextFormatAuto;
    if (at(0) == 0xFF && at(1) == 0xFE) {
        start = at(2) == 0 && at(3) == 0 ? 4 : 2;
        return start == 4 ? TextFormatUTF32LEBom : TextFormatUTF16LEBom;
    }
    if (at(0) == 0xFF)
        return TextFormatAnsi;
    if (at(0) == 0) {
        const bool mark = at(1) == 0 && at(2) == 0xFE && at(3) == 0xFF;
        start = mark ? 4 : 0;
        return mark ? TextFormatUTF32BEBom : TextFormatAnsi;
    }
    if (at(0) == 0xFE && at(1) == 0xFF) {
        start = 2;
        return TextFormatUTF16BEBom;
    }
    if (at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF) {
        start = 3;
        return TextFormatUTF8Bom;
    }
    const long broken = FirstBreak(bytes);
    return broken == -2 ? -2 : broken == -1 ? TextFormatUTF8 : TextFormatAnsi;
}

// The units of the bytes from `start` on; a rest too short for a unit is dropped.
inline std::vector<uint32_t> Units(const std::string& bytes, size_t start, const FormatShape& shape)
{
    std::vector<uint32_t> units;
    for (size_t at = start; at + shape.unit <= bytes.size(); at += shape.unit) {
        uint32_t unit = 0;
        for (int i = 0; i < shape.unit; ++i) {
            const uint32_t byte = static_cast<unsigned char>(bytes[at + i]);
            unit |= byte << 8 * (shape.bigEndian ? shape.unit - 1 - i : i);
        }
        units.push_back(unit);
    }
    return units;
}

// The lines of `units` read `refill` units at a time: a line ends at LF, or at CR with `mac`. Without `mac`
// a CR is dropped where an LF follows it and where it is the last unit of a refill (so also at the end).
// Units behind the last line end make one more line, even when they were all dropped.
inline std::vector<std::vector<uint32_t>> RawLines(const std::vector<uint32_t>& units, size_t refill, bool mac)
{
    std::vector<std::vector<uint32_t>> lines;
    std::vector<uint32_t> line;
    bool open = false;
    for (size_t i = 0; i < units.size(); ++i) {
        const uint32_t unit = units[i];
        open = true;
        if (unit == (mac ? 13u : 10u)) {
            lines.push_back(line);
            line.clear();
            open = false;
        } else if (mac || unit != 13 || ((i + 1 < units.size() && units[i + 1] != 10) && (i + 1) % refill != 0)) {
            line.push_back(unit);
        }
    }
    if (open)
        lines.push_back(line);
    return lines;
}

inline void AppendUtf8(std::string& out, uint32_t c)
{
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        c = 0xFFFD;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
        out += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
                static_cast<char>(0x80 | (c & 0x3F))};
    } else {
        out += {static_cast<char>(0xF0 | c >> 18), static_cast<char>(0x80 | (c >> 12 & 0x3F)),
                static_cast<char>(0x80 | (c >> 6 & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
    }
}

// One line as ReadLine gives it: the result and the text. The UTF-8 readers keep every byte; the others end
// the line at its first 0 unit and convert the rest (ANSI through the library's conversion of the ANSI code
// page, UTF-16 with a surrogate pair as one character and a lone surrogate as U+FFFD, UTF-32 with every
// value that is no character as U+FFFD).
inline std::pair<int, std::string> LineOf(const std::vector<uint32_t>& raw, ETextFormat format)
{
    std::string text;
    if (format == TextFormatUTF8 || format == TextFormatUTF8Bom) {
        for (uint32_t unit : raw)
            text += static_cast<char>(unit);
        return {0, text};
    }
    size_t length = 0;
    while (length < raw.size() && raw[length] != 0)
        ++length;
    if (format == TextFormatAnsi) {
        std::string bytes;
        for (size_t i = 0; i < length; ++i)
            bytes += static_cast<char>(raw[i]);
        char* converted = nullptr;
        COsEncoding::AnsiToUTF8(bytes.c_str(), nullptr, &converted);
        text = converted ? converted : "";
        delete[] converted;
    } else if (ShapeOf(format).unit == 2) {
        for (size_t i = 0; i < length; ++i) {
            const uint32_t unit = raw[i];
            if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < length && raw[i + 1] >= 0xDC00 && raw[i + 1] < 0xE000) {
                AppendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (raw[i + 1] - 0xDC00));
                ++i;
            } else {
                AppendUtf8(text, unit);
            }
        }
    } else {
        for (size_t i = 0; i < length; ++i)
            AppendUtf8(text, raw[i]);
    }
    return {text.empty() ? 0 : static_cast<int>(text.size() + 1), text};
}

// Every line of a file that opened in `format` (never TextFormatAuto) and is read from `start` with the
// buffer size given to Open.
inline std::vector<std::pair<int, std::string>> ExpectedLines(const std::string& bytes, size_t start, ETextFormat format,
                                                              int bufferSize, bool mac)
{
    std::vector<std::pair<int, std::string>> lines;
    if (bufferSize < 0)
        return lines;
    const FormatShape shape = ShapeOf(format);
    const int bytesPerRefill = bufferSize == 0 ? 4096 : bufferSize;
    const size_t refill = bytesPerRefill < shape.unit ? 1 : static_cast<size_t>(bytesPerRefill / shape.unit);
    for (const std::vector<uint32_t>& raw : RawLines(Units(bytes, start, shape), refill, mac))
        lines.push_back(LineOf(raw, format));
    return lines;
}

// ReadChar's values: the units without CR, a UTF-32 value beyond INT_MAX as U+FFFD.
inline std::vector<int> ExpectedChars(const std::string& bytes, size_t start, ETextFormat format, int bufferSize)
{
    std::vector<int> chars;
    if (bufferSize < 0)
        return chars;
    for (uint32_t unit : Units(bytes, start, ShapeOf(format))) {
        if (unit != 13)
            chars.push_back(unit > 0x7FFFFFFF ? 0xFFFD : static_cast<int>(unit));
    }
    return chars;
}

}  // namespace veltrane_test
