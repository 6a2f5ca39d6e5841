// SPDX-License-Identifier: BSD-2-Clause

// Two threads log numbered lines in many concurrent calls, to the main log and to the file of each
// call. Each thread has a logger of its own in each call. The program then checks that each line is
// in both places.
//
// logs-calls <directory> <concurrent calls> <rounds> <lines of a thread in a call> [reconfigure]
//
// With "reconfigure", another thread configures logging for as long as the calls last.

#include "tests/support/ConfigurationText.h"
#include "tests/support/Files.h"
#include "tests/support/Lines.h"
#include "tests/support/OpenDescriptors.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include <sys/resource.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

constexpr int s_iThreads = 2;

struct Work
{
    std::string strDirectory;
    int iCalls;
    int iRounds;
    int iLines;
};

std::string idOf(int in_iRound, int in_iCall)
{
    return "a84b4c76e66710-" + std::to_string(in_iRound) + '-' + std::to_string(in_iCall) +
           "@192.0.2.17";
}

ParameterTrie configurationOf(const Work& in_work)
{
    return trieOf("log4cplus.rootLogger=INFO, MAIN, CALL_LOG_APPENDER\n"
                  "log4cplus.appender.MAIN=log4cplus::FileAppender\n"
                  "log4cplus.appender.MAIN.Append=true\n"
                  "log4cplus.appender.MAIN.File=" +
                  in_work.strDirectory +
                  "/main.log\n"
                  "log4cplus.appender.MAIN.layout=log4cplus::PatternLayout\n"
                  "log4cplus.appender.MAIN.layout.ConversionPattern=%c %m%n\n"
                  "log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender\n"
                  "log4cplus.appender.CALL_LOG_APPENDER.Directory=" +
                  in_work.strDirectory +
                  "/calls\n"
                  "log4cplus.appender.CALL_LOG_APPENDER.layout=log4cplus::PatternLayout\n"
                  "log4cplus.appender.CALL_LOG_APPENDER.layout.ConversionPattern=%m%n\n"
                  "keswardin.infra.CallLogger.outputFileSuffix=.log\n");
}

bool configure(const Work& in_work)
{
    const ParameterTrie trie = configurationOf(in_work);
    return Logger::configure(trie) && CallDataRegistry::getInstance()->configure(trie);
}

/// Counts the resources that must be the same before the first call and after the last one. The
/// bytes in memory accounts are 0 in a process that does not account its memory.
struct Held
{
    std::size_t uiDescriptors = 0;
    int iCallData = 0;
    int iAppenders = 0;
    int iIdentifiers = 0;

    bool operator==(const Held&) const = default;
};

int balanceOf(MemAccountInfoHash& inout_accounts, const char* in_szName)
{
    return inout_accounts[in_szName].iBalance;
}

Held held()
{
    Held result;
    result.uiDescriptors = countOpenDescriptors();
    if (DefaultStaticMemAllocator::isAccountingMemory())
    {
        MemAccountInfoHash accounts;
        StaticAccountMemAllocator::getMemAccountInfo(accounts);
        result.iCallData = balanceOf(accounts, "CallDataRegistry::CallDataImpl");
        result.iAppenders = balanceOf(accounts, "FileCallAppender");
        result.iIdentifiers = balanceOf(accounts, "StringVector");
    }
    return result;
}

/// The loggers of a round: for each thread, one in each call.
using Loggers = std::array<std::deque<CallLogger>, s_iThreads>;

void logRound(const Work& in_work, int in_iRound, int in_iThread,
              std::deque<CallLogger>& out_loggers)
{
    for (int iLine = 0; iLine < in_work.iLines; ++iLine)
        for (int iCall = 0; iCall < in_work.iCalls; ++iCall)
            VELMORA_LOG(out_loggers[static_cast<std::size_t>(iCall)], INFO_LOG_LEVEL,
                        "round " << in_iRound << " call " << iCall << " thread " << in_iThread
                                 << " line " << iLine << '.');
}

/// Begins all calls of a round, logs in them on two threads, and ends them.
void haveRound(const Work& in_work, int in_iRound)
{
    Loggers loggers;
    for (int iCall = 0; iCall < in_work.iCalls; ++iCall)
        for (std::deque<CallLogger>& ofThread : loggers)
        {
            ofThread.emplace_back("keswardin.test.Call").addLoggingId("leg=1");
            ofThread.back().callStart(idOf(in_iRound, iCall).c_str());
        }
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            [&in_work, in_iRound, iThread, &loggers]
            {
                std::deque<CallLogger>& own = loggers[static_cast<std::size_t>(iThread)];
                logRound(in_work, in_iRound, iThread, own);
                // Leaves the calls while the other thread may still log in them.
                own.clear();
            });
    for (std::thread& thread : threads)
        thread.join();
}

/// Takes a text and the number behind it off the front of a line. Returns whether they were there.
bool take(const char*& inout_szLine, const std::string& in_strText, int& out_iNumber)
{
    if (std::string(inout_szLine).compare(0, in_strText.size(), in_strText) != 0)
        return false;
    char* pEnd = nullptr;
    out_iNumber = static_cast<int>(std::strtol(inout_szLine + in_strText.size(), &pEnd, 10));
    const bool bNumber = pEnd != inout_szLine + in_strText.size();
    inout_szLine = pEnd;
    return bNumber;
}

/// Checks that each expected line comes once, and that the lines of a thread in a call come in
/// order.
class Checker
{
  public:
    explicit Checker(const Work& in_work)
        : m_work(in_work), m_next(static_cast<std::size_t>(in_work.iRounds) *
                                  static_cast<std::size_t>(in_work.iCalls) * s_iThreads)
    {
    }

