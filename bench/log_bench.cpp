// The log hub's queue beside a plain std::mutex + std::deque queue, and the CPU that an idle hub uses.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

namespace {

const char kMessage[] = "COsAdapter: GetAdaptersInfo failed with 111\r\n";

// A viewer that reads and drops everything, so that the hub keeps its connection and queues pushes.
class DrainingViewer
{
public:
    explicit DrainingViewer(int port) : m_socket(COsSocket::CreateInstance())
    {
        m_socket->Create(eSocketTypeTcp, 0, 0);
        m_socket->Connect("127.0.0.1", static_cast<unsigned short>(port));
        char first = 0;
        m_socket->ReceiveWithTimeout(&first, 1, 3000, 0);  // the first heartbeat: the hub queues from now on
        m_reader = std::thread([this] {
            char chunk[65536];
            // A long wait, so that the reader's own wake-ups hardly count in the idle figures.
            while (!m_stop && m_socket->ReceiveWithTimeout(chunk, sizeof(chunk), 500, 0) >= 0) {
            }
        });
    }
    ~DrainingViewer()
    {
        m_stop = true;
        m_reader.join();
        COsSocket::FreeInstance(&m_socket);
    }

private:
    COsSocket* m_socket;
    std::atomic<bool> m_stop{false};
    std::thread m_reader;
};

// The alternative a user would write: a mutex and a deque of strings.
class PlainQueue
{
public:
    void Push(const char* text)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_messages.emplace_back(text);
    }
    std::string Poll()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_messages.empty())
            return std::string();
        std::string message = std::move(m_messages.front());
        m_messages.pop_front();
        return message;
    }

private:
    std::mutex m_mutex;
    std::deque<std::string> m_messages;
};

COsLog* StartedHubWithViewer(DrainingViewer** viewer)
{
    COsLog* hub = COsLog::GetInstance();
    hub->Start();
    *viewer = new DrainingViewer(COsLog::GetLogOutputPort());
    return hub;
}

void StopHub(DrainingViewer* viewer)
{
    COsLog::FreeInstance();
    delete viewer;
}

constexpr int kDrainEvery = 4096;

void LogMsgPush(benchmark::State& state)
{
    DrainingViewer* viewer = nullptr;
    COsLog* hub = StartedHubWithViewer(&viewer);
    int pushed = 0;
    for (auto _ : state) {
        hub->LogMsgPush(kMessage);
        if (++pushed == kDrainEvery) {
            state.PauseTiming();
            while (!hub->LogMsgPoll().empty()) {
            }
            pushed = 0;
            state.ResumeTiming();
        }
    }
    StopHub(viewer);
}

void PlainQueuePush(benchmark::State& state)
{
    PlainQueue queue;
    int pushed = 0;
    for (auto _ : state) {
        queue.Push(kMessage);
        if (++pushed == kDrainEvery) {
            state.PauseTiming();
            while (!queue.Poll().empty()) {
            }
            pushed = 0;
            state.ResumeTiming();
        }
    }
}

// One poll of the head and one push at the tail, so the queue keeps its length: the time must not grow
// with the length.
void LogMsgPollAtLength(benchmark::State& state)
{
    DrainingViewer* viewer = nullptr;
    COsLog* hub = StartedHubWithViewer(&viewer);
    for (int64_t message = 0; message < state.range(0); ++message)
        hub->LogMsgPush(kMessage);
    for (auto _ : state) {
        benchmark::DoNotOptimize(hub->LogMsgPoll());
        hub->LogMsgPush(kMessage);
    }
    StopHub(viewer);
}

void PlainQueuePollAtLength(benchmark::State& state)
{
    PlainQueue queue;
    for (int64_t message = 0; message < state.range(0); ++message)
        queue.Push(kMessage);
    for (auto _ : state) {
        benchmark::DoNotOptimize(queue.Poll());
        queue.Push(kMessage);
    }
}

double CpuPercentOver(std::chrono::seconds period)
{
    std::clock_t cpuStart = std::clock();
    std::this_thread::sleep_for(period);
    double cpuSeconds = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    return 100.0 * cpuSeconds / static_cast<double>(period.count());
}

// The CPU of the whole process (the hub's threads, and the viewer's reader where there is one) while
// nothing is pushed, as a share of one core.
void ReportIdleHubCpu()
{
    COsLog* hub = COsLog::GetInstance();
    hub->Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    double withoutViewer = CpuPercentOver(std::chrono::seconds(3));
    DrainingViewer* viewer = new DrainingViewer(COsLog::GetLogOutputPort());
    double withViewer = CpuPercentOver(std::chrono::seconds(3));
    StopHub(viewer);
    std::printf("idle started hub, CPU over 3 s: %.3f%% of one core without a viewer, %.3f%% with one "
                "(its reader thread, in this process, included)\n",
                withoutViewer, withViewer);
}

// Prints each run as usual and keeps its time, so that the pairs can be set side by side at the end.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            m_times[run.benchmark_name()] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintRatio(const std::string& library, const std::string& alternative) const
    {
        auto libraryTime = m_times.find(library);
        auto alternativeTime = m_times.find(alternative);
        if (libraryTime == m_times.end() || alternativeTime == m_times.end() || alternativeTime->second <= 0)
            return;
        std::printf("%-30s ratio library/alternative = %.2f\n", library.c_str(),
                    libraryTime->second / alternativeTime->second);
    }

private:
    std::map<std::string, double> m_times;
};

}  // namespace

BENCHMARK(LogMsgPush);
BENCHMARK(PlainQueuePush);
BENCHMARK(LogMsgPollAtLength)->Arg(10)->Arg(10000)->Arg(1000000);
BENCHMARK(PlainQueuePollAtLength)->Arg(10)->Arg(10000)->Arg(1000000);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    reporter.PrintRatio("LogMsgPush", "PlainQueuePush");
    for (const char* length : {"10", "10000", "1000000"})
        reporter.PrintRatio(std::string("LogMsgPollAtLength/") + length, std::string("PlainQueuePollAtLength/") + length);
    ReportIdleHubCpu();
    return 0;
}
