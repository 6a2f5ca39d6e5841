// SPDX-License-Identifier: BSD-2-Clause

// Logs lines to a file that it buffers, and ends in one of several ways:
// logs-to-file <file> return|exit|assertion|signal|fork|static
//
// Or logs numbered lines on two threads until SIGTERM comes, and opens its files again at each
// SIGHUP: logs-to-file <file> threads immediate|buffered At its end it prints how many lines each
// thread has logged, and how many were written and lost.

#include "velmora/application/Assertion.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include "tests/support/ConfigurationText.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/NoLeakCheckInChild.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.LogsToFile")

namespace
{

using namespace Velmora;

bool s_bLogsInStatic = false;

struct InStatics
{
    ~InStatics()
    {
        if (s_bLogsInStatic)
            VELMORA_LOG(Logger("keswardin.test.Static"), INFO_LOG_LEVEL, "of a static destructor");
    }
} s_inStatics;

bool configure(const std::string& in_strFile, bool in_bBuffered)
{
    return Logger::configure(Test::trieOf(
        "log4cplus.rootLogger=INFO, FILE\n"
        "log4cplus.appender.FILE=velmora::FileAppender\n"
        "log4cplus.appender.FILE.File=" +
        in_strFile +
        "\nlog4cplus.appender.FILE.ImmediateFlush=" + (in_bBuffered ? "false" : "true") +
        "\nlog4cplus.appender.FILE.FlushInterval=3600\n"
        "log4cplus.appender.FILE.FlushLevel=FATAL\n"
        "log4cplus.appender.FILE.layout=velmora::PatternLayout\n"
        "log4cplus.appender.FILE.layout.ConversionPattern=%m%n\n"));
}

volatile std::sig_atomic_t s_iSignal = 0;

int end(const std::string& in_strHow)
{
    if (in_strHow == "exit")
        std::exit(0);
    if (in_strHow == "assertion")
    {
        Test::loadGlobal("keswardin.infra.abortOnAssert=true\n");
        VELMORA_PLAIN_ASSERT(false);
    }
    if (in_strHow == "signal")
    {
        std::signal(SIGTERM, [](int in_iSignal) { s_iSignal = in_iSignal; });
        std::raise(SIGTERM);
        std::exit(s_iSignal == SIGTERM ? 0 : 1);
    }
    if (in_strHow == "fork")
    {
        // The child logs a line of its own, and ends as a program does.
        const int iCode = Test::exitCodeOfChild(
            []
            {
                VELMORA_FILE_LOG_INFO("of the child");
                std::exit(0);
            });
        VELMORA_FILE_LOG_INFO("after the child");
        return iCode;
    }
    s_bLogsInStatic = in_strHow == "static";
    return 0;
}

/// The signals are blocked.
void logOnThreads(const sigset_t& in_signals)
{
    constexpr int iThreads = 2;
    std::array<std::atomic<int>, iThreads> lines{};
    std::atomic<bool> bStop = false;
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread != iThreads; ++iThread)
        threads.emplace_back(
            [&, iThread]
            {
                while (!bStop)
                {
                    VELMORA_FILE_LOG_INFO(iThread << ' ' << lines[iThread]++);
                    std::this_thread::sleep_for(std::chrono::microseconds(100));
                }
            });
    int iSignal = 0;
    while (sigwait(&in_signals, &iSignal) == 0 && iSignal != SIGTERM)
        std::printf("reopened %d\n", Logger::reopenFiles() ? 1 : 0);
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
    for (const std::atomic<int>& iLines : lines)
        std::printf("%d\n", iLines.load());
    std::printf("%d written %d lost\n", static_cast<int>(Logger::getLineCount()),
                static_cast<int>(Logger::getLossCount()));
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const std::string strHow = argc > 2 ? argv[2] : "";
    if (strHow == "threads")
    {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGHUP);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        if (argc != 4 || !configure(argv[1], std::strcmp(argv[3], "buffered") == 0))
            return 2;
        logOnThreads(signals);
        return 0;
    }
    if (argc != 3 || !configure(argv[1], true))
        return 2;
    for (const char* const szLine : {"first", "second"})
        VELMORA_FILE_LOG_INFO(szLine);
    return end(strHow);
}
