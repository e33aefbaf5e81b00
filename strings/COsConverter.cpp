// COsConverter: text to numbers and back, scaled integers, and bytes to hexadecimal text and back.
#include "strings/COsConverter.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <string_view>

#include "strings/COsNumeric.h"
#include "strings/COsString.h"
#include "strings/TextBytes.h"

namespace {

// Powers of ten indexed by a count of decimal places.
constexpr int kScale[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
constexpr unsigned int kScaleCount = sizeof kScale / sizeof kScale[0];

constexpr char kDefaultSeparator[] = " ";
constexpr char kHexDigits[] = "0123456789ABCDEF";

// A text handed to the number readers: a standard string's contents with their end, or a NUL-terminated
// text whose end is its terminator, so that no reader measures a text before converting it.
struct NumberText
{
    const char* begin;
    const char* end;  // null for a NUL-terminated text

    bool Empty() const { return end == nullptr ? *begin == '\0' : end == begin; }
    bool EndsAt(const char* stop) const { return end == nullptr ? *stop == '\0' : stop == end; }
};

NumberText Whole(const std::string& text)
{
    return {text.c_str(), text.c_str() + text.size()};
}

NumberText Terminated(const char* text)
{
    return {text, nullptr};
}

bool ValidRadix(unsigned int radix)
{
    return radix != 1 && radix <= 36;
}

// The whole text as a double: no range error, not empty, and strtod reached its end.
bool ReadWholeDouble(NumberText text, double& value)
{
    errno = 0;
    char* end = nullptr;
    double read = std::strtod(text.begin, &end);
    if (errno == ERANGE || text.Empty() || !text.EndsAt(end))
        return false;
    value = read;
    return true;
}

// A double cut towards zero to the width of Integer; a value beyond that width, or a NaN, gives the
// width's most negative value, as the processor's own conversion does.
template <typename Integer>
Integer CutTowardZero(double value)
{
    constexpr double lowest = static_cast<double>(std::numeric_limits<Integer>::min());
    if (value >= lowest && value < -lowest)
        return static_cast<Integer>(value);
    return std::numeric_limits<Integer>::min();
}

// The floating-point stage of the integer readers: a decimal text whose value lies within the tolerance of
// COsNumeric of a whole 32-bit number, after cutting towards zero.
bool ReadWholeNumber(NumberText text, int& value)
{
    double read = 0;
    if (!ReadWholeDouble(text, read))
        return false;
    int whole = CutTowardZero<int>(read);
    if (!COsNumeric::IsEqual(whole, read))
        return false;
    value = whole;
    return true;
}

bool ReadInt32(NumberText text, unsigned int radix, int& value)
{
    errno = 0;
    char* end = nullptr;
    long read = std::strtol(text.begin, &end, static_cast<int>(radix));
    bool inRange = errno != ERANGE && read >= std::numeric_limits<int>::min() && read <= std::numeric_limits<int>::max();
    if (inRange && !text.Empty() && text.EndsAt(end)) {
        value = static_cast<int>(read);
        return true;
    }
    return ReadWholeNumber(text, value);
}

bool ReadInt64(NumberText text, unsigned int radix, int64_t& value)
{
    errno = 0;
    char* end = nullptr;
    long long read = std::strtoll(text.begin, &end, static_cast<int>(radix));
    if (end == text.begin || errno == ERANGE)
        return false;
    if (!text.Empty() && text.EndsAt(end)) {
        value = read;
        return true;
    }
    int whole = 0;
    if (!ReadWholeNumber(text, whole))
        return false;
    value = whole;
    return true;
}

template <typename Integer>
int ScaleToInteger(double value, unsigned int scale, Integer& result)
{
    if (scale >= kScaleCount)
        return OS_ERR_OUT_OF_RANGE;
    double product = value * kScale[scale];
    double rounded = value >= 0 ? product + 0.5 : product - 0.5;  // a NaN takes the second branch
    result = CutTowardZero<Integer>(rounded);
    return 0;
}

template <typename Integer>
int ScaleToDouble(Integer value, unsigned int scale, double& result)
{
    if (scale >= kScaleCount)
        return OS_ERR_OUT_OF_RANGE;
    result = static_cast<double>(value) / static_cast<double>(kScale[scale]);
    return 0;
}

size_t SeparatorLength(const char* separator)
{
    return separator == nullptr ? 0 : std::strlen(separator);
}

// The length of the text for `count` bytes, each written as two digits and the separator. False when it
// would not fit the signed 64-bit result with room for a terminator: the product would wrap, and a
// buffer sized by the wrapped value would be written far past its end.
bool HexTextLength(size_t count, size_t separatorLength, size_t& total)
{
    constexpr size_t kMaxTotal = static_cast<size_t>(std::numeric_limits<int64_t>::max()) - 1;
    size_t perByte = 2 + separatorLength;
    if (separatorLength > kMaxTotal - 2 || count > kMaxTotal / perByte)
        return false;
    total = perByte * count;
    return true;
}

// Writes each byte as two capital digits followed by the separator into target, which has room for
// count * (2 + separatorLength) characters.
void WriteHex(const unsigned char* data, size_t count, const char* separator, size_t separatorLength, char* target)
{
    if (separator == nullptr)
        separator = "";
    for (size_t index = 0; index < count; ++index) {
        *target++ = kHexDigits[data[index] >> 4];
        *target++ = kHexDigits[data[index] & 0x0F];
        std::memcpy(target, separator, separatorLength);
        target += separatorLength;
    }
}

// The value of each byte as a hexadecimal digit of either case, or -1.
struct HexDigitTable
{
    signed char value[256];

    constexpr HexDigitTable() : value()
    {
        for (int byte = 0; byte < 256; ++byte)
            value[byte] = -1;
        for (int digit = 0; digit < 10; ++digit)
            value['0' + digit] = static_cast<signed char>(digit);
        for (int digit = 0; digit < 6; ++digit) {
            value['A' + digit] = static_cast<signed char>(10 + digit);
            value['a' + digit] = static_cast<signed char>(10 + digit);
        }
    }
};

constexpr HexDigitTable kHexDigitValues;

int HexDigitValue(char digit)
{
    return kHexDigitValues.value[static_cast<unsigned char>(digit)];
}

// The byte that a two-character token stands for, or -1. The token must begin with a hexadecimal digit;
// a second character that is no digit ends the number there, so "1Z" stands for 0x01.
int ReadHexPair(char first, char second)
{
    int high = HexDigitValue(first);
    if (high < 0)
        return -1;
    int low = HexDigitValue(second);
    return low < 0 ? high : high * 16 + low;
}

// Reads the tokens between whole separators, empty ones dropped, as two-character hexadecimal tokens into
// bytes. Returns the number stored, or -1 at the first token that is not two characters long or is not
// hexadecimal. The separators are matched in place, left to right without overlap, which cuts the text
// exactly as COsString::Split does with drop-empty and whole-separator set.
int64_t ReadSeparatedPairs(std::string_view text, std::string_view separator, char* bytes)
{
    auto separatorAt = [&](size_t position) {
        return position + separator.size() <= text.size() && text[position] == separator[0] &&
               (separator.size() == 1 ||
                std::memcmp(text.data() + position + 1, separator.data() + 1, separator.size() - 1) == 0);
    };
    size_t stored = 0;
    size_t position = 0;
    while (position < text.size()) {
        if (separatorAt(position)) {
            position += separator.size();
            continue;
        }
        // A token of exactly two characters: no separator starts on its second character, and one starts
        // right behind it unless the text ends there.
        bool twoCharacters = position + 2 <= text.size() && !separatorAt(position + 1) &&
                             (position + 2 == text.size() || separatorAt(position + 2));
        int value = twoCharacters ? ReadHexPair(text[position], text[position + 1]) : -1;
        if (value < 0)
            return -1;
        bytes[stored++] = static_cast<char>(value);
        position += 2;
    }
    return static_cast<int64_t>(stored);
}

// Reads the text as unbroken pairs into bytes; an empty pair behind them, when the caller's length reached
// beyond the text, is not a valid token. Returns the number stored, or -1.
int64_t ReadUnbrokenPairs(std::string_view text, bool lengthBeyondText, char* bytes)
{
    for (size_t position = 0; position < text.size(); position += 2) {
        int value = ReadHexPair(text[position], text[position + 1]);
        if (value < 0)
            return -1;
        bytes[position / 2] = static_cast<char>(value);
    }
    return lengthBeyondText ? -1 : static_cast<int64_t>(text.size() / 2);
}

}  // namespace

bool COsConverter::StringToDouble(const std::string& text, double& value)
{
    return ReadWholeDouble(Whole(text), value);
}

bool COsConverter::StringToDouble(const char* text, double& value)
{
    return text != nullptr && ReadWholeDouble(Terminated(text), value);
}

bool COsConverter::StringToInt32(const std::string& text, int& value)
{
    return ReadInt32(Whole(text), 10, value);
}

bool COsConverter::StringToInt32(const char* text, int& value)
{
    return text != nullptr && ReadInt32(Terminated(text), 10, value);
}

bool COsConverter::StringToInt32(const std::string& text, unsigned int radix, int& value)
{
    return ValidRadix(radix) && ReadInt32(Whole(text), radix, value);
}

bool COsConverter::StringToInt32(const char* text, unsigned int radix, int& value)
{
    return ValidRadix(radix) && text != nullptr && ReadInt32(Terminated(text), radix, value);
}

bool COsConverter::StringToInt64(const std::string& text, int64_t& value)
{
    return ReadInt64(Whole(text), 10, value);
}

bool COsConverter::StringToInt64(const char* text, int64_t& value)
{
    return text != nullptr && ReadInt64(Terminated(text), 10, value);
}

bool COsConverter::StringToInt64(const std::string& text, unsigned int radix, int64_t& value)
{
    return ValidRadix(radix) && ReadInt64(Whole(text), radix, value);
}

bool COsConverter::StringToInt64(const char* text, unsigned int radix, int64_t& value)
{
    return ValidRadix(radix) && text != nullptr && ReadInt64(Terminated(text), radix, value);
}

int COsConverter::DoubleToInt32(double value, int& result)
{
    return ScaleToInteger(value, 0, result);
}

int COsConverter::DoubleToInt32(double value, unsigned int scale, int& result)
{
    return ScaleToInteger(value, scale, result);
}

int COsConverter::DoubleToInt64(double value, int64_t& result)
{
    return ScaleToInteger(value, 0, result);
}

int COsConverter::DoubleToInt64(double value, unsigned int scale, int64_t& result)
{
    return ScaleToInteger(value, scale, result);
}

int COsConverter::Int32ToDouble(int value, double& result)
{
    return ScaleToDouble(value, 0, result);
}

int COsConverter::Int32ToDouble(int value, unsigned int scale, double& result)
{
    return ScaleToDouble(value, scale, result);
}

int COsConverter::Int64ToDouble(int64_t value, double& result)
{
    return ScaleToDouble(value, 0, result);
}

int COsConverter::Int64ToDouble(int64_t value, unsigned int scale, double& result)
{
    return ScaleToDouble(value, scale, result);
}

std::string COsConverter::BoolToString(bool value)
{
    return value ? "true" : "false";
}

std::string COsConverter::DoubleToString(double value)
{
    std::ostringstream stream;
    stream << std::fixed << value;
    std::string text = stream.str();
    if (text.find('.') == std::string::npos)
        return text;
    return COsString::TrimEnd(COsString::TrimEnd(text, "0"), ".");
}

// std::to_string writes what a default stream writes for an integer: decimal, no grouping.
std::string COsConverter::Int32ToString(int value)
{
    return std::to_string(value);
}

std::string COsConverter::Int64ToString(int64_t value)
{
    return std::to_string(value);
}

int64_t COsConverter::BytesToHexString(const unsigned char* data, size_t count, char** result)
{
    return BytesToHexString(data, count, kDefaultSeparator, result);
}

int64_t COsConverter::BytesToHexString(const unsigned char* data, size_t count, const char* separator, char** result)
{
    if (data == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    size_t separatorLength = SeparatorLength(separator);
    size_t total = 0;
    if (!HexTextLength(count, separatorLength, total))
        return OS_ERR_OUT_OF_RANGE;
    char* text = new char[total + 1]();
    *result = text;
    WriteHex(data, count, separator, separatorLength, text);
    return static_cast<int64_t>(total);
}

std::string COsConverter::BytesToHexString(const unsigned char* data, size_t count)
{
    return BytesToHexString(data, count, kDefaultSeparator);
}

// Writes straight into the string: the same text as the buffer form gives, without the buffer.
std::string COsConverter::BytesToHexString(const unsigned char* data, size_t count, const char* separator)
{
    if (data == nullptr)
        return std::string();
    size_t separatorLength = SeparatorLength(separator);
    size_t total = 0;
    if (!HexTextLength(count, separatorLength, total))
        return std::string();
    std::string text(total, '\0');
    WriteHex(data, count, separator, separatorLength, text.data());
    return text;
}

int64_t COsConverter::HexStringToBytes(const char* text, size_t length, char** result)
{
    return HexStringToBytes(text, length, kDefaultSeparator, result);
}

int64_t COsConverter::HexStringToBytes(const char* text, size_t length, const char* separator, char** result)
{
    if (text == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    size_t textLength = veltrane::text::BoundedLength(text, length);
    std::string_view working(text, textLength);
    size_t separatorLength = SeparatorLength(separator);
    if (separatorLength == 0 && working.size() % 2 != 0)
        return OS_ERR_HEX_FORMAT;

    // Room for as many bytes as two-character tokens with a separator between each fit in the text: the
    // buffer is made once and filled in one pass, and a text with a bad token is refused whole anyway.
    size_t room = (working.size() + separatorLength) / (2 + separatorLength);
    char* bytes = new char[room + 1]();
    *result = bytes;
    int64_t stored = separatorLength == 0
                         ? ReadUnbrokenPairs(working, length > textLength, bytes)
                         : ReadSeparatedPairs(working, std::string_view(separator, separatorLength), bytes);
    if (stored < 0) {
        delete[] bytes;
        *result = nullptr;
        return OS_ERR_HEX_FORMAT;
    }
    return stored;
}

int64_t COsConverter::HexStringToBytes(const std::string& text, char** result)
{
    return HexStringToBytes(text.c_str(), text.size(), kDefaultSeparator, result);
}

int64_t COsConverter::HexStringToBytes(const std::string& text, const char* separator, char** result)
{
    return HexStringToBytes(text.c_str(), text.size(), separator, result);
}
