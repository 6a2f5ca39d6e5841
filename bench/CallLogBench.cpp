// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include <benchmark/benchmark.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/layout.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/nullappender.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include <unistd.h>

using namespace Velmora;

namespace
{

constexpr int s_iLinesOfCall = 20;
constexpr const char* s_szPattern = "%d{%Y-%m-%d %H:%M:%S.%q} %-5p [%t] %c - %m%n";

/// A directory for the files of calls, in memory if the system supports it. It is removed when the
/// program ends.
class CallDirectory
{
  public:
    static const std::string& path()
    {
        static const CallDirectory s_directory;
        return s_directory.m_strPath;
    }

  private:
    CallDirectory() : m_strPath(place() / ("call-log-bench." + std::to_string(getpid())))
    {
        std::filesystem::create_directory(m_strPath);
    }
    ~CallDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_strPath, ignored);
    }

    static std::filesystem::path place()
    {
        return std::filesystem::is_directory("/dev/shm") ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path();
    }

    std::string m_strPath;
};

/// Makes the ids of one thread's calls, each used once: on some file systems, closing a file that
/// was truncated and written again costs more than closing a new one. The destructor deletes the
/// calls' files.
class CallIds
{
  public:
    explicit CallIds(const benchmark::State& in_state)
        : m_strRest("-a84b4c76e66710@192.0.2." + std::to_string(in_state.thread_index()))
    {
    }
    ~CallIds()
    {
        for (; m_uiLast > 0; --m_uiLast)
            unlink((CallDirectory::path() + '/' + current() + ".log").c_str());
    }
    CallIds(const CallIds&) = delete;
    CallIds& operator=(const CallIds&) = delete;

    std::string next()
    {
        ++m_uiLast;
        return current();
    }

  private:
    [[nodiscard]] std::string current() const { return std::to_string(m_uiLast) + m_strRest; }

    std::string m_strRest;
    std::size_t m_uiLast = 0;
};

std::string nameOfThread(const benchmark::State& in_state)
{
    return "keswardin.bench.Call" + std::to_string(in_state.thread_index());
}

/// An entry of the hierarchy for one thread, without additivity.
class Entry
{
  public:
    explicit Entry(const benchmark::State& in_state)
        : m_logger(log4cplus::Logger::getInstance(nameOfThread(in_state)))
    {
        m_logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
        m_logger.setAdditivity(false);
        m_logger.removeAllAppenders();
    }
    ~Entry() { m_logger.removeAllAppenders(); }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    void mark()
    {
        const log4cplus::SharedAppenderPtr pMark(new log4cplus::NullAppender);
        pMark->setName(s_szCallLogAppender);
        m_logger.addAppender(pMark);
    }
    void addMainLog()
    {
        const log4cplus::SharedAppenderPtr pAppender(
            new log4cplus::FileAppender(CallDirectory::path() + "/main.log"));
        pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>(s_szPattern));
        m_logger.addAppender(pAppender);
    }
    log4cplus::Logger& logger() { return m_logger; }

  private:
    log4cplus::Logger m_logger;
};

/// Configures the files of calls: one call out of the given number gets a file.
void configureCalls(int in_iLog1CallOutOf)
{
    Logger().setLogLevel(WARN_LOG_LEVEL);
    std::stringstream text;
    text << "log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender\n"
            "log4cplus.appender.CALL_LOG_APPENDER.Directory="
         << CallDirectory::path()
         << "\nlog4cplus.appender.CALL_LOG_APPENDER.layout=velmora::PatternLayout\n"
            "log4cplus.appender.CALL_LOG_APPENDER.layout.ConversionPattern="
         << s_szPattern
         << "\nkeswardin.infra.CallLogger.outputFileSuffix=.log\n"
            "keswardin.infra.CallLogger.log1CallOutOf="
         << in_iLog1CallOutOf << '\n';
    ParameterTrie trie;
    trie.read(text, nullptr, '\n', false, nullptr, nullptr);
    if (!CallDataRegistry::getInstance()->configure(trie))
        std::abort();
}

