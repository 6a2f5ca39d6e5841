// SPDX-License-Identifier: BSD-2-Clause

#include "bench/AllocationCount.h"
#include "bench/ComparedLogs.h"

#include "velmora/logging/LoggingIdLogger.h"

#include <memory>
#include <optional>
#include <string>

using namespace Velmora;
using Bench::FileKind;

namespace
{

/// What the threads of a benchmark share: a file, and the one way to it. The first thread makes it
/// before the loop, at whose beginning all threads meet, and deletes it after the loop.
struct Shared
{
    std::optional<Bench::LogDirectory> directory;
    std::optional<Bench::LoudEntry> entry;
    std::unique_ptr<spdlog::logger> pLoggerOfSpdlog;
};
Shared s_shared;

template <class Make>
void begin(const benchmark::State& in_state, Make in_make)
{
    if (in_state.thread_index() == 0)
        in_make(s_shared.directory.emplace().file());
}

void end(const benchmark::State& in_state)
{
    if (in_state.thread_index() != 0)
        return;
    s_shared.entry.reset();
    s_shared.pLoggerOfSpdlog.reset();
    s_shared.directory.reset();
}

template <class LoggerClass>
void logThrough(const LoggerClass& in_logger, benchmark::State& out_state)
{
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        Bench::logCall(in_logger, call);
}

void beginOurs(const benchmark::State& in_state, FileKind in_kind, const char* in_szLayout)
{
    begin(in_state, [=](const std::string& in_strFile)
          { s_shared.entry.emplace(Bench::makeAppender(in_strFile, in_kind, in_szLayout)); });
}

void pattern(benchmark::State& out_state, FileKind in_kind)
{
    beginOurs(out_state, in_kind, "velmora::PatternLayout");
    logThrough(Logger(Bench::s_szLoudLogger), out_state);
    end(out_state);
}

void json(benchmark::State& out_state, FileKind in_kind)
{
    beginOurs(out_state, in_kind, "velmora::JsonLayout");
    logThrough(Logger(Bench::s_szLoudLogger), out_state);
    end(out_state);
}

void identifiers(benchmark::State& out_state, FileKind in_kind)
{
    beginOurs(out_state, in_kind, "velmora::PatternLayout");
    LoggingIdLogger logger(Bench::s_szLoudLogger);
    logger.addLoggingId("leg=1");
    logger.logCallId("9f3c1d2e5b7a4086@192.0.2.17");
    logThrough(logger, out_state);
    end(out_state);
}

void byLog4cplus(benchmark::State& out_state, FileKind in_kind)
{
    begin(out_state, [=](const std::string& in_strFile)
          { s_shared.entry.emplace(Bench::makeAppenderOfLog4cplus(in_strFile, in_kind)); });
    const log4cplus::Logger logger = log4cplus::Logger::getInstance(Bench::s_szLoudLogger);
    const Bench::Call call;
    {
        const Bench::AllocationCount allocations(out_state);
        for ([[maybe_unused]] auto turn : out_state)
            Bench::logCallByLog4cplus(logger, call);
    }
    end(out_state);
}

void bySpdlog(benchmark::State& out_state, FileKind in_kind)
{
    begin(out_state, [=](const std::string& in_strFile)
          { s_shared.pLoggerOfSpdlog = Bench::makeLoggerOfSpdlog(in_strFile, in_kind); });
    const Bench::Call call;
    {
        const Bench::AllocationCount allocations(out_state);
        for ([[maybe_unused]] auto turn : out_state)
            Bench::logCallBySpdlog(*s_shared.pLoggerOfSpdlog, call);
    }
    end(out_state);
}

} // namespace

BENCHMARK_CAPTURE(pattern, , FileKind::flushed)->Name("fileFlushed/ours");
BENCHMARK_CAPTURE(byLog4cplus, , FileKind::flushed)->Name("fileFlushed/log4cplus");
BENCHMARK_CAPTURE(bySpdlog, , FileKind::flushed)->Name("fileFlushed/spdlog");

BENCHMARK_CAPTURE(pattern, , FileKind::buffered)->Name("fileBuffered/ours");
BENCHMARK_CAPTURE(byLog4cplus, , FileKind::buffered)->Name("fileBuffered/log4cplus");
BENCHMARK_CAPTURE(bySpdlog, , FileKind::buffered)->Name("fileBuffered/spdlog");

BENCHMARK_CAPTURE(pattern, , FileKind::rolling)->Name("fileRolling/ours");
BENCHMARK_CAPTURE(byLog4cplus, , FileKind::rolling)->Name("fileRolling/log4cplus");
BENCHMARK_CAPTURE(bySpdlog, , FileKind::rolling)->Name("fileRolling/spdlog");

BENCHMARK_CAPTURE(identifiers, , FileKind::flushed)->Name("fileFlushedIdentifiers/ours");
BENCHMARK_CAPTURE(pattern, , FileKind::flushed)->Name("fileFlushedIdentifiers/plain");
BENCHMARK_CAPTURE(identifiers, , FileKind::buffered)->Name("fileBufferedIdentifiers/ours");
BENCHMARK_CAPTURE(pattern, , FileKind::buffered)->Name("fileBufferedIdentifiers/plain");

BENCHMARK_CAPTURE(pattern, , FileKind::flushed)
    ->Name("fileFlushedBoth/ours")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK_CAPTURE(byLog4cplus, , FileKind::flushed)
    ->Name("fileFlushedBoth/log4cplus")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK_CAPTURE(bySpdlog, , FileKind::flushed)
    ->Name("fileFlushedBoth/spdlog")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK_CAPTURE(pattern, , FileKind::buffered)
    ->Name("fileBufferedBoth/ours")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK_CAPTURE(byLog4cplus, , FileKind::buffered)
    ->Name("fileBufferedBoth/log4cplus")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK_CAPTURE(bySpdlog, , FileKind::buffered)
    ->Name("fileBufferedBoth/spdlog")
    ->Threads(2)
    ->UseRealTime();

BENCHMARK_CAPTURE(json, , FileKind::buffered)->Name("fileJson/ours");
BENCHMARK_CAPTURE(pattern, , FileKind::buffered)->Name("fileJson/pattern");

BENCHMARK_MAIN();
