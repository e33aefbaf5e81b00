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

bool ValidRadix(unsigned int radix)
{
    return radix != 1 && radix <= 36;
}

// The whole text as a double: no range error, not empty, and strtod reached its end.
bool ReadWholeDouble(const char* text, size_t length, double& value)
{
    errno = 0;
    char* end = nullptr;
    double read = std::strtod(text, &end);
    if (errno == ERANGE || length == 0 || end != text + length)
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
bool ReadWholeNumber(const char* text, size_t length, int& value)
{
    double read = 0;
    if (!ReadWholeDouble(text, length, read))
        return false;
    int whole = CutTowardZero<int>(read);
    if (!COsNumeric::IsEqual(whole, read))
        return false;
    value = whole;
    return true;
}

bool ReadInt32(const char* text, size_t length, unsigned int radix, int& value)
{
    errno = 0;
    char* end = nullptr;
    long read = std::strtol(text, &end, static_cast<int>(radix));
    bool inRange = errno != ERANGE && read >= std::numeric_limits<int>::min() && read <= std::numeric_limits<int>::max();
    if (inRange && length != 0 && end == text + length) {
        value = static_cast<int>(read);
        return true;
    }
    return ReadWholeNumber(text, length, value);
}

bool ReadInt64(const char* text, size_t length, unsigned int radix, int64_t& value)
{
    errno = 0;
    char* end = nullptr;
    long long read = std::strtoll(text, &end, static_cast<int>(radix));
    if (end == text || errno == ERANGE)
        return false;
    if (length != 0 && end == text + length) {
        value = read;
        return true;
    }
    int whole = 0;
    if (!ReadWholeNumber(text, length, whole))
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

// Writes each byte as two capital digits followed by the separator into target, which has room for
// count * (2 + separatorLength) characters.
void WriteHex(const unsigned char* data, size_t count, const char* separator, size_t separatorLength, char* target)
{
    for (size_t index = 0; index < count; ++index) {
        *target++ = kHexDigits[data[index] >> 4];
        *target++ = kHexDigits[data[index] & 0x0F];
        std::memcpy(target, separator, separatorLength);
        target += separatorLength;
    }
}

int HexDigitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

// The byte that a token stands for, or -1. A token has two characters and begins with a hexadecimal
// digit; a second character that is no digit ends the number there, so "1Z" stands for 0x01.
int ReadHexToken(std::string_view token)
{
    if (token.size() != 2)
        return -1;
    int high = HexDigitValue(token[0]);
    if (high < 0)
        return -1;
    int low = HexDigitValue(token[1]);
    return low < 0 ? high : high * 16 + low;
}

// Calls visit(token) for each token of the working text: the pieces between separators, empty ones
// dropped, or unbroken pairs with one empty pair behind them when the caller's length reached beyond the
// text.
template <typename Visit>
void ForEachHexToken(std::string_view working, const char* separator, bool lengthBeyondText, Visit&& visit)
{
    if (SeparatorLength(separator) != 0) {
        veltrane::text::ForEachToken(working, separator, true, [&](std::string_view token) {
            if (!token.empty())
                visit(token);
        });
        return;
    }
    for (size_t position = 0; position < working.size(); position += 2)
        visit(working.substr(position, 2));
    if (lengthBeyondText)
        visit(std::string_view());
}

}  // namespace

bool COsConverter::StringToDouble(const std::string& text, double& value)
{
    return ReadWholeDouble(text.c_str(), text.size(), value);
}

bool COsConverter::StringToDouble(const char* text, double& value)
{
    return text != nullptr && ReadWholeDouble(text, std::strlen(text), value);
}

bool COsConverter::StringToInt32(const std::string& text, int& value)
{
    return ReadInt32(text.c_str(), text.size(), 10, value);
}

bool COsConverter::StringToInt32(const char* text, int& value)
{
    return text != nullptr && ReadInt32(text, std::strlen(text), 10, value);
}

bool COsConverter::StringToInt32(const std::string& text, unsigned int radix, int& value)
{
    return ValidRadix(radix) && ReadInt32(text.c_str(), text.size(), radix, value);
}

bool COsConverter::StringToInt32(const char* text, unsigned int radix, int& value)
{
    return ValidRadix(radix) && text != nullptr && ReadInt32(text, std::strlen(text), radix, value);
}

bool COsConverter::StringToInt64(const std::string& text, int64_t& value)
{
    return ReadInt64(text.c_str(), text.size(), 10, value);
}

bool COsConverter::StringToInt64(const char* text, int64_t& value)
{
    return text != nullptr && ReadInt64(text, std::strlen(text), 10, value);
}

bool COsConverter::StringToInt64(const std::string& text, unsigned int radix, int64_t& value)
{
    return ValidRadix(radix) && ReadInt64(text.c_str(), text.size(), radix, value);
}

bool COsConverter::StringToInt64(const char* text, unsigned int radix, int64_t& value)
{
    return ValidRadix(radix) && text != nullptr && ReadInt64(text, std::strlen(text), radix, value);
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
    size_t total = (2 + separatorLength) * count;
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
    std::string text((2 + separatorLength) * count, '\0');
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
    bool lengthBeyondText = length > textLength;
    if (SeparatorLength(separator) == 0 && working.size() % 2 != 0)
        return OS_ERR_HEX_FORMAT;

    size_t tokenCount = 0;
    ForEachHexToken(working, separator, lengthBeyondText, [&](std::string_view) { ++tokenCount; });
    char* bytes = new char[tokenCount + 1]();
    *result = bytes;

    size_t stored = 0;
    bool valid = true;
    ForEachHexToken(working, separator, lengthBeyondText, [&](std::string_view token) {
        int value = valid ? ReadHexToken(token) : -1;
        valid = value >= 0;
        if (valid)
            bytes[stored++] = static_cast<char>(value);
    });
    if (!valid) {
        delete[] bytes;
        *result = nullptr;
        return OS_ERR_HEX_FORMAT;
    }
    return static_cast<int64_t>(tokenCount);
}

int64_t COsConverter::HexStringToBytes(const std::string& text, char** result)
{
    return HexStringToBytes(text.c_str(), text.size(), kDefaultSeparator, result);
}

int64_t COsConverter::HexStringToBytes(const std::string& text, const char* separator, char** result)
{
    return HexStringToBytes(text.c_str(), text.size(), separator, result);
}
