// SPDX-License-Identifier: BSD-2-Clause

#include "bench/ComparedLogs.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

using namespace Velmora;
using Bench::FileKind;

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

constexpr int s_iRuns = 5;
constexpr int s_iLines = 100'000;
/// 100,000 lines a second.
constexpr nanoseconds s_interval(10'000);

/// The latency of rank n is the one that a line in n exceeds.
constexpr std::array s_ranks{2, 10, 100, 1000, 10000};

/// The latencies of a run, or of the medians of several: for each rank, and the highest.
struct Latencies
{
    std::array<nanoseconds, s_ranks.size()> ranked{};
    nanoseconds highest{};
};

/// Logs the lines of a run, each at its time. The latency of a line lasts from that time, so a line
/// that is late because the one before took long counts as slow, too.
template <class Log>
Latencies run(Log in_log)
{
    std::vector<nanoseconds> latencies(s_iLines);
    Clock::time_point due = Clock::now() + s_interval;
    for (nanoseconds& latency : latencies)
    {
        while (Clock::now() < due)
            __builtin_ia32_pause();
        in_log();
        latency = Clock::now() - due;
        due += s_interval;
    }
    std::sort(latencies.begin(), latencies.end());
    Latencies result;
    for (std::size_t i = 0; i != s_ranks.size(); ++i)
        result.ranked[i] = latencies[latencies.size() - latencies.size() / s_ranks[i]];
    result.highest = latencies.back();
    return result;
}

Latencies runOurs()
{
    const Bench::LogDirectory directory;
    const Bench::LoudEntry entry(
        Bench::makeAppender(directory.file(), FileKind::flushed, "velmora::PatternLayout"));
    const Logger logger(Bench::s_szLoudLogger);
    return run([&logger, call = Bench::Call()] { Bench::logCall(logger, call); });
}

Latencies runSpdlog()
{
    const Bench::LogDirectory directory;
    const std::unique_ptr<spdlog::logger> pLogger =
        Bench::makeLoggerOfSpdlog(directory.file(), FileKind::flushed);
    return run([&pLogger, call = Bench::Call()] { Bench::logCallBySpdlog(*pLogger, call); });
}

/// Returns the median of each rank, and the highest of all.
Latencies summaryOf(const std::vector<Latencies>& in_runs)
{
    Latencies summary;
    for (std::size_t i = 0; i != s_ranks.size(); ++i)
    {
        std::vector<nanoseconds> ofRank;
        for (const Latencies& latencies : in_runs)
            ofRank.push_back(latencies.ranked[i]);
        std::nth_element(ofRank.begin(), ofRank.begin() + s_iRuns / 2, ofRank.end());
        summary.ranked[i] = ofRank[s_iRuns / 2];
    }
    for (const Latencies& latencies : in_runs)
        summary.highest = std::max(summary.highest, latencies.highest);
    return summary;
}

void report(const std::string& in_strName, nanoseconds in_latency)
{
    benchmark::RegisterBenchmark(in_strName.c_str(),
                                 [in_latency](benchmark::State& out_state)
                                 {
                                     for ([[maybe_unused]] auto turn : out_state)
                                         out_state.SetIterationTime(
                                             std::chrono::duration<double>(in_latency).count());
                                 })
        ->UseManualTime()
        ->Iterations(1);
}

void report(const std::string& in_strWho, const Latencies& in_latencies)
{
    for (std::size_t i = 0; i != s_ranks.size(); ++i)
        report("growLatency/" + in_strWho + '/' + std::to_string(s_ranks[i]),
               in_latencies.ranked[i]);
    report("latency50/" + in_strWho, in_latencies.ranked[0]);
    report("latency99/" + in_strWho, in_latencies.ranked[2]);
    report("latency999/" + in_strWho, in_latencies.ranked[3]);
    report("latencyHighest/" + in_strWho, in_latencies.highest);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    std::vector<Latencies> ours;
    std::vector<Latencies> spdlog;
    for (int i = 0; i != s_iRuns; ++i)
    {
        ours.push_back(runOurs());
        spdlog.push_back(runSpdlog());
    }
    report("ours", summaryOf(ours));
    report("spdlog", summaryOf(spdlog));
    benchmark::RunSpecifiedBenchmarks();
}
