// COsConverter: the two stages of the integer readers, scaling, number texts and the hexadecimal pair.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include <Veltrane.h>

namespace {

constexpr int kUntouched = 4242;

// Reads text with StringToInt32 through both text forms, which must agree; returns the value or kUntouched.
bool ReadInt32(const char* text, unsigned int radix, int& value)
{
    int fromPointer = kUntouched;
    int fromString = kUntouched;
    bool pointerResult = COsConverter::StringToInt32(text, radix, fromPointer);
    bool stringResult = COsConverter::StringToInt32(std::string(text), radix, fromString);
    EXPECT_EQ(pointerResult, stringResult) << text;
    EXPECT_EQ(fromPointer, fromString) << text;
    value = fromPointer;
    return pointerResult;
}

}  // namespace

TEST(COsConverterStringToInt32, FirstStageReadsTheWholeTextInTheRadix)
{
    struct Row { const char* text; unsigned int radix; bool ok; int value; };
    const Row rows[] = {
        {" 12", 10, true, 12},
        {"12 ", 10, false, kUntouched},
        {"", 10, false, kUntouched},
        {"   ", 10, false, kUntouched},
        {"2147483647", 10, true, 2147483647},
        {"-2147483648", 10, true, std::numeric_limits<int>::min()},
        {"2147483648", 10, false, kUntouched},
        {"4294967296", 10, false, kUntouched},   // a range error first, then not a whole 32-bit number
        {"ff", 16, true, 255},
        {"ff", 10, false, kUntouched},
        {"ff", 0, false, kUntouched},
        {"0x10", 0, true, 16},
        {"010", 0, true, 8},
        {"z", 36, true, 35},
        {"1", 1, false, kUntouched},
        {"1", 37, false, kUntouched},
    };
    for (const Row& row : rows) {
        int value = kUntouched;
        EXPECT_EQ(ReadInt32(row.text, row.radix, value), row.ok) << row.text << " radix " << row.radix;
        EXPECT_EQ(value, row.value) << row.text << " radix " << row.radix;
    }
}

TEST(COsConverterStringToInt32, SecondStageTakesWholeNumbersWrittenAsFloatingPoint)
{
    struct Row { const char* text; unsigned int radix; bool ok; int value; };
    const Row rows[] = {
        {"12.0", 10, true, 12},
        {"1e3", 10, true, 1000},
        {"12.00000000001", 10, true, 12},    // within the tolerance of a whole number
        {"-7.0", 10, true, -7},
        {"12.5", 10, false, kUntouched},
        {"11.99999999999", 10, false, kUntouched},   // cut towards zero, not rounded
        {"12", 2, true, 12},                  // not binary, but a decimal floating-point text
        {"1e10", 10, false, kUntouched},
        {"-2147483648.0", 10, true, std::numeric_limits<int>::min()},
        {"1.5x", 10, false, kUntouched},
        {"1e999", 10, false, kUntouched},
    };
    for (const Row& row : rows) {
        int value = kUntouched;
        EXPECT_EQ(ReadInt32(row.text, row.radix, value), row.ok) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
    }
    int value = kUntouched;
    EXPECT_TRUE(COsConverter::StringToInt32("1e3", value));
    EXPECT_EQ(value, 1000);
    EXPECT_FALSE(COsConverter::StringToInt32(static_cast<const char*>(nullptr), value));
    EXPECT_FALSE(COsConverter::StringToInt32(static_cast<const char*>(nullptr), 16, value));
    EXPECT_EQ(value, 1000);
}

TEST(COsConverterStringToInt32, EarlierRangeErrorOnTheThreadDoesNotCount)
{
    errno = ERANGE;
    int value = kUntouched;
    EXPECT_TRUE(COsConverter::StringToInt32("17", value));
    EXPECT_EQ(value, 17);
    errno = ERANGE;
    double real = 0;
    EXPECT_TRUE(COsConverter::StringToDouble("2.5", real));
    EXPECT_EQ(real, 2.5);
}

