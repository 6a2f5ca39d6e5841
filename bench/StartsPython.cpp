// SPDX-License-Identifier: BSD-2-Clause

// Starts Python once and prints the processor time that it took in nanoseconds. The first argument
// "ours" starts it by the library, "bare" by Python's own call in the same environment.

#include "velmora/python/BoostPython.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <ctime>

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace
{

std::int64_t nanoseconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

bool startBare()
{
    PyConfig config;
    PyConfig_InitPythonConfig(&config);
    config.install_signal_handlers = 0;
    const PyStatus status = Py_InitializeFromConfig(&config);
    PyConfig_Clear(&config);
    return PyStatus_Exception(status) == 0 && PyImport_ImportModule("traceback") != nullptr;
}

bool startOurs() { return Velmora::Python::EmbeddedInterpreter::getInstance().initialize(); }

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const bool bOurs = std::string_view(argv[1]) == "ours";
    const std::int64_t iBegin = nanoseconds();
    if (!(bOurs ? startOurs() : startBare()))
        return 1;
    std::printf("%lld\n", static_cast<long long>(nanoseconds() - iBegin));
    // Flushed here so that the number precedes the lines that the library logs at its end.
    std::fflush(stdout);
}
