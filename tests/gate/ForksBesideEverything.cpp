// SPDX-License-Identifier: BSD-2-Clause

// Forks repeatedly while four threads use everything that the library offers. Each child does the
// same once more and ends through exit(), which runs its exit list.
//
// forks-beside-everything <log file> <directory of calls> <number of forks>

#include "Operations.h"

#include "velmora/logging/CallDataRegistry.h"

#include "tests/support/CallLogging.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "tests/support/Threads.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

using namespace Velmora;
using namespace Velmora::Test;

constexpr int s_iThreads = 4;
/// After this time, SIGALRM ends a child that hangs.
constexpr std::chrono::seconds s_limit(100);

void doEverything()
{
    for (const Operations::Operation& operation : Operations::all())
        operation.work();
}

/// Forks and waits for the child. Returns 0 if the child exited with code 7, else 1.
int forkOnce()
{
    const int iCode = exitCodeOfChild(
        []
        {
            doEverything();
            std::exit(7); // NOLINT(concurrency-mt-unsafe): the child has one thread
        },
        s_limit);
    if (iCode == 7)
        return 0;
    std::printf("child ended with status %d\n", iCode);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    Operations::prepare();
    const std::string strFile = argv[1];
    if (!Logger::configure(trieOf("log4cplus.rootLogger=WARN, file\n"
                                  "log4cplus.appender.file=log4cplus::FileAppender\n"
                                  "log4cplus.appender.file.Append=true\n"
                                  "log4cplus.appender.file.File=" +
                                  strFile + "\n" + "log4cplus.logger.keswardin.test=WARN, " +
                                  "CALL_LOG_APPENDER\n" + callSection(argv[2]))) ||
        !configureCalls(argv[2]))
        return 3;

    // Forks begin when each thread has used everything once.
    RepeatingThreads threads(s_iThreads, &doEverything);
    int iFailed = 0;
    const int iForks = std::atoi(argv[3]);
    for (int iFork = 0; iFork < iForks && iFailed == 0; ++iFork)
        iFailed += forkOnce();
    threads.stop();
    std::printf("%d of %d children failed\n", iFailed, iForks);
    return iFailed == 0 ? 0 : 1;
}
