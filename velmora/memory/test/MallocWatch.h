// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Records the calls of `malloc` and `free` in the whole process, and makes `malloc` fail. It
// replaces both functions, so at most one source file of a program may include it.

#include "velmora/Sanitizers.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
// From the sanitizers' run-time. The packages of the compilers do not have the header that declares
// it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*in_mallocHook)(const volatile void*,
                                                                               std::size_t),
                                                         void (*in_freeHook)(const volatile void*));
#endif

namespace Velmora::Test
{

/// While it exists, records the calling thread's calls of `malloc` and `free`. At most one may
/// exist at a time.
///
/// Thread-safety: belongs to its thread; calls of other threads are not recorded.
class MallocWatch
{
  public:
    MallocWatch()
    {
        static_cast<void>(s_bInstalled);
        s_sizes.uiCount = 0;
        s_freed.uiCount = 0;
        s_bWatching = true;
        fenceCompiler();
    }
    ~MallocWatch() { s_bWatching = false; }
    MallocWatch(const MallocWatch&) = delete;
    MallocWatch& operator=(const MallocWatch&) = delete;

    [[nodiscard]] std::size_t countMallocs() const
    {
        fenceCompiler();
        return s_sizes.uiCount;
    }
    [[nodiscard]] std::size_t countFrees() const
    {
        fenceCompiler();
        return s_freed.uiCount;
    }

    /// Returns the requested sizes in bytes, in order.
    [[nodiscard]] std::vector<std::size_t> sizes() const { return copyOf(s_sizes); }

    /// Returns those of the given addresses that were freed, in the order of their release.
    [[nodiscard]] std::vector<const void*>
    freedAmong(const std::vector<const void*>& in_wanted) const
    {
        std::vector<const void*> result = copyOf(s_freed);
        std::erase_if(result,
                      [&in_wanted](const void* in_pFreed) {
                          return std::find(in_wanted.begin(), in_wanted.end(), in_pFreed) ==
                                 in_wanted.end();
                      });
        return result;
    }

    static void recordMalloc(std::size_t in_uiSize)
    {
        if (s_bWatching)
            record(s_sizes, in_uiSize);
    }

    static void recordFree(const void* in_pMemory)
    {
        if (s_bWatching && in_pMemory != nullptr)
            record(s_freed, in_pMemory);
    }

  private:
    /// An array of fixed size, because recording must not allocate.
    template <class T>
    struct Record
    {
        std::array<T, 10000> entries;
        std::size_t uiCount;
    };

    template <class T>
    static void record(Record<T>& out_record, T in_entry)
    {
        if (out_record.uiCount < out_record.entries.size())
            out_record.entries[out_record.uiCount++] = in_entry;
    }

    /// Makes the compiler reload the variables. It assumes that `malloc` and `free` change none of
    /// them.
    static void fenceCompiler() { std::atomic_signal_fence(std::memory_order_seq_cst); }

    template <class T>
    static std::vector<T> copyOf(const Record<T>& in_record)
    {
        fenceCompiler();
        const bool bWatching = std::exchange(s_bWatching, false);
        std::vector<T> result(in_record.entries.begin(),
                              in_record.entries.begin() +
                                  static_cast<std::ptrdiff_t>(in_record.uiCount));
        s_bWatching = bWatching;
        return result;
    }

    static inline Record<std::size_t> s_sizes{};
    static inline Record<const void*> s_freed{};
    static constinit inline thread_local bool s_bWatching = false;
    static const bool s_bInstalled;
};

/// While it exists, `malloc` fails on the calling thread after the given number of successful
/// calls. At most one may exist at a time. Not available with sanitizers, which replace `malloc`
/// themselves.
///
/// Thread-safety: belongs to its thread; `malloc` does not fail on other threads.
#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER
class MallocFailure
{
  public:
    explicit MallocFailure(std::size_t in_uiNumServed = 0)
    {
        s_uiNumServed = in_uiNumServed;
        s_bFailing = true;
        fenceCompiler();
    }
    ~MallocFailure()
    {
        s_bFailing = false;
        fenceCompiler();
    }
    MallocFailure(const MallocFailure&) = delete;
    MallocFailure& operator=(const MallocFailure&) = delete;

    static bool isNext()
    {
        if (!s_bFailing)
            return false;
        if (s_uiNumServed == 0)
            return true;
        --s_uiNumServed;
        return false;
    }

  private:
    static void fenceCompiler() { std::atomic_signal_fence(std::memory_order_seq_cst); }

    static constinit inline thread_local bool s_bFailing = false;
    static constinit inline thread_local std::size_t s_uiNumServed = 0;
};
#endif

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER

inline const bool MallocWatch::s_bInstalled =
    __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t in_uiSize) { MallocWatch::recordMalloc(in_uiSize); },
        [](const volatile void* in_pMemory)
        { MallocWatch::recordFree(const_cast<const void*>(in_pMemory)); }) != 0;

} // namespace Velmora::Test

#else

inline const bool MallocWatch::s_bInstalled = true;

} // namespace Velmora::Test

extern "C"
{
    void* __libc_malloc(std::size_t in_uiSize);
    void __libc_free(void* in_pMemory);

    [[gnu::visibility("default")]] void* malloc(std::size_t in_uiSize) noexcept
    {
        Velmora::Test::MallocWatch::recordMalloc(in_uiSize);
        return Velmora::Test::MallocFailure::isNext() ? nullptr : __libc_malloc(in_uiSize);
    }

    [[gnu::visibility("default")]] void free(void* in_pMemory) noexcept
    {
        Velmora::Test::MallocWatch::recordFree(in_pMemory);
        __libc_free(in_pMemory);
    }
}

#endif
