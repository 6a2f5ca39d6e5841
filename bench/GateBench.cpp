// SPDX-License-Identifier: BSD-2-Clause

#include "bench/Opaque.h"

#include "velmora/application/ProcessGate.h"

#include <mutex>
#include <shared_mutex>

using namespace Velmora;
using Bench::opaque;

namespace
{

struct Gate
{
    void enter() { ProcessGate::enter(); }
    void leave() { ProcessGate::leave(); }
};

struct Mutex
{
    void enter() { m_mutex.lock(); }
    void leave() { m_mutex.unlock(); }
    std::mutex m_mutex;
};

struct SharedMutex
{
    void enter() { m_mutex.lock_shared(); }
    void leave() { m_mutex.unlock_shared(); }
    std::shared_mutex m_mutex;
};

/// Shared by all threads that pass it.
template <class AnyGate>
AnyGate s_gate;

template <class AnyGate>
void pass(benchmark::State& out_state)
{
    for ([[maybe_unused]] const auto turn : out_state)
    {
        opaque(s_gate<AnyGate>).enter();
        opaque(s_gate<AnyGate>).leave();
    }
}

} // namespace

BENCHMARK(pass<Gate>)->Name("gatePass/ours");
BENCHMARK(pass<Mutex>)->Name("gatePass/mutex");
BENCHMARK(pass<SharedMutex>)->Name("gatePass/shared_mutex");
BENCHMARK(pass<Gate>)->Name("gatePassBoth/ours")->Threads(2)->UseRealTime();
BENCHMARK(pass<Mutex>)->Name("gatePassBoth/mutex")->Threads(2)->UseRealTime();
BENCHMARK(pass<SharedMutex>)->Name("gatePassBoth/shared_mutex")->Threads(2)->UseRealTime();

BENCHMARK_MAIN();
