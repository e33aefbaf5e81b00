// COsString Split, Replace, Compare and TrimEnd and stristr on a 10 MiB text, each beside the loop a user
// would write or the C library's function, and Replace and stristr on texts made to defeat a naive search.
// Each benchmark times the library and the alternative in the same iteration, alternating their order,
// and reports the best time of each (library_ms, alternative_ms), their ratio (library / alternative)
// and the ratio of the mean times (ratio_mean).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "RunPair.h"

namespace {


constexpr size_t kTextSize = 10u << 20;

// Words of 1 to 9 letters of mixed case, separated by ',', ';', ' ' and line ends, from a fixed generator.
const std::string& Text()
{
    static const std::string text = [] {
        std::string built;
        built.reserve(kTextSize + 16);
        uint32_t state = 12345;
        auto next = [&state] {
            state = state * 1103515245u + 12345u;
            return state >> 16;
        };
        const char separators[] = {',', ',', ',', ';', ' ', ' '};
        while (built.size() < kTextSize) {
            unsigned length = 1 + next() % 9;
            for (unsigned i = 0; i < length; ++i) {
                char letter = static_cast<char>('a' + next() % 26);
                built += (next() % 4 == 0) ? static_cast<char>(letter - 32) : letter;
            }
            built += (next() % 16 == 0) ? '\n' : separators[next() % 6];
        }
        return built;
    }();
    return text;
}

void SplitWholeSeparator(benchmark::State& state)
{
    const std::string& text = Text();
    bench::RunPair(
        state,
        [&] {
            std::vector<std::string> tokens = COsString::Split(text, ",");
            benchmark::DoNotOptimize(tokens.data());
        },
        [&] {
            std::vector<std::string> tokens;
            size_t position = 0;
            for (;;) {
                size_t hit = text.find(',', position);
                if (hit == std::string::npos) {
                    tokens.push_back(text.substr(position));
                    break;
                }
                tokens.push_back(text.substr(position, hit - position));
                position = hit + 1;
            }
            benchmark::DoNotOptimize(tokens.data());
        });
}

void SplitAnyByteDropEmpty(benchmark::State& state)
{
    const std::string& text = Text();
    bench::RunPair(
        state,
        [&] {
            std::vector<std::string> tokens = COsString::Split(text, ",; \n", true, false);
            benchmark::DoNotOptimize(tokens.data());
        },
        [&] {
            std::vector<std::string> tokens;
            size_t position = 0;
            for (;;) {
                size_t hit = text.find_first_of(",; \n", position);
                size_t end = hit == std::string::npos ? text.size() : hit;
                if (end > position)
                    tokens.push_back(text.substr(position, end - position));
                if (hit == std::string::npos)
                    break;
                position = hit + 1;
            }
            benchmark::DoNotOptimize(tokens.data());
        });
}

// The loop a user writes for Replace: std::string::find and append, into a reserved string.
std::string ReplaceWithFind(const std::string& text, const std::string& pattern, const std::string& replacement)
{
    std::string replaced;
    replaced.reserve(text.size());
    size_t position = 0;
    for (size_t hit = text.find(pattern); hit != std::string::npos; hit = text.find(pattern, position)) {
        replaced.append(text, position, hit - position);
        replaced += replacement;
        position = hit + pattern.size();
    }
    replaced.append(text, position, std::string::npos);
    return replaced;
}

void Replace(benchmark::State& state)
{
    const std::string& text = Text();
    const std::string pattern = "ab";
    const std::string replacement = "<AB>";
    bench::RunPair(
        state,
        [&] {
            std::string replaced = COsString::Replace(text, pattern, replacement);
            benchmark::DoNotOptimize(replaced.data());
        },
        [&] {
            std::string replaced = ReplaceWithFind(text, pattern, replacement);
            benchmark::DoNotOptimize(replaced.data());
        });
}

// A text made to defeat a search that compares the pattern at every position: 2 MiB of 'a', and a
// pattern of 8191 'a' and a 'b', which never occurs but nearly does at every position.
void ReplaceAdversarial(benchmark::State& state)
{
    const std::string text(2u << 20, 'a');
    const std::string pattern = std::string(8191, 'a') + "b";
    bench::RunPair(
        state,
        [&] {
            std::string replaced = COsString::Replace(text, pattern, "x");
            benchmark::DoNotOptimize(replaced.data());
        },
        [&] {
            std::string replaced = ReplaceWithFind(text, pattern, "x");
            benchmark::DoNotOptimize(replaced.data());
        });
}

// stristr beside the C library's case-blind search, strcasestr, on the 10 MiB text with a word it lacks.
void StristrOrdinary(benchmark::State& state)
{
    const std::string& text = Text();
    const char pattern[] = "QuIcKeSt";
    bench::RunPair(
        state, [&] { benchmark::DoNotOptimize(stristr(text.c_str(), pattern)); },
        [&] { benchmark::DoNotOptimize(strcasestr(text.c_str(), pattern)); });
}

// The same on 400 KB of 'a' and a pattern of 200 KB of 'A' ending in 'b': every position nearly matches.
void StristrAdversarial(benchmark::State& state)
{
    const std::string text(400000, 'a');
    const std::string pattern = std::string(199999, 'A') + "b";
    bench::RunPair(
        state, [&] { benchmark::DoNotOptimize(stristr(text.c_str(), pattern.c_str())); },
        [&] { benchmark::DoNotOptimize(strcasestr(text.c_str(), pattern.c_str())); });
}

void CompareExact(benchmark::State& state)
{
    const std::string& text = Text();
    std::string other = text;
    other.back() = '!';
    bench::RunPair(
        state, [&] { benchmark::DoNotOptimize(COsString::Compare(text, other, false)); },
        [&] { benchmark::DoNotOptimize(std::strcmp(text.c_str(), other.c_str())); });
}

void CompareIgnoringCase(benchmark::State& state)
{
    const std::string& text = Text();
    std::string other = COsString::ToUpper(text);
    other.back() = '!';
    bench::RunPair(
        state, [&] { benchmark::DoNotOptimize(COsString::Compare(text, other, true)); },
        [&] { benchmark::DoNotOptimize(strcasecmp(text.c_str(), other.c_str())); });
}

// Half of the text is a run of the pattern, to be cut one unit at a time.
const std::string& TextEndingInPatterns()
{
    static const std::string text = [] {
        std::string built = Text().substr(0, kTextSize / 2);
        built += "x";
        while (built.size() < kTextSize)
            built += "aB";
        return built;
    }();
    return text;
}

void TrimEndExact(benchmark::State& state)
{
    const std::string& text = TextEndingInPatterns();
    const std::string pattern = "aB";
    bench::RunPair(
        state,
        [&] {
            std::string trimmed = COsString::TrimEnd(text, pattern);
            benchmark::DoNotOptimize(trimmed.data());
        },
        [&] {
            size_t end = text.size();
            while (end >= pattern.size() && text.compare(end - pattern.size(), pattern.size(), pattern) == 0)
                end -= pattern.size();
            std::string trimmed = text.substr(0, end);
            benchmark::DoNotOptimize(trimmed.data());
        });
}

void TrimEndIgnoringCase(benchmark::State& state)
{
    const std::string& text = TextEndingInPatterns();
    const std::string pattern = "Ab";
    bench::RunPair(
        state,
        [&] {
            std::string trimmed = COsString::TrimEnd(text, pattern, true);
            benchmark::DoNotOptimize(trimmed.data());
        },
        [&] {
            size_t end = text.size();
            while (end >= pattern.size() && strncasecmp(text.data() + end - pattern.size(), pattern.c_str(), pattern.size()) == 0)
                end -= pattern.size();
            std::string trimmed = text.substr(0, end);
            benchmark::DoNotOptimize(trimmed.data());
        });
}

}  // namespace

BENCHMARK(SplitWholeSeparator)->Unit(benchmark::kMillisecond);
BENCHMARK(SplitAnyByteDropEmpty)->Unit(benchmark::kMillisecond);
BENCHMARK(Replace)->Unit(benchmark::kMillisecond);
BENCHMARK(ReplaceAdversarial)->Unit(benchmark::kMillisecond);
BENCHMARK(StristrOrdinary)->Unit(benchmark::kMillisecond);
BENCHMARK(StristrAdversarial)->Unit(benchmark::kMillisecond);
BENCHMARK(CompareExact)->Unit(benchmark::kMillisecond);
BENCHMARK(CompareIgnoringCase)->Unit(benchmark::kMillisecond);
BENCHMARK(TrimEndExact)->Unit(benchmark::kMillisecond);
BENCHMARK(TrimEndIgnoringCase)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
