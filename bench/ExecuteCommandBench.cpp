// SPDX-License-Identifier: BSD-2-Clause

// The cost of running the smallest command by the shell, beside other ways to start the same shell.

#include "velmora/logging/Logger.h"
#include "velmora/system/OS.h"

#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

using namespace Velmora;

namespace
{

template <class Run>
void runAll(benchmark::State& out_state, Run in_run)
{
    for ([[maybe_unused]] auto _ : out_state)
        if (in_run() != 0)
        {
            out_state.SkipWithError("the command failed");
            break;
        }
}

int statusOf(pid_t in_pid)
{
    int iStatus = -1;
    waitpid(in_pid, &iStatus, 0);
    return iStatus;
}

void executeCommandOurs(benchmark::State& out_state)
{
    Logger("keswardin.infra.os").setLogLevel(INFO_LOG_LEVEL);
    std::string strCommand = "true";
    runAll(out_state, [&strCommand] { return OS::executeCommand(strCommand); });
}

void executeCommandSpawn(benchmark::State& out_state)
{
    char szShell[] = "/bin/sh";
    char szOption[] = "-c";
    char szCommand[] = "true";
    char* const arguments[] = {szShell, szOption, szCommand, nullptr};
    runAll(out_state,
           [&]
           {
               pid_t pid = -1;
               if (posix_spawn(&pid, szShell, nullptr, nullptr, arguments, environ) != 0)
                   return -1;
               return statusOf(pid);
           });
}

void executeCommandFork(benchmark::State& out_state)
{
    runAll(out_state,
           []
           {
               const pid_t pid = fork();
               if (pid == 0)
               {
                   execl("/bin/sh", "/bin/sh", "-c", "true", nullptr);
                   _exit(1);
               }
               return statusOf(pid);
           });
}

void executeCommandSystem(benchmark::State& out_state)
{
    runAll(out_state, [] { return std::system("true"); });
}

BENCHMARK(executeCommandOurs)->Name("executeCommand/ours")->UseRealTime();
BENCHMARK(executeCommandSpawn)->Name("executeCommand/posix_spawn")->UseRealTime();
BENCHMARK(executeCommandFork)->Name("executeCommand/fork")->UseRealTime();
BENCHMARK(executeCommandSystem)->Name("executeCommand/system")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
