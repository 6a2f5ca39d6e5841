// SPDX-License-Identifier: BSD-2-Clause

#include "bench/AllocationCount.h"
#include "bench/ComparedLogs.h"
#include "bench/Opaque.h"

#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/JsonLayout.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdLogger.h"
#include "velmora/logging/PatternLayout.h"

#include <log4cplus/layout.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/spi/loggingevent.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using Bench::opaque;

namespace
{

// A line that is off. The level comes from the logger two steps up, which is the usual case.

constexpr const char* s_szQuietParent = "keswardin.bench";
constexpr const char* s_szQuiet = "keswardin.bench.gateway.Quiet";

void disabledCachedOurs(benchmark::State& out_state)
{
    Logger(s_szQuietParent).setLogLevel(WARN_LOG_LEVEL);
    CachedLLLogger logger(s_szQuiet);
    logger.cacheLogLevel();
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    Bench::measureTiny(out_state,
                       [&logger, &call]() VELMORA_BENCH_INLINE
                       {
                           VELMORA_LOG(opaque(logger), DEBUG_LOG_LEVEL,
                                       "call " << call.strId << " took " << call.iMilliseconds
                                               << " ms from port " << call.usPort);
                       });
}

void disabledPlainOurs(benchmark::State& out_state)
{
    Logger(s_szQuietParent).setLogLevel(WARN_LOG_LEVEL);
    Logger logger(s_szQuiet);
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    Bench::measureTiny(out_state,
                       [&logger, &call]() VELMORA_BENCH_INLINE
                       {
                           VELMORA_LOG(opaque(logger), DEBUG_LOG_LEVEL,
                                       "call " << call.strId << " took " << call.iMilliseconds
                                               << " ms from port " << call.usPort);
                       });
}

void disabledPlainLog4cplus(benchmark::State& out_state)
{
    log4cplus::Logger::getInstance(s_szQuietParent).setLogLevel(log4cplus::WARN_LOG_LEVEL);
    log4cplus::Logger logger = log4cplus::Logger::getInstance(s_szQuiet);
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    Bench::measureTiny(out_state,
                       [&logger, &call]() VELMORA_BENCH_INLINE
                       {
                           LOG4CPLUS_DEBUG(opaque(logger),
                                           "call " << call.strId << " took " << call.iMilliseconds
                                                   << " ms from port " << call.usPort);
                       });
}

void disabledPlainSpdlog(benchmark::State& out_state)
{
    spdlog::logger logger(s_szQuiet, std::make_shared<spdlog::sinks::null_sink_mt>());
    logger.set_level(spdlog::level::warn);
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    Bench::measureTiny(out_state,
                       [&logger, &call]() VELMORA_BENCH_INLINE
                       {
                           SPDLOG_LOGGER_CALL(&opaque(logger), spdlog::level::debug,
                                              "call {} took {} ms from port {}", call.strId,
                                              call.iMilliseconds, call.usPort);
                       });
}

// A line that is on.

template <class LoggerClass>
void logThrough(const LoggerClass& in_logger, benchmark::State& out_state)
{
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        Bench::logCall(in_logger, call);
}

void logByOurs(benchmark::State& out_state)
{
    logThrough(Logger(Bench::s_szLoudLogger), out_state);
}

void logByLog4cplus(benchmark::State& out_state)
{
    const log4cplus::Logger logger = log4cplus::Logger::getInstance(Bench::s_szLoudLogger);
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        Bench::logCallByLog4cplus(logger, call);
}

void logBySpdlog(benchmark::State& out_state, spdlog::logger& out_logger)
{
    const Bench::Call call;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        Bench::logCallBySpdlog(out_logger, call);
}

void enabledNullOurs(benchmark::State& out_state)
{
    const Bench::LoudEntry entry(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    logByOurs(out_state);
}

void enabledNullLog4cplus(benchmark::State& out_state)
{
    const Bench::LoudEntry entry(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    logByLog4cplus(out_state);
}

void enabledNullSpdlog(benchmark::State& out_state)
{
    spdlog::logger logger(Bench::s_szLoudLogger, std::make_shared<spdlog::sinks::null_sink_mt>());
    logger.set_level(spdlog::level::debug);
    logBySpdlog(out_state, logger);
}

void enabledIdentifiersOurs(benchmark::State& out_state)
{
    const Bench::LoudEntry entry(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    LoggingIdLogger logger(Bench::s_szLoudLogger);
    logger.addLoggingId("leg=1");
    logger.logCallId("9f3c1d2e5b7a4086@192.0.2.17");
    logThrough(logger, out_state);
}

// The text of a line, by the layout alone. The events are a millisecond apart.

constexpr const char* s_szLayoutMessage = "call a84b4c76e66710 took 1234 ms from port 5060";

/// Makes the events of lines.
class Events
{
  public:
    log4cplus::spi::InternalLoggingEvent next()
    {
        m_time += std::chrono::milliseconds(1);
        return {Bench::s_szLoudLogger,
                log4cplus::DEBUG_LOG_LEVEL,
                "",
                {},
                s_szLayoutMessage,
                "139764956037504",
                "1",
                m_time,
                __FILE__,
                __LINE__};
    }

  private:
    log4cplus::helpers::Time m_time = log4cplus::helpers::now();
};

/// Calls a function with many events in turn.
template <class Format>
void format(benchmark::State& out_state, Format in_format)
{
    std::vector<log4cplus::spi::InternalLoggingEvent> events;
    Events source;
    while (events.size() != 4096)
        events.push_back(source.next());
    std::size_t uiEvent = 0;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        in_format(events[uiEvent++ % events.size()]);
}

log4cplus::helpers::Properties layoutProperties()
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("ConversionPattern", "%d{%Y-%m-%d %H:%M:%S.%q} %-5p [%t] %c - %m%n");
    return properties;
}

template <class Layout>
void layoutOurs(benchmark::State& out_state)
{
    Layout layout(layoutProperties());
    std::string strText;
    format(out_state,
           [&](const log4cplus::spi::InternalLoggingEvent& in_event)
           {
               strText.clear();
               layout.append(strText, in_event);
               benchmark::DoNotOptimize(strText);
           });
}

void layoutLog4cplus(benchmark::State& out_state)
{
    log4cplus::PatternLayout layout(layoutProperties());
    std::ostringstream text;
    format(out_state,
           [&](const log4cplus::spi::InternalLoggingEvent& in_event)
           {
               text.seekp(0);
               layout.formatAndAppend(text, in_event);
               benchmark::DoNotOptimize(text);
           });
}

void layoutSpdlog(benchmark::State& out_state)
{
    spdlog::pattern_formatter formatter("%Y-%m-%d %H:%M:%S.%e %-5l [%t] %n - %v",
                                        spdlog::pattern_time_type::utc);
    spdlog::details::log_msg message(Bench::s_szLoudLogger, spdlog::level::debug,
                                     s_szLayoutMessage);
    spdlog::memory_buf_t text;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
    {
        message.time += std::chrono::milliseconds(1);
        text.clear();
        formatter.format(message, text);
        benchmark::DoNotOptimize(text);
    }
}

} // namespace

BENCHMARK(disabledCachedOurs)->Name("disabledCached/ours");
BENCHMARK(Bench::measureComparison)->Name("disabledCached/comparison");

BENCHMARK(disabledPlainOurs)->Name("disabledPlain/ours");
BENCHMARK(disabledPlainLog4cplus)->Name("disabledPlain/log4cplus");
BENCHMARK(disabledPlainSpdlog)->Name("disabledPlain/spdlog");

BENCHMARK(enabledNullOurs)->Name("enabledNull/ours");
BENCHMARK(enabledNullLog4cplus)->Name("enabledNull/log4cplus");
BENCHMARK(enabledNullSpdlog)->Name("enabledNull/spdlog");

BENCHMARK(enabledIdentifiersOurs)->Name("enabledIdentifiers/ours");
BENCHMARK(enabledNullOurs)->Name("enabledIdentifiers/plain");

BENCHMARK(layoutOurs<Velmora::PatternLayout>)->Name("layout/ours");
BENCHMARK(layoutLog4cplus)->Name("layout/log4cplus");
BENCHMARK(layoutSpdlog)->Name("layout/spdlog");

BENCHMARK(layoutOurs<JsonLayout>)->Name("layoutJson/ours");
BENCHMARK(layoutOurs<Velmora::PatternLayout>)->Name("layoutJson/pattern");

BENCHMARK_MAIN();