template <class LoggerClass>
void logLine(const LoggerClass& in_logger, int in_iLine)
{
    VELMORA_LOG(in_logger, INFO_LOG_LEVEL,
                "line " << in_iLine << " of a call, state "
                        << "ringing");
}

// A whole call.

void callFileOurs(benchmark::State& out_state)
{
    if (out_state.thread_index() == 0)
        configureCalls(1);
    Entry entry(out_state);
    entry.mark();
    CallIds ids(out_state);
    CallLogger logger(nameOfThread(out_state));
    for ([[maybe_unused]] auto turn : out_state)
    {
        logger.callStart(ids.next().c_str());
        for (int iLine = 0; iLine < s_iLinesOfCall; ++iLine)
            logLine(logger, iLine);
        logger.callEnd();
    }
}

/// Returns the text of a file's first or last line.
std::string withTime(const char* in_szWhat)
{
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    std::array<char, 256> text{};
    std::strftime(text.data(), text.size(), "%c", &local);
    return std::string(in_szWhat) + text.data();
}

void callFileLog4cplus(benchmark::State& out_state)
{
    Entry entry(out_state);
    CallIds ids(out_state);
    log4cplus::helpers::Properties properties;
    properties.setProperty("layout", "log4cplus::PatternLayout");
    properties.setProperty("layout.ConversionPattern", s_szPattern);
    for ([[maybe_unused]] auto turn : out_state)
    {
        properties.setProperty("File", CallDirectory::path() + '/' + ids.next() + ".log");
        entry.logger().addAppender(
            log4cplus::SharedAppenderPtr(new log4cplus::FileAppender(properties)));
        LOG4CPLUS_INFO(entry.logger(), withTime("Call start : "));
        for (int iLine = 0; iLine < s_iLinesOfCall; ++iLine)
            LOG4CPLUS_INFO(entry.logger(), "line " << iLine << " of a call, state "
                                                   << "ringing");
        LOG4CPLUS_INFO(entry.logger(), withTime("Call end : "));
        entry.logger().removeAllAppenders();
    }
}

void callFileSpdlog(benchmark::State& out_state)
{
    CallIds ids(out_state);
    for ([[maybe_unused]] auto turn : out_state)
    {
        spdlog::logger logger(nameOfThread(out_state),
                              std::make_shared<spdlog::sinks::basic_file_sink_mt>(
                                  CallDirectory::path() + '/' + ids.next() + ".log", true));
        logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %-5l [%t] %n - %v",
                           spdlog::pattern_time_type::utc);
        logger.flush_on(spdlog::level::trace);
        SPDLOG_LOGGER_CALL(&logger, spdlog::level::info, withTime("Call start : "));
        for (int iLine = 0; iLine < s_iLinesOfCall; ++iLine)
            SPDLOG_LOGGER_CALL(&logger, spdlog::level::info, "line {} of a call, state {}", iLine,
                               "ringing");
        SPDLOG_LOGGER_CALL(&logger, spdlog::level::info, withTime("Call end : "));
    }
}

// A line to a main log that is flushed after each line.

