// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/test/RenamedFiles.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>

namespace
{

std::time_t s_now = 0;

std::vector<std::string> s_newNames;
std::mutex s_mutexOfNewNames;

} // namespace

// These replace the functions of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] std::time_t time(std::time_t* out_pNow) noexcept
{
    if (out_pNow != nullptr)
        *out_pNow = s_now;
    return s_now;
}

extern "C" [[gnu::visibility("default")]] int rename(const char* in_szOld,
                                                     const char* in_szNew) noexcept
{
    {
        const std::scoped_lock lock(s_mutexOfNewNames);
        s_newNames.emplace_back(in_szNew);
    }
    return static_cast<int>(syscall(SYS_rename, in_szOld, in_szNew));
}

void Velmora::Test::setTime(std::time_t in_now) { s_now = in_now; }

std::vector<std::string> Velmora::Test::newNames()
{
    const std::scoped_lock lock(s_mutexOfNewNames);
    return s_newNames;
}

void Velmora::Test::forgetNewNames()
{
    const std::scoped_lock lock(s_mutexOfNewNames);
    s_newNames.clear();
}
