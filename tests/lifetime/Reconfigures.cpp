// SPDX-License-Identifier: BSD-2-Clause

// Logs numbered lines on two threads while the main thread configures the default logging
// repeatedly. Prints the number of lines to standard error, or -1 if a configuration failed.
//
// reconfigures <rounds>

#include "velmora/logging/LogMacros.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.Reconfigures")

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    std::atomic<bool> bStop{false};
    std::atomic<int> iLogged{0};
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < 2; ++iThread)
        threads.emplace_back(
            [&, iThread]
            {
                for (int iLine = 0; !bStop; ++iLine, ++iLogged)
                    VELMORA_FILE_LOG_INFO("numbered " << iThread << ' ' << iLine << '.');
            });
    const int iRounds = std::atoi(argv[1]);
    bool bConfigured = true;
    for (int iRound = 0; iRound < iRounds; ++iRound)
    {
        const int iSoFar = iLogged;
        bConfigured = Velmora::Logger::configureDefault() && bConfigured;
        while (iLogged < iSoFar + 20)
            std::this_thread::yield();
    }
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
    std::fprintf(stderr, "%d", bConfigured ? iLogged.load() : -1);
    return 0;
}