TEST(COsConverterStringToInt64, SecondStageReachesOnlyThe32BitRange)
{
    struct Row { const char* text; unsigned int radix; bool ok; int64_t value; };
    const int64_t untouched = -77;
    const Row rows[] = {
        {"9223372036854775807", 10, true, std::numeric_limits<int64_t>::max()},
        {"-9223372036854775808", 10, true, std::numeric_limits<int64_t>::min()},
        {"9223372036854775808", 10, false, untouched},
        {"10000000000", 10, true, 10000000000LL},
        {"1e10", 10, false, untouched},           // the floating-point stage cuts to 32 bits
        {"2147483648.0", 10, false, untouched},
        {"2147483647.0", 10, true, 2147483647},
        {"-5.0", 10, true, -5},
        {"1e3", 10, true, 1000},
        {".5", 10, false, untouched},             // no digit: no second stage
        {"", 10, false, untouched},
        {"ffffffffff", 16, true, 0xffffffffffLL},
        {"7fffffffffffffff0", 16, false, untouched},
        {"12", 37, false, untouched},
        {"12 ", 10, false, untouched},
    };
    for (const Row& row : rows) {
        int64_t fromPointer = untouched;
        int64_t fromString = untouched;
        EXPECT_EQ(COsConverter::StringToInt64(row.text, row.radix, fromPointer), row.ok) << row.text;
        EXPECT_EQ(COsConverter::StringToInt64(std::string(row.text), row.radix, fromString), row.ok) << row.text;
        EXPECT_EQ(fromPointer, row.value) << row.text;
        EXPECT_EQ(fromString, row.value) << row.text;
    }
    int64_t value = untouched;
    EXPECT_FALSE(COsConverter::StringToInt64(static_cast<const char*>(nullptr), value));
    EXPECT_TRUE(COsConverter::StringToInt64(std::string("-12"), value));
    EXPECT_EQ(value, -12);
}

TEST(COsConverterStringToDouble, WholeTextWithinRange)
{
    double value = 9.0;
    EXPECT_TRUE(COsConverter::StringToDouble("1.5", value));
    EXPECT_EQ(value, 1.5);
    EXPECT_TRUE(COsConverter::StringToDouble(std::string(" -2.25"), value));
    EXPECT_EQ(value, -2.25);
    value = 9.0;
    for (const char* text : {"1.5x", "", "1.5 ", "1e999", "1e-999", "abc"})
        EXPECT_FALSE(COsConverter::StringToDouble(text, value)) << text;
    EXPECT_FALSE(COsConverter::StringToDouble(static_cast<const char*>(nullptr), value));
    EXPECT_FALSE(COsConverter::StringToDouble(std::string("1\0", 2), value));
    EXPECT_EQ(value, 9.0);
}

TEST(COsConverterScaling, RoundsHalvesAwayFromZeroWithoutDecimalCorrection)
{
    struct Row { double value; unsigned int scale; int expected; };
    const Row rows[] = {
        {0.49999, 0, 0}, {0.5, 0, 1}, {-0.5, 0, -1}, {2.5, 0, 3}, {-2.5, 0, -3},
        {1.25, 2, 125}, {1.005, 2, 100}, {1.0, 8, 100000000}, {-0.004, 2, 0},
    };
    for (const Row& row : rows) {
        int result = kUntouched;
        EXPECT_EQ(COsConverter::DoubleToInt32(row.value, row.scale, result), 0);
        EXPECT_EQ(result, row.expected) << row.value << " scale " << row.scale;
        int64_t wide = kUntouched;
        EXPECT_EQ(COsConverter::DoubleToInt64(row.value, row.scale, wide), 0);
        EXPECT_EQ(wide, row.expected) << row.value << " scale " << row.scale;
    }
    int result = kUntouched;
    EXPECT_EQ(COsConverter::DoubleToInt32(2.5, result), 0);
    EXPECT_EQ(result, 3);
    int64_t wide = 0;
    EXPECT_EQ(COsConverter::DoubleToInt64(3e12, 2, wide), 0);
    EXPECT_EQ(wide, 300000000000000LL);
}

