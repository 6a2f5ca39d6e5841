// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Sanitizers.h"

#include <dirent.h>
#include <unistd.h>

#include <cstddef>

/// Returns the number of threads of this process that the system reports at this moment.
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

/// ThreadSanitizer adds a thread to each program.
#if VELMORA_THREAD_SANITIZER
inline constexpr std::size_t s_uiTasksOfSanitizer = 1;
#else
inline constexpr std::size_t s_uiTasksOfSanitizer = 0;
#endif

/// Returns the number of threads of this process. The system may still list a joined thread for a
/// while on a busy machine. So a number above one is returned only if it persists for five seconds.
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
