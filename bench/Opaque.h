#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <utility>

/// Stands behind the parameters of a lambda that is to be part of the loop that it is measured in.
#define VELMORA_BENCH_INLINE __attribute__((always_inline))

namespace Velmora::Bench
{

/// The same object, of which the compiler knows nothing: neither which it is nor what it holds.
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

/// Measures work that takes about as long as a turn of a loop: eight pieces of it make one turn,
/// and the time is that of one piece. The work is a lambda marked VELMORA_BENCH_INLINE.
template <class Work>
void measureTiny(benchmark::State& out_state, Work in_work)
{
    constexpr std::size_t uiPiecesInTurn = 8;
    while (out_state.KeepRunningBatch(uiPiecesInTurn))
        doSeveral(in_work, std::make_index_sequence<uiPiecesInTurn>());
}

/// What the cheapest log line is measured against: an object with a level.
struct WithLevel
{
    int iLevel;
};

[[gnu::noinline]] inline void reached(WithLevel& out_object)
{
    benchmark::DoNotOptimize(out_object);
}

/// Measures one comparison of an int member, with a branch that is never taken.
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
