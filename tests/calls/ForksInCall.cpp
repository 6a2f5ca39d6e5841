// SPDX-License-Identifier: BSD-2-Clause

// Forks repeatedly during a call while two other threads begin and end calls with the same id and
// with different ones. Each child logs in the call of its parent and in a call of its own, and ends
// through exit().
//
// forks-in-call <directory> <number of forks>

#include "tests/support/ConfigurationText.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "tests/support/Threads.h"
#include "velmora/Sanitizers.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include <log4cplus/logger.h>

#include <cstdio>
#include <cstdlib>
#include <string>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

bool configure(const std::string& in_strDirectory)
{
    const ParameterTrie trie =
        trieOf("log4cplus.rootLogger=INFO, MAIN, CALL_LOG_APPENDER\n"
               "log4cplus.appender.MAIN=log4cplus::FileAppender\n"
               "log4cplus.appender.MAIN.Append=true\n"
               "log4cplus.appender.MAIN.File=" +
               in_strDirectory +
               "/main.log\n"
               "log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender\n"
               "log4cplus.appender.CALL_LOG_APPENDER.Directory=" +
               in_strDirectory +
               "/calls\n"
               // The child must not write the lines that its parent had buffered at the fork.
               "log4cplus.appender.CALL_LOG_APPENDER.ImmediateFlush=false\n");
    return Logger::configure(trie) && CallDataRegistry::getInstance()->configure(trie);
}

void haveCall(const std::string& in_strId)
{
    CallLogger logger("keswardin.test.Call");
    logger.callStart(in_strId.c_str());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "of its own");
}

/// What each of the other threads does.
void useCalls([[maybe_unused]] int in_iThread)
{
#if !VELMORA_ADDRESS_SANITIZER
    haveCall("other");
    haveCall("other" + std::to_string(in_iThread));
#else
    // AddressSanitizer's malloc does not survive a fork while another thread is in it.
    static_cast<void>(CallDataRegistry::getInstance()->getCurrentNumCall());
#endif
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3 || !configure(argv[1]))
        return 2;
    CallLogger logger("keswardin.test.Call");
    logger.callStart("parent");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "before");
    RepeatingThreads threads(2, &useCalls);
    int iCode = 0;
    for (int iFork = 0; iFork < std::atoi(argv[2]) && iCode == 0; ++iFork)
        iCode = exitCodeOfChild(
            [&]
            {
                VELMORA_LOG(logger, INFO_LOG_LEVEL, "in the child");
                haveCall("child");
                // Another thread may have been about to end a call with this id.
                haveCall("other");
                logger.callEnd();
                std::exit(0);
            });
    threads.stop();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "behind");
    std::printf("last child ended with status %d\n", iCode);
    return 0;
}
