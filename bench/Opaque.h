// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <utility>

/// Follows the parameters of a lambda that is to be inlined into the loop that measures it.
#define VELMORA_BENCH_INLINE __attribute__((always_inline))

namespace Velmora::Bench
{

/// Returns the object itself, but hides from the compiler which object it is and what it holds.
template <class T>
[[gnu::always_inline]] inline T& opaque(T& in_object)
{
    T* pObject = &in_object;
    asm volatile("" : "+r"(pObject) : : "memory");
    return *pObject;
}

template <class Work, std::size_t... Index>
[[gnu::always_inline]] inline void doSeveral(Work& in_work, std::index_sequence<Index...>)
{
    ((static_cast<void>(Index), in_work()), ...);
}

/// Measures work that takes about as long as one turn of a loop. One turn does eight pieces of it,
/// and the reported time is that of one piece. The work is a lambda marked VELMORA_BENCH_INLINE.
template <class Work>
void measureTiny(benchmark::State& out_state, Work in_work)
{
    constexpr std::size_t uiPiecesInTurn = 8;
    while (out_state.KeepRunningBatch(uiPiecesInTurn))
        doSeveral(in_work, std::make_index_sequence<uiPiecesInTurn>());
}

/// An object with a level, against which the cheapest log line is measured.
struct WithLevel
{
    int iLevel;
};

[[gnu::noinline]] inline void reached(WithLevel& out_object)
{
    benchmark::DoNotOptimize(out_object);
}

/// Measures one comparison of an int member with a branch that is never taken.
inline void measureComparison(benchmark::State& out_state)
{
    constexpr int iAsked = 10000;
    WithLevel object{30000};
    measureTiny(out_state,
                [&object]() VELMORA_BENCH_INLINE
                {
                    if (WithLevel& seen = opaque(object); seen.iLevel <= iAsked) [[unlikely]]
                        reached(seen);
                });
}

} // namespace Velmora::Bench