void sampledOutLine(benchmark::State& out_state, bool in_bInCall)
{
    configureCalls(1'000'000'000);
    Entry entry(out_state);
    entry.mark();
    entry.addMainLog();
    // The first call is always sampled, so a second one is needed that is not.
    CallLogger logger(nameOfThread(out_state));
    logger.callStart("first");
    logLine(logger, 0);
    logger.callEnd();
    if (in_bInCall)
        logger.callStart("second");
    for ([[maybe_unused]] auto turn : out_state)
        logLine(logger, 1);
}

// A call without a line.

void callStartEnd(benchmark::State& out_state)
{
    if (out_state.thread_index() == 0)
        configureCalls(1);
    Entry entry(out_state);
    entry.mark();
    CallIds ids(out_state);
    CallLogger logger(nameOfThread(out_state));
    for ([[maybe_unused]] auto turn : out_state)
    {
        logger.callStart(ids.next().c_str());
        logger.callEnd();
    }
}

// Many active calls, of which the oldest ends and a new one begins. The time is that of one end and
// one beginning.

/// Begins and ends calls by the operations of `Calls`, in places that each hold one call after
/// another. There are twice as many ids as places, so a call never has the id of the one before.
template <class Calls>
void callsAtOnce(benchmark::State& out_state, Calls& out_calls, std::size_t in_uiCalls)
{
    std::vector<std::string> ids;
    while (ids.size() < 2 * in_uiCalls)
        ids.push_back(std::to_string(ids.size()) + "-a84b4c76e66710@192.0.2.1");
    for (std::size_t uiPlace = 0; uiPlace < in_uiCalls; ++uiPlace)
        out_calls.begin(uiPlace, ids[uiPlace]);
    std::size_t uiPlace = 0;
    std::size_t uiId = in_uiCalls;
    for ([[maybe_unused]] auto turn : out_state)
    {
        out_calls.end(uiPlace);
        out_calls.begin(uiPlace, ids[uiId]);
        uiPlace = uiPlace + 1 < in_uiCalls ? uiPlace + 1 : 0;
        uiId = uiId + 1 < ids.size() ? uiId + 1 : 0;
    }
}

void callsAtOnceOurs(benchmark::State& out_state, std::size_t in_uiCalls)
{
    struct Calls
    {
        void begin(std::size_t in_uiPlace, const std::string& in_strId)
        {
            loggers[in_uiPlace].callStart(in_strId.c_str());
        }
        void end(std::size_t in_uiPlace) { loggers[in_uiPlace].callEnd(); }

        std::vector<CallLogger> loggers;
    };
    configureCalls(1);
    Entry entry(out_state);
    entry.mark();
    Calls calls{std::vector<CallLogger>(in_uiCalls, CallLogger(nameOfThread(out_state)))};
    callsAtOnce(out_state, calls, in_uiCalls);
}

/// The same operations on a bare table. Each place stores the id by which its call is found.
void callsAtOnceMap(benchmark::State& out_state, std::size_t in_uiCalls)
{
    struct Calls
    {
        void begin(std::size_t in_uiPlace, const std::string& in_strId)
        {
            ids[in_uiPlace] = in_strId;
            table.try_emplace(in_strId, &ids[in_uiPlace]);
        }
        void end(std::size_t in_uiPlace) { table.erase(table.find(ids[in_uiPlace])); }

        std::vector<std::string> ids;
        std::unordered_map<std::string, std::string*> table;
    };
    Calls calls{std::vector<std::string>(in_uiCalls), {}};
    callsAtOnce(out_state, calls, in_uiCalls);
}

// Many active calls with open files.

/// Holds calls with a line each, and so with an open file each. Ends the oldest one and begins
/// another.
class CallsWithFiles
{
  public:
    CallsWithFiles(const benchmark::State& in_state, std::size_t in_uiCalls)
        : m_entry(in_state), m_ids(in_state)
    {
        rlimit limit = {};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        configureCalls(1);
        m_entry.mark();
        m_loggers.assign(in_uiCalls, CallLogger(nameOfThread(in_state)));
        for (CallLogger& logger : m_loggers)
            begin(logger);
    }

    void endOldestAndBegin()
    {
        CallLogger& oldest = m_loggers[m_uiOldest];
        oldest.callEnd();
        begin(oldest);
        m_uiOldest = m_uiOldest + 1 < m_loggers.size() ? m_uiOldest + 1 : 0;
    }

  private:
    void begin(CallLogger& out_logger)
    {
        out_logger.callStart(m_ids.next().c_str());
        logLine(out_logger, 0);
    }

    Entry m_entry;
    CallIds m_ids;
    std::vector<CallLogger> m_loggers;
    std::size_t m_uiOldest = 0;
};

void callFilesAtOnce(benchmark::State& out_state, std::size_t in_uiCalls)
{
    CallsWithFiles calls(out_state, in_uiCalls);
    for ([[maybe_unused]] auto turn : out_state)
        calls.endOldestAndBegin();
}

template <auto Work>
void grow(benchmark::State& out_state)
{
    Work(out_state, static_cast<std::size_t>(out_state.range()));
}

/// Measures each call without a file by itself, for a while. The reported time is that which 99 of
/// 100 calls do not exceed.
void callBesideEnds(benchmark::State& out_state, int in_iEndsOfSecond)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds period(300);
    CallsWithFiles calls(out_state, 10'000);
    for ([[maybe_unused]] auto turn : out_state)
    {
        const Clock::time_point end = Clock::now() + period;
        std::thread ending(
            [&calls, in_iEndsOfSecond, end]
            {
                if (in_iEndsOfSecond == 0)
                    return;
                const auto pause = std::chrono::nanoseconds(1'000'000'000 / in_iEndsOfSecond);
                for (Clock::time_point next = Clock::now(); next < end; next += pause)
                {
                    std::this_thread::sleep_until(next);
                    calls.endOldestAndBegin();
                }
            });
        CallLogger logger("keswardin.bench.CallWithoutFile");
        std::vector<Clock::duration> times;
        times.reserve(2'000'000);
        for (Clock::time_point now = Clock::now(); now < end && times.size() < times.capacity();)
        {
            logger.callStart("without-a-file");
            logger.callEnd();
            const Clock::time_point before = std::exchange(now, Clock::now());
            times.push_back(now - before);
        }
        ending.join();
        const auto reported = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 99 / 100);
        std::nth_element(times.begin(), reported, times.end());
        out_state.SetIterationTime(std::chrono::duration<double>(*reported).count());
    }
}

} // namespace