TEST(COsConverterScaling, ScaleOfNineIsRefusedAndOverflowStoresTheMostNegativeValue)
{
    int result = kUntouched;
    int64_t wide = kUntouched;
    double real = 7.0;
    EXPECT_EQ(COsConverter::DoubleToInt32(1.0, 9, result), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsConverter::DoubleToInt64(1.0, 9, wide), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsConverter::Int32ToDouble(1, 9, real), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsConverter::Int64ToDouble(1, 12, real), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(result, kUntouched);
    EXPECT_EQ(wide, kUntouched);
    EXPECT_EQ(real, 7.0);

    EXPECT_EQ(COsConverter::DoubleToInt32(3e9, result), 0);
    EXPECT_EQ(result, std::numeric_limits<int>::min());
    result = kUntouched;
    EXPECT_EQ(COsConverter::DoubleToInt32(std::nan(""), result), 0);
    EXPECT_EQ(result, std::numeric_limits<int>::min());
    EXPECT_EQ(COsConverter::DoubleToInt64(1e19, wide), 0);
    EXPECT_EQ(wide, std::numeric_limits<int64_t>::min());
    EXPECT_EQ(COsConverter::DoubleToInt32(2147483647.6, result), 0);
    EXPECT_EQ(result, std::numeric_limits<int>::min());   // +0.5 takes it past the top
}

TEST(COsConverterScaling, IntegersDivideByThePowerOfTen)
{
    double real = 0;
    EXPECT_EQ(COsConverter::Int32ToDouble(125, 2, real), 0);
    EXPECT_EQ(real, 1.25);
    EXPECT_EQ(COsConverter::Int64ToDouble(125, 2, real), 0);
    EXPECT_EQ(real, 1.25);
    EXPECT_EQ(COsConverter::Int64ToDouble(-3, real), 0);
    EXPECT_EQ(real, -3.0);
    EXPECT_EQ(COsConverter::Int32ToDouble(1, 8, real), 0);
    EXPECT_EQ(real, 1e-8);
}

TEST(COsConverterToString, DoubleTrimsZerosThenPoint)
{
    struct Row { double value; const char* expected; };
    const Row rows[] = {
        {1.5, "1.5"}, {2, "2"}, {100, "100"}, {0.1234567, "0.123457"}, {0, "0"},
        {0.0000001, "0"}, {-0.0000001, "-0"}, {1234567.891, "1234567.891"},
        {1e20, "100000000000000000000"}, {-2.5, "-2.5"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsConverter::DoubleToString(row.value), row.expected);
    EXPECT_EQ(COsConverter::BoolToString(true), "true");
    EXPECT_EQ(COsConverter::BoolToString(false), "false");
    EXPECT_EQ(COsConverter::Int32ToString(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(COsConverter::Int64ToString(1234567890123LL), "1234567890123");
}

TEST(COsConverterHex, SeparatorStandsBehindEveryByte)
{
    const unsigned char bytes[] = {0xAB, 0x01};
    char* text = nullptr;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 2, &text), 6);
    EXPECT_STREQ(text, "AB 01 ");
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 2, "::", &text), 8);
    EXPECT_STREQ(text, "AB::01::");
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 2, "", &text), 4);
    EXPECT_STREQ(text, "AB01");
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 2, nullptr, &text), 4);
    EXPECT_STREQ(text, "AB01");
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 0, &text), 0);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text[0], '\0');
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 2), "AB 01 ");
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 2, ":"), "AB:01:");
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 0), "");
}

TEST(COsConverterHex, NullDataLeavesTheOutParameterAsItCame)
{
    char sentinel[] = "held";
    char* text = sentinel;
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3, &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3, ":", &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsConverter::HexStringToBytes(nullptr, 3, &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsConverter::HexStringToBytes(nullptr, 3, nullptr, &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(text, sentinel);
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3), "");
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3, ":"), "");
}

TEST(COsConverterHex, EveryByteValueSurvivesTheRoundTripWithEachSeparator)
{
    unsigned char bytes[256];
    for (int value = 0; value < 256; ++value)
        bytes[value] = static_cast<unsigned char>(value);
    for (const char* separator : {" ", ":", "--", ""}) {
        char* text = nullptr;
        int64_t length = COsConverter::BytesToHexString(bytes, sizeof bytes, separator, &text);
        ASSERT_EQ(length, static_cast<int64_t>((2 + std::strlen(separator)) * 256));
        char* back = nullptr;
        EXPECT_EQ(COsConverter::HexStringToBytes(text, static_cast<size_t>(length), separator, &back), 256) << separator;
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(std::memcmp(back, bytes, sizeof bytes), 0) << separator;
        EXPECT_EQ(back[256], '\0');
        delete[] back;
        delete[] text;
    }
}

