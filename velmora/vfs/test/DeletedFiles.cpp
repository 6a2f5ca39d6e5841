// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/test/DeletedFiles.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <utility>

namespace
{

/// Is called just before a name is opened, deleted as a file or as a directory, or gets a mode,
/// unless empty.
std::function<void(const std::string& in_strCall, const std::string& in_strName)> s_before;

/// Makes calls that set a mode report success without setting it.
bool s_bModesStay = false;

void reportCall(const char* in_szCall, const char* in_szName)
{
    // Calls that `s_before` makes itself are not reported.
    static thread_local bool s_bInside = false;
    if (!s_before || s_bInside)
        return;
    s_bInside = true;
    s_before(in_szCall, in_szName);
    s_bInside = false;
}

} // namespace

// These replace the functions of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] int openat(int in_iDirectory, const char* in_szName,
                                                     int in_iFlags, ...)
{
    std::va_list args;
    va_start(args, in_iFlags);
    const mode_t mode = (in_iFlags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    reportCall("openat", in_szName);
    return static_cast<int>(syscall(SYS_openat, in_iDirectory, in_szName, in_iFlags, mode));
}

extern "C" [[gnu::visibility("default")]] int unlinkat(int in_iDirectory, const char* in_szName,
                                                       int in_iFlags) noexcept
{
    reportCall(in_iFlags == AT_REMOVEDIR ? "rmdir" : "unlink", in_szName);
    return static_cast<int>(syscall(SYS_unlinkat, in_iDirectory, in_szName, in_iFlags));
}

extern "C" [[gnu::visibility("default")]] int fchmodat(int in_iDirectory, const char* in_szName,
                                                       mode_t in_mode, int in_iFlags) noexcept
{
    static const auto s_pReal = reinterpret_cast<decltype(&fchmodat)>(dlsym(RTLD_NEXT, "fchmodat"));
    reportCall("chmod", in_szName);
    return s_bModesStay ? 0 : s_pReal(in_iDirectory, in_szName, in_mode, in_iFlags);
}

void Velmora::Test::beforeCalls(
    std::function<void(const std::string&, const std::string&)> in_before)
{
    s_before = std::move(in_before);
}

void Velmora::Test::setModesStay(bool in_bStay) { s_bModesStay = in_bStay; }
