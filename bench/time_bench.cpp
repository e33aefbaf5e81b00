// COsSystemTime conversions between FILETIME, the local record and text, beside what a user of the C
// library writes for the same: localtime_r with strftime one way, strptime with mktime the other. Each
// benchmark converts the same 10 000 times (spread over 1990 to 2040, so that daylight saving is on and
// off) with both, in the same iteration, alternating their order, and reports the best time of each
// (library_ms, alternative_ms), their ratio (library / alternative) and the ratio of the mean times.
#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "RunPair.h"

namespace {

constexpr size_t kTimeCount = 10000;
constexpr int64_t kSecondsFrom1601To1970 = 11644473600LL;
// A zone with daylight saving, written out so that the figures do not depend on the machine's zone.
constexpr const char* kZone = "EST5EDT,M3.2.0,M11.1.0";

struct Samples {
    std::vector<FILETIME> fileTimes;
    std::vector<std::string> texts;
};

const Samples& TheSamples()
{
    static const Samples samples = [] {
        setenv("TZ", kZone, 1);
        tzset();
        Samples built;
        uint32_t state = 2024;
        for (size_t i = 0; i < kTimeCount; ++i) {
            state = state * 1103515245u + 12345u;
            int64_t seconds = 631152000 + static_cast<int64_t>(state % 1577836800u);   // 1990 to 2040
            uint64_t ticks = static_cast<uint64_t>(seconds + kSecondsFrom1601To1970) * 10000000u +
                             (state >> 7) % 10000000u;
            built.fileTimes.push_back(FILETIME{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)});
            _STSystemTime local;
            COsSystemTime::LocalTime(built.fileTimes.back(), local);
            built.texts.push_back(COsSystemTime::TimeToString(local));
        }
        return built;
    }();
    return samples;
}

uint64_t TicksOf(const FILETIME& fileTime)
{
    return (static_cast<uint64_t>(fileTime.dwHighDateTime) << 32) | fileTime.dwLowDateTime;
}

// What a C library user writes: split the ticks, localtime_r, strftime, then the milliseconds.
std::string FileTimeToTextByHand(const FILETIME& fileTime)
{
    uint64_t ticks = TicksOf(fileTime);
    time_t seconds = static_cast<time_t>(ticks / 10000000u) - kSecondsFrom1601To1970;
    tm fields;
    if (localtime_r(&seconds, &fields) == nullptr)
        return std::string();
    char text[40];
    size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
    length += static_cast<size_t>(std::snprintf(text + length, sizeof text - length, ".%03u",
                                                static_cast<unsigned>(ticks % 10000000u / 10000u)));
    return std::string(text, length);
}

bool TextToFileTimeByHand(const std::string& text, FILETIME& fileTime)
{
    tm fields;
    std::memset(&fields, 0, sizeof fields);
    const char* rest = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &fields);
    unsigned milliseconds = 0;
    if (rest == nullptr || (*rest != '\0' && std::sscanf(rest, ".%3u", &milliseconds) != 1))
        return false;
    fields.tm_isdst = -1;
    time_t seconds = mktime(&fields);
    if (seconds == static_cast<time_t>(-1))
        return false;
    uint64_t ticks = static_cast<uint64_t>(seconds + kSecondsFrom1601To1970) * 10000000u + milliseconds * 10000u;
    fileTime = FILETIME{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
    return true;
}

// followZone: the alternative calls tzset first, as a user who wants a changed TZ to count, as the
// library does; without it, a bare localtime_r.
void FileTimeToLocalRecord(benchmark::State& state, bool followZone)
{
    const Samples& samples = TheSamples();
    bench::RunPair(
        state,
        [&] {
            for (const FILETIME& fileTime : samples.fileTimes) {
                _STSystemTime local;
                COsSystemTime::LocalTime(fileTime, local);
                benchmark::DoNotOptimize(local);
            }
        },
        [&] {
            for (const FILETIME& fileTime : samples.fileTimes) {
                uint64_t ticks = TicksOf(fileTime);
                time_t seconds = static_cast<time_t>(ticks / 10000000u) - kSecondsFrom1601To1970;
                tm fields;
                if (followZone)
                    tzset();
                localtime_r(&seconds, &fields);
                benchmark::DoNotOptimize(fields);
            }
        });
}

void FileTimeToText(benchmark::State& state)
{
    const Samples& samples = TheSamples();
    bench::RunPair(
        state,
        [&] {
            for (const FILETIME& fileTime : samples.fileTimes) {
                _STSystemTime local;
                COsSystemTime::LocalTime(fileTime, local);
                std::string text = COsSystemTime::TimeToString(local);
                benchmark::DoNotOptimize(text);
            }
        },
        [&] {
            for (const FILETIME& fileTime : samples.fileTimes) {
                std::string text = FileTimeToTextByHand(fileTime);
                benchmark::DoNotOptimize(text);
            }
        });
}

void TextToFileTime(benchmark::State& state)
{
    const Samples& samples = TheSamples();
    bench::RunPair(
        state,
        [&] {
            for (const std::string& text : samples.texts) {
                _STSystemTime local;
                FILETIME fileTime{};
                COsSystemTime::StringToTime(text, local);
                COsSystemTime::LocalTimeToFileTime(local, fileTime);
                benchmark::DoNotOptimize(fileTime);
            }
        },
        [&] {
            for (const std::string& text : samples.texts) {
                FILETIME fileTime{};
                TextToFileTimeByHand(text, fileTime);
                benchmark::DoNotOptimize(fileTime);
            }
        });
}

// Makes sure both sides compute the same thing before anything is timed.
bool SidesAgree()
{
    const Samples& samples = TheSamples();
    for (size_t i = 0; i < kTimeCount; ++i) {
        FILETIME byHand{};
        if (FileTimeToTextByHand(samples.fileTimes[i]) != samples.texts[i] ||
            !TextToFileTimeByHand(samples.texts[i], byHand)) {
            std::fprintf(stderr, "the two sides differ at %s\n", samples.texts[i].c_str());
            return false;
        }
        _STSystemTime local;
        FILETIME byLibrary{};
        if (!COsSystemTime::StringToTime(samples.texts[i], local) ||
            !COsSystemTime::LocalTimeToFileTime(local, byLibrary) || TicksOf(byLibrary) != TicksOf(byHand)) {
            std::fprintf(stderr, "the two sides read %s differently\n", samples.texts[i].c_str());
            return false;
        }
    }
    return true;
}

}  // namespace

BENCHMARK_CAPTURE(FileTimeToLocalRecord, BesideLocaltime, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(FileTimeToLocalRecord, BesideTzsetAndLocaltime, true)->Unit(benchmark::kMillisecond);
BENCHMARK(FileTimeToText)->Unit(benchmark::kMillisecond);
BENCHMARK(TextToFileTime)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    if (!SidesAgree())
        return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
