#pragma once

#include "velmora/Sanitizers.h"

#include <dirent.h>
#include <unistd.h>

#include <cstddef>

/// The number of threads of this process, as the system counts them at this moment.
inline std::size_t countTasksOnce()
{
    std::size_t uiCount = 0;
    if (DIR* const pDirectory = opendir("/proc/self/task"))
    {
        while (const dirent* const pEntry = readdir(pDirectory))
            uiCount += pEntry->d_name[0] != '.' ? 1 : 0;
        closedir(pDirectory);
    }
    return uiCount;
}

/// ThreadSanitizer has a thread of its own in each program.
#if VELMORA_THREAD_SANITIZER
inline constexpr std::size_t s_uiTasksOfSanitizer = 1;
#else
inline constexpr std::size_t s_uiTasksOfSanitizer = 0;
#endif

/// The number of threads of this process. One that has been joined may still be counted for a while
/// on a busy machine, so a number above one is only believed when it lasts.
inline std::size_t countTasks()
{
    std::size_t uiCount = countTasksOnce() - s_uiTasksOfSanitizer;
    for (int iTry = 0; iTry < 500 && uiCount > 1; ++iTry)
    {
        usleep(10000);
        uiCount = countTasksOnce() - s_uiTasksOfSanitizer;
    }
    return uiCount;
}
