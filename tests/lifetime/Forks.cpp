// SPDX-License-Identifier: BSD-2-Clause

// Forks repeatedly while other threads log to a file and allocate. Each child logs a line,
// allocates, and ends through exit().
//
// forks <log file> <number of forks>

#include "tests/support/ForkedChild.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "tests/support/Threads.h"
#include "velmora/Sanitizers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>

#include <cstdio>
#include <cstdlib>
#include <string>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.Forks")

namespace
{

/// The number of the child, 0 in the parent. It is not the process id, which the system may reuse.
int s_iProcess = 0;

void useLibrary()
{
    void* const pMemory = Velmora::DefaultStaticMemAllocator::allocate(40, "test");
    VELMORA_FILE_LOG_WARN("a line of process " << s_iProcess << " with memory at " << pMemory);
    Velmora::DefaultStaticMemAllocator::deallocate(pMemory, 40, "test");
}

/// Takes the lock of the hierarchy for a moment. It calls malloc; that of AddressSanitizer does not
/// survive a fork while another thread is inside it.
void makeLogger()
{
#if !VELMORA_ADDRESS_SANITIZER
    Velmora::Logger("keswardin.test.Forks.thread").reset();
#endif
}

constexpr int s_iThreads = 3;

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::SharedAppenderPtr pAppender(new log4cplus::FileAppender(argv[1], std::ios::app));
    Velmora::Logger().addAppender(pAppender);
    Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);

    // The number of locks exceeds the number that ThreadSanitizer can follow in one thread.
    for (int iLogger = 0; iLogger < 100; ++iLogger)
        log4cplus::Logger::getInstance("keswardin.test.Forks.logger" + std::to_string(iLogger));

    Velmora::Test::RepeatingThreads threads(s_iThreads,
                                            []
                                            {
                                                useLibrary();
                                                makeLogger();
                                            });

    int iCode = 0;
    for (int iFork = 0; iFork < std::atoi(argv[2]) && iCode == 0; ++iFork)
        iCode = Velmora::Test::exitCodeOfChild(
            [&]
            {
                s_iProcess = iFork + 1;
                useLibrary();
                std::exit(0);
            });
    threads.stop();
    std::printf("last child ended with status %d\n", iCode);
    return iCode == 0 ? 0 : 1;
}