    /// Checks a line that begins with the prefix.
    void check(const std::string& in_strLine, const std::string& in_strPrefix)
    {
        const char* szLine = in_strLine.c_str();
        int iRound = -1;
        int iCall = -1;
        int iThread = -1;
        int iLine = -1;
        ++m_iLines;
        const bool bWhole = take(szLine, in_strPrefix + "round ", iRound) &&
                            take(szLine, " call ", iCall) && take(szLine, " thread ", iThread) &&
                            take(szLine, " line ", iLine) && std::string(szLine) == ".";
        if (!bWhole || iRound < 0 || iRound >= m_work.iRounds || iCall < 0 ||
            iCall >= m_work.iCalls || iThread < 0 || iThread >= s_iThreads ||
            iLine !=
                m_next[(static_cast<std::size_t>(iRound) * static_cast<std::size_t>(m_work.iCalls) +
                        static_cast<std::size_t>(iCall)) *
                           s_iThreads +
                       static_cast<std::size_t>(iThread)]++)
            ++m_iWrong;
    }
    void wrong() { ++m_iWrong; }

    [[nodiscard]] bool isComplete() const
    {
        for (const int iNext : m_next)
            if (iNext != m_work.iLines)
                return false;
        return m_iWrong == 0;
    }
    [[nodiscard]] long lines() const { return m_iLines; }

  private:
    const Work& m_work;
    /// For each round, call and thread, the number of the line that comes next.
    std::vector<int> m_next;
    long m_iLines = 0;
    long m_iWrong = 0;
};

/// Checks the main log, in which the call id is in front of each line.
void checkMainLog(const Work& in_work, Checker& out_checker)
{
    for (const std::string& strLine : linesOf(readFile(in_work.strDirectory + "/main.log")))
    {
        // While logging is configured, the library may log lines of its own.
        if (strLine.compare(0, 16, "keswardin.infra.") == 0)
            continue;
        const char* szRest = strLine.c_str();
        int iRound = -1;
        int iCall = -1;
        const std::size_t uiBegin = strLine.find("round ");
        if (uiBegin == std::string::npos)
        {
            out_checker.wrong();
            continue;
        }
        szRest += uiBegin;
        if (!take(szRest, "round ", iRound) || !take(szRest, " call ", iCall))
            out_checker.wrong();
        else
            out_checker.check(strLine,
                              "keswardin.test.Call leg=1 call-id=" + idOf(iRound, iCall) + ' ');
    }
}

/// Checks the file of a call: the first and the last line, and the lines between, without the id.
void checkCall(const std::string& in_strFile, const std::string& in_strOfCall, Checker& out_checker)
{
    const std::vector<std::string> lines = linesOf(readFile(in_strFile));
    if (lines.size() < 2 || lines.front().compare(0, 13, "Call start : ") != 0 ||
        lines.back().compare(0, 11, "Call end : ") != 0)
    {
        out_checker.wrong();
        return;
    }
    for (std::size_t uiLine = 1; uiLine + 1 < lines.size(); ++uiLine)
    {
        out_checker.check(lines[uiLine], "leg=1 ");
        if (lines[uiLine].find(in_strOfCall) == std::string::npos)
            out_checker.wrong();
    }
}

void checkCalls(const Work& in_work, Checker& out_checker)
{
    for (int iRound = 0; iRound < in_work.iRounds; ++iRound)
        for (int iCall = 0; iCall < in_work.iCalls; ++iCall)
            checkCall(in_work.strDirectory + "/calls/" + idOf(iRound, iCall) + ".log",
                      "round " + std::to_string(iRound) + " call " + std::to_string(iCall) + ' ',
                      out_checker);
}

/// Raises the limit on open files as far as it goes: each active call has one. Returns false if the
/// limit cannot be raised.
bool useAllDescriptors()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return false;
    limit.rlim_cur = limit.rlim_max;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 5)
        return 2;
    const Work work{argv[1], std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4])};
    if (!useAllDescriptors())
    {
        std::perror("cannot raise the limit of descriptors");
        return 4;
    }
    // The library would log a line when it makes the directory.
    std::filesystem::create_directory(work.strDirectory + "/calls");
    if (!configure(work))
        return 3;
    // What the first call of a process sets up must not count as held by later calls.
    {
        CallLogger warm("keswardin.test.Warm");
        warm.callStart("warm");
    }
    const Held before = held();

    std::atomic<bool> bStop{false};
    int iReconfigured = 0;
    std::thread reconfiguring(
        [&]
        {
            while (argc > 5 && !bStop)
                iReconfigured += configure(work) ? 1 : 0;
        });
    for (int iRound = 0; iRound < work.iRounds; ++iRound)
        haveRound(work, iRound);
    bStop = true;
    reconfiguring.join();

    const Held after = held();
    Checker mainLog(work);
    checkMainLog(work, mainLog);
    Checker calls(work);
    checkCalls(work, calls);
    std::printf("main log: %ld lines, %s\n", mainLog.lines(),
                mainLog.isComplete() ? "whole" : "BROKEN");
    std::printf("calls: %ld lines, %s\n", calls.lines(), calls.isComplete() ? "whole" : "BROKEN");
    std::printf("held: %s\n", before == after ? "as before" : "MORE OR LESS");
    std::printf("highest number of calls: %zu, now %zu\n",
                CallDataRegistry::getInstance()->getMaxNumCall(),
                CallDataRegistry::getInstance()->getCurrentNumCall());
    if (argc > 5)
        std::printf("reconfigured: %s\n", iReconfigured > 0 ? "yes" : "no");
    return 0;
}
