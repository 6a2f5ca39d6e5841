// Prints the stack trace of a function that it has left, on a second thread, and writes the number
// of that thread and what the log takes of the same object to standard output. With an argument it
// does so without the texts of the functions.

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

/// Stands in for the function of the C library, which fails for want of memory only.
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
