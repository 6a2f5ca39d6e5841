// SPDX-License-Identifier: BSD-2-Clause

#include "bench/Opaque.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/ObjectWithLogger.h"

using namespace Velmora;
using Bench::opaque;

namespace
{

/// A class that traces its operations.
class Traced : public ObjectWithLogger<Logger>
{
  public:
    Traced() : ObjectWithLogger<Logger>(Logger("keswardin.bench.TraceScope"))
    {
        getLogger().setLogLevel(WARN_LOG_LEVEL);
    }

    [[gnu::always_inline]] void operation() { VELMORA_TRACE_SCOPE(Traced::operation); }
};

void traceScopeOffOurs(benchmark::State& out_state)
{
    Traced object;
    Bench::measureTiny(out_state, [&object]() VELMORA_BENCH_INLINE { opaque(object).operation(); });
}

} // namespace

BENCHMARK(traceScopeOffOurs)->Name("traceScopeOff/ours");
BENCHMARK(Bench::measureComparison)->Name("traceScopeOff/comparison");

BENCHMARK_MAIN();