BENCHMARK(callFileOurs)->Name("callFile/ours")->UseRealTime();
BENCHMARK(callFileLog4cplus)->Name("callFile/log4cplus")->UseRealTime();
BENCHMARK(callFileSpdlog)->Name("callFile/spdlog")->UseRealTime();

BENCHMARK(callFileOurs)->Name("callFileBoth/ours")->Threads(2)->UseRealTime();
BENCHMARK(callFileLog4cplus)->Name("callFileBoth/log4cplus")->Threads(2)->UseRealTime();
BENCHMARK(callFileSpdlog)->Name("callFileBoth/spdlog")->Threads(2)->UseRealTime();

BENCHMARK_CAPTURE(sampledOutLine, , true)->Name("callSampledOut/ours");
BENCHMARK_CAPTURE(sampledOutLine, , false)->Name("callSampledOut/noCall");

BENCHMARK(callStartEnd)->Name("callStartEnd/ours");
BENCHMARK(callStartEnd)->Name("callStartEndBoth/ours")->Threads(2)->UseRealTime();

BENCHMARK_CAPTURE(callsAtOnceOurs, , 100)->Name("callsAtOnce100/ours");
BENCHMARK_CAPTURE(callsAtOnceMap, , 100)->Name("callsAtOnce100/map");
BENCHMARK_CAPTURE(callsAtOnceOurs, , 10'000)->Name("callsAtOnce10000/ours");
BENCHMARK_CAPTURE(callsAtOnceMap, , 10'000)->Name("callsAtOnce10000/map");

BENCHMARK_CAPTURE(callFilesAtOnce, , 10'000)->Name("callFilesAtOnce/ours")->Iterations(3000);
BENCHMARK_CAPTURE(callFilesAtOnce, , 100)->Name("callFilesAtOnce/100 open")->Iterations(3000);

BENCHMARK_CAPTURE(callBesideEnds, , 600)
    ->Name("callBesideEnds/ours")
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(callBesideEnds, , 0)->Name("callBesideEnds/idle")->Iterations(1)->UseManualTime();

// For the plots of "scripts/bench --growth".
BENCHMARK(grow<callsAtOnceOurs>)->Name("growCalls/ours")->RangeMultiplier(10)->Range(1, 10'000);
BENCHMARK(grow<callsAtOnceMap>)->Name("growCalls/map")->RangeMultiplier(10)->Range(1, 10'000);
BENCHMARK(grow<callFilesAtOnce>)
    ->Name("growCallFiles/ours")
    ->RangeMultiplier(10)
    ->Range(1, 10'000)
    ->Iterations(3000);

BENCHMARK_MAIN();
