// COsConverter text-to-number and hexadecimal conversions beside strtol, strtod, a snprintf("%02X ") loop
// and sscanf / hand-written hexadecimal readers. Each benchmark times the library and the alternative in
// the same iteration, alternating their order, and reports the best time of each (library_ms,
// alternative_ms), their ratio (library / alternative) and the ratio of the mean times (ratio_mean).
#include <benchmark/benchmark.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "RunPair.h"

namespace {


constexpr size_t kNumberCount = 100000;
constexpr size_t kByteCount = 1u << 20;

uint32_t NextRandom(uint32_t& state)
{
    state = state * 1103515245u + 12345u;
    return state;
}

const std::vector<std::string>& IntegerTexts()
{
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> built;
        uint32_t state = 7;
        for (size_t i = 0; i < kNumberCount; ++i)
            built.push_back(std::to_string(static_cast<int32_t>(NextRandom(state))));
        return built;
    }();
    return texts;
}

const std::vector<std::string>& DoubleTexts()
{
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> built;
        uint32_t state = 11;
        char text[64];
        for (size_t i = 0; i < kNumberCount; ++i) {
            double value = static_cast<int32_t>(NextRandom(state)) / 1000.0;
            std::snprintf(text, sizeof text, "%.3f", value);
            built.push_back(text);
        }
        return built;
    }();
    return texts;
}

const std::vector<unsigned char>& Bytes()
{
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> built(kByteCount);
        uint32_t state = 13;
        for (unsigned char& byte : built)
            byte = static_cast<unsigned char>(NextRandom(state) >> 24);
        return built;
    }();
    return bytes;
}

const std::string& HexText()
{
    static const std::string text = COsConverter::BytesToHexString(Bytes().data(), Bytes().size());
    return text;
}

// sscanf measures its whole input at every call, so a loop over one long text is quadratic; the
// comparison with it runs on a text of 4096 bytes.
const std::string& ShortHexText()
{
    static const std::string text = COsConverter::BytesToHexString(Bytes().data(), 4096);
    return text;
}

void StringToInt32VersusStrtol(benchmark::State& state)
{
    const std::vector<std::string>& texts = IntegerTexts();
    bench::RunPair(
        state,
        [&] {
            long long sum = 0;
            for (const std::string& text : texts) {
                int value = 0;
                if (COsConverter::StringToInt32(text.c_str(), value))
                    sum += value;
            }
            benchmark::DoNotOptimize(sum);
        },
        [&] {
            long long sum = 0;
            for (const std::string& text : texts) {
                errno = 0;
                char* end = nullptr;
                long value = std::strtol(text.c_str(), &end, 10);
                if (errno == 0 && *end == '\0' && end != text.c_str() && value >= INT32_MIN && value <= INT32_MAX)
                    sum += value;
            }
            benchmark::DoNotOptimize(sum);
        });
}

void StringToDoubleVersusStrtod(benchmark::State& state)
{
    const std::vector<std::string>& texts = DoubleTexts();
    bench::RunPair(
        state,
        [&] {
            double sum = 0;
            for (const std::string& text : texts) {
                double value = 0;
                if (COsConverter::StringToDouble(text, value))
                    sum += value;
            }
            benchmark::DoNotOptimize(sum);
        },
        [&] {
            double sum = 0;
            for (const std::string& text : texts) {
                errno = 0;
                char* end = nullptr;
                double value = std::strtod(text.c_str(), &end);
                if (errno == 0 && *end == '\0' && end != text.c_str())
                    sum += value;
            }
            benchmark::DoNotOptimize(sum);
        });
}

void BytesToHexStringVersusSnprintf(benchmark::State& state)
{
    const std::vector<unsigned char>& bytes = Bytes();
    bench::RunPair(
        state,
        [&] {
            char* text = nullptr;
            benchmark::DoNotOptimize(COsConverter::BytesToHexString(bytes.data(), bytes.size(), &text));
            delete[] text;
        },
        [&] {
            char* text = new char[bytes.size() * 3 + 1];
            char* position = text;
            for (unsigned char byte : bytes)
                position += std::snprintf(position, 4, "%02X ", byte);
            benchmark::DoNotOptimize(text);
            delete[] text;
        });
}

void HexStringToBytesVersusSscanf(benchmark::State& state)
{
    const std::string& text = ShortHexText();
    bench::RunPair(
        state,
        [&] {
            char* bytes = nullptr;
            benchmark::DoNotOptimize(COsConverter::HexStringToBytes(text, &bytes));
            delete[] bytes;
        },
        [&] {
            std::vector<unsigned char> bytes;
            bytes.reserve(text.size() / 3);
            const char* position = text.c_str();
            unsigned int value = 0;
            int consumed = 0;
            while (std::sscanf(position, "%2x %n", &value, &consumed) == 1) {
                bytes.push_back(static_cast<unsigned char>(value));
                position += consumed;
            }
            benchmark::DoNotOptimize(bytes.data());
        });
}

int HexDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

void HexStringToBytesVersusHandLoop(benchmark::State& state)
{
    const std::string& text = HexText();
    bench::RunPair(
        state,
        [&] {
            char* bytes = nullptr;
            benchmark::DoNotOptimize(COsConverter::HexStringToBytes(text, &bytes));
            delete[] bytes;
        },
        [&] {
            char* bytes = new char[text.size() / 3 + 1]();
            size_t count = 0;
            for (size_t position = 0; position + 1 < text.size(); position += 3) {
                int high = HexDigit(text[position]);
                int low = HexDigit(text[position + 1]);
                if (high < 0 || low < 0)
                    break;
                bytes[count++] = static_cast<char>(high * 16 + low);
            }
            benchmark::DoNotOptimize(bytes);
            delete[] bytes;
        });
}

}  // namespace

BENCHMARK(StringToInt32VersusStrtol)->Unit(benchmark::kMillisecond);
BENCHMARK(StringToDoubleVersusStrtod)->Unit(benchmark::kMillisecond);
BENCHMARK(BytesToHexStringVersusSnprintf)->Unit(benchmark::kMillisecond);
BENCHMARK(HexStringToBytesVersusSscanf)->Unit(benchmark::kMillisecond);
BENCHMARK(HexStringToBytesVersusHandLoop)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
