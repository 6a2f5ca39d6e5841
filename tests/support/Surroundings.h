// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <thread>

namespace Velmora::Test
{

inline constexpr const char* s_szNoOtherUser = "only root can become another user";

/// Returns the number of descriptors that are open in this process.
inline std::size_t countDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

/// Calls a function on a thread of its own that has the user and the group "nobody". Returns false
/// without calling it if the process may not change the user.
inline bool doAsNobody(const std::function<void()>& in_work)
{
    constexpr unsigned int uiNobody = 65534;
    bool bIsNobody = false;
    std::thread(
        [&]
        {
            // The functions of the C library would change the user of all threads.
            bIsNobody = geteuid() == 0 && syscall(SYS_setgroups, 0, nullptr) == 0 &&
                        syscall(SYS_setresgid, uiNobody, uiNobody, uiNobody) == 0 &&
                        syscall(SYS_setresuid, uiNobody, uiNobody, uiNobody) == 0;
            if (bIsNobody)
                in_work();
        })
        .join();
    return bIsNobody;
}

} // namespace Velmora::Test
