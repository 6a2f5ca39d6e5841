// SPDX-License-Identifier: BSD-2-Clause

// How costs grow with the number of names, of loggers and of threads, for the plots of
// "scripts/bench --growth".

#include "bench/ManyNames.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include <benchmark/benchmark.h>

#include <log4cplus/helpers/property.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/nullappender.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using Bench::Shape;

namespace
{

constexpr int s_iFewestNames = 300;
constexpr int s_iMostNames = 300000;
constexpr int s_iMostThreads = 16;

void silence() { log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL); }

void readOurs(benchmark::State& out_state, Shape in_shape)
{
    silence();
    Bench::lookUpByOurs(out_state, Bench::manyNames(in_shape, static_cast<int>(out_state.range())));
}

void readAbseil(benchmark::State& out_state, Shape in_shape)
{
    Bench::lookUpByAbseil(out_state,
                          Bench::manyNames(in_shape, static_cast<int>(out_state.range())));
}

/// Measures the work as the time for each line.
template <class Work>
void measureLines(benchmark::State& out_state, Work in_work)
{
    using Clock = std::chrono::steady_clock;
    const auto dLines = static_cast<double>(out_state.range());
    for ([[maybe_unused]] auto _ : out_state)
    {
        const Clock::time_point begin = Clock::now();
        in_work();
        out_state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count() /
                                   dLines);
    }
}

void loadOurs(benchmark::State& out_state, Shape in_shape)
{
    silence();
    const std::string strText =
        Bench::textOf(Bench::manyNames(in_shape, static_cast<int>(out_state.range())));
    measureLines(out_state,
                 [&]
                 {
                     GlobalConfigImpl config;
                     std::istringstream text(strText);
                     if (!config.load(text))
                         out_state.SkipWithError("not loaded");
                 });
}

void loadLog4cplus(benchmark::State& out_state, Shape in_shape)
{
    const std::string strText =
        Bench::textOf(Bench::manyNames(in_shape, static_cast<int>(out_state.range())));
    measureLines(out_state,
                 [&]
                 {
                     std::istringstream text(strText);
                     log4cplus::helpers::Properties properties(text);
                     benchmark::DoNotOptimize(properties);
                 });
}

/// Returns the names of that many loggers, ten to each parent.
std::vector<std::string> namesOfLoggers(benchmark::State& out_state)
{
    std::vector<std::string> names;
    for (int i = 0; i != out_state.range(); ++i)
        names.push_back("gateway.part" + std::to_string(i / 10) + ".Class" +
                        std::to_string(i % 10));
    return names;
}

template <class Get>
void getLoggers(benchmark::State& out_state, Get in_get)
{
    const std::vector<std::string> names = namesOfLoggers(out_state);
    for (const std::string& strName : names)
        in_get(strName);
    std::size_t uiName = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        in_get(names[uiName]);
        uiName = uiName + 1 == names.size() ? 0 : uiName + 1;
    }
}

void loggersOurs(benchmark::State& out_state)
{
    getLoggers(out_state,
               [](const std::string& in_strName) { benchmark::DoNotOptimize(Logger(in_strName)); });
}

void loggersLog4cplus(benchmark::State& out_state)
{
    getLoggers(out_state, [](const std::string& in_strName)
               { benchmark::DoNotOptimize(log4cplus::Logger::getInstance(in_strName)); });
}

void loggersSpdlog(benchmark::State& out_state)
{
    const auto pSink = std::make_shared<spdlog::sinks::null_sink_mt>();
    getLoggers(out_state,
               [&pSink](const std::string& in_strName)
               {
                   if (!spdlog::get(in_strName))
                       spdlog::register_logger(std::make_shared<spdlog::logger>(in_strName, pSink));
               });
}

constexpr const char* s_szLoud = "keswardin.bench.Loud";

/// Makes the entry of the hierarchy that our logger and that of log4cplus refer to.
void makeLoud()
{
    static const bool s_bMade = []
    {
        log4cplus::Logger logger = log4cplus::Logger::getInstance(s_szLoud);
        logger.setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
        logger.setAdditivity(false);
        logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        return true;
    }();
    benchmark::DoNotOptimize(s_bMade);
}

void lineOurs(benchmark::State& out_state)
{
    makeLoud();
    const Logger logger(s_szLoud);
    for ([[maybe_unused]] auto _ : out_state)
        VELMORA_LOG(logger, DEBUG_LOG_LEVEL, "call a84b4c76e66710 took " << 1234 << " ms");
}

void lineLog4cplus(benchmark::State& out_state)
{
    makeLoud();
    const log4cplus::Logger logger = log4cplus::Logger::getInstance(s_szLoud);
    for ([[maybe_unused]] auto _ : out_state)
        LOG4CPLUS_DEBUG(logger, "call a84b4c76e66710 took " << 1234 << " ms");
}

void lineSpdlog(benchmark::State& out_state)
{
    static spdlog::logger s_logger(s_szLoud, std::make_shared<spdlog::sinks::null_sink_mt>());
    for ([[maybe_unused]] auto _ : out_state)
        SPDLOG_LOGGER_CALL(&s_logger, spdlog::level::info, "call a84b4c76e66710 took {} ms", 1234);
}

BENCHMARK_CAPTURE(readOurs, , Shape::siblings)
    ->Name("growRead/ours, siblings")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames);
BENCHMARK_CAPTURE(readOurs, , Shape::tree)
    ->Name("growRead/ours, tree")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames);
BENCHMARK_CAPTURE(readAbseil, , Shape::siblings)
    ->Name("growRead/abseil, siblings")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames);
BENCHMARK_CAPTURE(readAbseil, , Shape::tree)
    ->Name("growRead/abseil, tree")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames);
BENCHMARK_CAPTURE(loadOurs, , Shape::siblings)
    ->Name("growLoad/ours, siblings")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames)
    ->Iterations(3)
    ->UseManualTime();
BENCHMARK_CAPTURE(loadOurs, , Shape::tree)
    ->Name("growLoad/ours, tree")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames)
    ->Iterations(3)
    ->UseManualTime();
BENCHMARK_CAPTURE(loadLog4cplus, , Shape::siblings)
    ->Name("growLoad/log4cplus, siblings")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames)
    ->Iterations(3)
    ->UseManualTime();
BENCHMARK_CAPTURE(loadLog4cplus, , Shape::tree)
    ->Name("growLoad/log4cplus, tree")
    ->RangeMultiplier(10)
    ->Range(s_iFewestNames, s_iMostNames)
    ->Iterations(3)
    ->UseManualTime();
BENCHMARK(loggersOurs)->Name("growLoggers/ours")->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(loggersLog4cplus)->Name("growLoggers/log4cplus")->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(loggersSpdlog)->Name("growLoggers/spdlog")->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(lineOurs)->Name("growThreads/ours")->ThreadRange(1, s_iMostThreads)->UseRealTime();
BENCHMARK(lineLog4cplus)
    ->Name("growThreads/log4cplus")
    ->ThreadRange(1, s_iMostThreads)
    ->UseRealTime();
BENCHMARK(lineSpdlog)->Name("growThreads/spdlog")->ThreadRange(1, s_iMostThreads)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
