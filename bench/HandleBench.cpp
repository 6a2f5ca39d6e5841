// SPDX-License-Identifier: BSD-2-Clause

#include "bench/Opaque.h"

#include "velmora/application/Handle.h"

#include <ace/Thread_Mutex.h>

#include <cstdint>
#include <memory>

using namespace Velmora;
using Bench::opaque;

namespace
{

/// Does the least that a copy and a release of a handle need: each takes the mutex, and changes the
/// count or checks whether it is the last.
void copyLockAndCount(benchmark::State& out_state)
{
    struct Count
    {
        ACE_Thread_Mutex mutex;
        std::uint32_t uiCount = 1;
    } count;
    for ([[maybe_unused]] const auto turn : out_state)
    {
        Count& seen = opaque(count);
        seen.mutex.acquire();
        ++seen.uiCount;
        seen.mutex.release();
        seen.mutex.acquire();
        if (seen.uiCount != 1) [[likely]]
            --seen.uiCount;
        seen.mutex.release();
    }
}

template <class AnyHandle>
void copyHandle(benchmark::State& out_state)
{
    const AnyHandle hObject(new Object);
    for ([[maybe_unused]] const auto turn : out_state)
    {
        AnyHandle hCopy(opaque(hObject));
        opaque(hCopy);
    }
}

} // namespace

BENCHMARK(copyHandle<TSHandle<Object>>)->Name("handleCopy/ours");
BENCHMARK(copyLockAndCount)->Name("handleCopy/lockAndCount");
BENCHMARK(copyHandle<std::shared_ptr<Object>>)->Name("handleCopy/shared_ptr");
BENCHMARK(copyHandle<Handle<Object>>)->Name("handleCopy/unlocked");

BENCHMARK_MAIN();
