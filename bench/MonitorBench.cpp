// SPDX-License-Identifier: BSD-2-Clause

// The cost of one period of a monitor: the idle time of the system, beside a bare read of the file
// that holds it, and an observation.

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/LinuxProfileTimer.h"
#include "velmora/alarm/ResourceMonitor.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

using namespace Velmora;

namespace
{

void idleTimeOurs(benchmark::State& out_state)
{
    LinuxProfileTimer timer;
    double dPercent = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        if (!timer.getSystemIdleTime(dPercent))
            out_state.SkipWithError("there is no idle time");
        benchmark::DoNotOptimize(dPercent);
    }
}

void idleTimeRead(benchmark::State& out_state)
{
    const int iFile = open("/proc/stat", O_RDONLY | O_CLOEXEC);
    char buffer[1023];
    for ([[maybe_unused]] auto _ : out_state)
    {
        if (lseek(iFile, 0, SEEK_SET) != 0 || read(iFile, buffer, sizeof buffer) < 1)
            out_state.SkipWithError("there are no statistics");
        benchmark::DoNotOptimize(buffer);
    }
    close(iFile);
}

class QuietAlarm : public AlarmImpl
{
  public:
    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << "bench";
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override { return out_stream; }
};

void observation(benchmark::State& out_state)
{
    constexpr unsigned long uiWindow = 10;
    QuietAlarm alarm;
    AverageResourceUsageMonitor monitor;
    if (!monitor.configure(&alarm, 80, 90, uiWindow))
        out_state.SkipWithError("there is no monitor");
    double dValue = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        dValue = dValue < 70 ? dValue + 1 : 0;
        monitor.pushObservation(dValue);
    }
}

BENCHMARK(idleTimeOurs)->Name("idleTime/ours");
BENCHMARK(idleTimeRead)->Name("idleTime/read");
BENCHMARK(observation)->Name("observation/ours");

} // namespace

BENCHMARK_MAIN();
