#pragma once

#include <dirent.h>

#include <cstddef>

/// The number of threads of this process, as the system counts them.
inline std::size_t countTasks()
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
