#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <thread>

namespace Velmora::Test
{

inline constexpr const char* s_szNoOtherUser = "only root can become somebody else";
inline constexpr const char* s_szNoMount = "this process may not mount a file system";

/// The number of descriptors that are open in this process.
inline std::size_t countDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

/// Does work on a thread of its own that belongs to the user and the group "nobody". Gives false,
/// with the work not done, where that is not to be had.
inline bool doAsNobody(const std::function<void()>& in_work)
{
    constexpr unsigned int uiNobody = 65534;
    bool bIsNobody = false;
    std::thread(
        [&]
        {
            // The functions of the C library would change all threads.
            bIsNobody = geteuid() == 0 && syscall(SYS_setgroups, 0, nullptr) == 0 &&
                        syscall(SYS_setresgid, uiNobody, uiNobody, uiNobody) == 0 &&
                        syscall(SYS_setresuid, uiNobody, uiNobody, uiNobody) == 0;
            if (bIsNobody)
                in_work();
        })
        .join();
    return bIsNobody;
}

/// Does work on a thread of its own that sees a small new file system in memory on a directory; it
/// goes with the thread. `in_fill` puts into it what is there before it gets the given flags. Gives
/// false, with the work not done, where that is not to be had.
inline bool doWithFileSystem(const std::string& in_strPath, const char* in_szOptions,
                             unsigned long in_ulFlags, const std::function<void()>& in_fill,
                             const std::function<void()>& in_work)
{
    bool bIsMounted = false;
    std::thread(
        [&]
        {
            bIsMounted = unshare(CLONE_NEWNS) == 0 &&
                         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("tmpfs", in_strPath.c_str(), "tmpfs", 0, in_szOptions) == 0;
            if (!bIsMounted)
                return;
            in_fill();
            bIsMounted = in_ulFlags == 0 || mount(nullptr, in_strPath.c_str(), nullptr,
                                                  MS_REMOUNT | in_ulFlags, in_szOptions) == 0;
            if (bIsMounted)
                in_work();
        })
        .join();
    return bIsMounted;
}

} // namespace Velmora::Test