TEST(COsConverterHex, TokensMustBeTwoCharactersStartingWithADigit)
{
    struct Row { const char* text; const char* separator; int64_t expected; const char* bytes; };
    const Row rows[] = {
        {"ab", " ", 1, "\xAB"},
        {"AB CD ", " ", 2, "\xAB\xCD"},
        {"AB CD", " ", 2, "\xAB\xCD"},
        {"AB  CD", " ", 2, "\xAB\xCD"},      // doubled separators make no token
        {"1Z", " ", 1, "\x01"},              // a second character that is no digit ends the number
        {"", " ", 0, ""},
        {"   ", " ", 0, ""},
        {"ABCD", " ", OS_ERR_HEX_FORMAT, nullptr},
        {"A", " ", OS_ERR_HEX_FORMAT, nullptr},
        {"GG", " ", OS_ERR_HEX_FORMAT, nullptr},
        {"Z1", " ", OS_ERR_HEX_FORMAT, nullptr},
        {"AB G1", " ", OS_ERR_HEX_FORMAT, nullptr},
        {"AB::::CD::", "::", 2, "\xAB\xCD"},
        {"AB:::CD", "::", OS_ERR_HEX_FORMAT, nullptr},   // ':CD' is left once '::' has been cut
        {"1B", "B", OS_ERR_HEX_FORMAT, nullptr},         // the separator may be a digit: the token is '1'
        {"ABCD", "", 2, "\xAB\xCD"},
        {"GG", "", OS_ERR_HEX_FORMAT, nullptr},
    };
    for (const Row& row : rows) {
        char sentinel[] = "held";
        char* bytes = sentinel;
        int64_t result = COsConverter::HexStringToBytes(row.text, std::strlen(row.text), row.separator, &bytes);
        EXPECT_EQ(result, row.expected) << row.text;
        if (row.bytes == nullptr) {
            EXPECT_EQ(bytes, nullptr) << "a bad token leaves null behind: " << row.text;
            continue;
        }
        ASSERT_NE(bytes, sentinel);
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(std::memcmp(bytes, row.bytes, std::strlen(row.bytes) + 1), 0) << row.text;
        delete[] bytes;
    }
}

TEST(COsConverterHex, UnbrokenPairsCheckTheLengthArgument)
{
    char sentinel[] = "held";
    char* bytes = sentinel;
    // An odd working text is refused before anything is allocated: the out-parameter stays as it came.
    EXPECT_EQ(COsConverter::HexStringToBytes("ABC", 3, nullptr, &bytes), OS_ERR_HEX_FORMAT);
    EXPECT_EQ(bytes, sentinel);
    EXPECT_EQ(COsConverter::HexStringToBytes("ABC", 2, nullptr, &bytes), 1);
    ASSERT_NE(bytes, sentinel);
    EXPECT_EQ(static_cast<unsigned char>(bytes[0]), 0xAB);
    delete[] bytes;
    // A length beyond the text leaves an empty pair behind the last real one, which is rejected.
    bytes = sentinel;
    EXPECT_EQ(COsConverter::HexStringToBytes("AB", 4, "", &bytes), OS_ERR_HEX_FORMAT);
    EXPECT_EQ(bytes, nullptr);
    // The standard-string forms hand over the string's size and use the space separator by default.
    bytes = sentinel;
    EXPECT_EQ(COsConverter::HexStringToBytes(std::string("0a ff "), &bytes), 2);
    EXPECT_EQ(std::memcmp(bytes, "\x0a\xff", 3), 0);
    delete[] bytes;
    EXPECT_EQ(COsConverter::HexStringToBytes(std::string("0a-ff"), "-", &bytes), 2);
    EXPECT_EQ(std::memcmp(bytes, "\x0a\xff", 3), 0);
    delete[] bytes;
    bytes = sentinel;
    EXPECT_EQ(COsConverter::HexStringToBytes(std::string("0A\0B", 4), "", &bytes), OS_ERR_HEX_FORMAT);
    EXPECT_EQ(bytes, nullptr);
}
