// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Included by each source that `mutate` rewrites: tests whether a mutant is switched on, and
// records the mutants that a process reaches. Uses nothing of the library and nothing that needs
// construction at load, because mutants may be reached before static constructors have run.

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VelmoraMutants
{

enum : int
{
    NOT_READ_YET = -3,
    RECORDING = -2,
    NONE = -1
};

/// The number in the environment variable `MUTANT`. Read when the first mutant is reached.
[[gnu::visibility("hidden")]] inline constinit std::atomic<int> s_iActive{NOT_READ_YET};

/// The contents of the file that the environment variable `MUTANTS_REACHED` names: one byte for
/// each mutant, shared with the processes that this process starts.
[[gnu::visibility("hidden")]] inline constinit std::atomic<char*> s_pReached{nullptr};

/// Handles the first mutant of a process, and the recording. Ends the process with code 125 if the
/// file for the record cannot be used.
[[gnu::cold, gnu::noinline, gnu::visibility("hidden")]] inline bool rareCase(int in_iMutant)
{
    if (s_iActive.load() == NOT_READ_YET)
    {
        const char* const szMutant = std::getenv("MUTANT");
        const char* const szReached = std::getenv("MUTANTS_REACHED");
        int iActive = szMutant != nullptr ? std::atoi(szMutant) : NONE;
        if (szReached != nullptr)
        {
            struct stat status = {};
            const int iFile = open(szReached, O_RDWR | O_CLOEXEC);
            if (iFile < 0 || fstat(iFile, &status) != 0)
                _exit(125);
            void* const pReached = mmap(nullptr, static_cast<std::size_t>(status.st_size),
                                        PROT_READ | PROT_WRITE, MAP_SHARED, iFile, 0);
            close(iFile);
            s_pReached.store(static_cast<char*>(pReached));
            iActive = RECORDING;
        }
        s_iActive.store(iActive);
    }
    if (s_iActive.load() == RECORDING)
        s_pReached.load()[in_iMutant] = 1;
    return s_iActive.load() == in_iMutant;
}

} // namespace VelmoraMutants

/// Returns whether this mutant is switched on.
[[gnu::visibility("hidden")]] inline bool velmoraMutant(int in_iMutant)
{
    const int iActive = VelmoraMutants::s_iActive.load(std::memory_order_relaxed);
    if (iActive < VelmoraMutants::NONE) [[unlikely]]
        return VelmoraMutants::rareCase(in_iMutant);
    return iActive == in_iMutant;
}
