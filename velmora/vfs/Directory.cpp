// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/Directory.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/Regexx.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Directory)

namespace Velmora
{

namespace
{

enum class Outcome
{
    IS_THERE,
    CANNOT_BE,
    COULD_BE_UNDER_A_PARENT
};

/// Sets `errno` and returns false, since logging and regular expressions may have changed `errno`.
bool failWith(int in_iError)
{
    errno = in_iError;
    return false;
}

/// Returns whether a directory exists at a path where `mkdir` failed.
bool isDirectoryInTheWay(const char* in_szPath, int in_iError)
{
    struct stat status = {};
    if (stat(in_szPath, &status) == 0)
        return S_ISDIR(status.st_mode) || failWith(in_iError);
    // After EPERM or EACCES, the reason of `mkdir` is reported. After EEXIST, the reason of `stat`
    // says more: something exists but cannot be examined.
    const int iError = in_iError == EEXIST ? errno : in_iError;
    VELMORA_FILE_LOG_ERROR(in_szPath << " " << std::strerror(iError));
    return failWith(iError);
}

Outcome makeOne(const char* in_szPath, unsigned int in_uiMode)
{
    // Most of these directories exist. Calling `stat` first makes that case a single system call.
    struct stat status = {};
    if (stat(in_szPath, &status) == 0 && S_ISDIR(status.st_mode))
        return Outcome::IS_THERE;
    if (mkdir(in_szPath, in_uiMode) == 0)
        return Outcome::IS_THERE;
    const int iError = errno;
    if (iError == EPERM || iError == EACCES || iError == EEXIST)
        return isDirectoryInTheWay(in_szPath, iError) ? Outcome::IS_THERE : Outcome::CANNOT_BE;
    // A path of PATH_MAX or more fails whatever parents exist, and it could have very many of them.
    if (iError == ENAMETOOLONG && std::strlen(in_szPath) >= PATH_MAX)
        return Outcome::CANNOT_BE;
    return Outcome::COULD_BE_UNDER_A_PARENT;
}

bool makeUnderParent(const char* in_szPath, unsigned int in_uiMode)
{
    if (mkdir(in_szPath, in_uiMode) == 0)
        return true;
    // Another thread or process may have made it since the first try.
    return errno == EEXIST && isDirectoryInTheWay(in_szPath, EEXIST);
}

bool makeParent(const std::string& in_strPath, unsigned int in_uiMode, int in_iError)
{
    // The last name of the path, with the slashes before it and one slash after it, is cut off.
    const std::string strParent = Regexx("/+[^/]+/?$").replace(in_strPath, "");
    const bool bIsRoot = strParent.empty() && !in_strPath.empty();
    if (bIsRoot)
        return true;
    if (strParent == in_strPath)
        return failWith(in_iError);
    return Directory::make(strParent.c_str(), in_uiMode, true);
}

} // namespace

bool Directory::make(const char* in_szPath, unsigned int in_uiMode, bool in_bRecursive)
{
    const Outcome outcome = makeOne(in_szPath, in_uiMode);
    if (outcome != Outcome::COULD_BE_UNDER_A_PARENT || !in_bRecursive)
        return outcome == Outcome::IS_THERE;
    return makeParent(in_szPath, in_uiMode, errno) && makeUnderParent(in_szPath, in_uiMode);
}

bool Directory::makeFromFullFilePath(const std::string& in_strFilePath, unsigned int in_uiMode)
{
    const std::size_t uiSeparator = in_strFilePath.find_last_of("/\\");
    const bool bIsInRoot = uiSeparator == 0 && in_strFilePath.front() == '/';
    if (uiSeparator == std::string::npos || bIsInRoot)
        return true;
    return make(in_strFilePath.substr(0, uiSeparator).c_str(), in_uiMode, true);
}

} // namespace Velmora
