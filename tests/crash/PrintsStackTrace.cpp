// SPDX-License-Identifier: BSD-2-Clause

// On a second thread, prints and logs the stack trace of a function that has returned. Writes the
// number of that thread to standard output. With an argument, the texts of the functions are
// missing.

#include "velmora/application/StackTrace.h"

#include "tests/support/LogToOutput.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>

#include <iostream>
#include <memory>
#include <thread>

namespace
{

bool s_bNoSymbols = false;

[[gnu::noinline]] std::unique_ptr<Velmora::StackTrace> stackTraceOfInside()
{
    return std::make_unique<Velmora::StackTrace>();
}

} // namespace

/// Replaces the function of the C library, which fails only if there is no memory.
extern "C" __attribute__((visibility("default"))) char** backtrace_symbols(void* const* in_pFrames,
                                                                           int in_iFrames)
{
    using Function = char** (*)(void* const*, int);
    static const auto s_pReal = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "backtrace_symbols"));
    return s_bNoSymbols ? nullptr : s_pReal(in_pFrames, in_iFrames);
}

int main(int argc, char**)
{
    Velmora::Test::logToOutput({"keswardin.infra.StackTrace"});
    s_bNoSymbols = argc > 1;
    const std::unique_ptr<Velmora::StackTrace> pTrace = stackTraceOfInside();
    std::thread(
        [&pTrace]
        {
            std::cout << "thread " << pthread_self() << std::endl;
            pTrace->print();
            pTrace->log(Velmora::INFO_LOG_LEVEL);
        })
        .join();
    return 0;
}
