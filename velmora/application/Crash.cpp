// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Crash.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Crash)

namespace Velmora
{

namespace
{

bool isTrue(const ROConfiguration& in_configuration, const char* in_szParamName)
{
    bool bValue = false;
    return in_configuration.getBoolParameter(in_szParamName, bValue) && bValue;
}

/// Returns 0, or the value of `errno`.
int removeCoreLimit()
{
    // The hard limit is raised as well, which needs a privilege unless it is infinite already.
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    return setrlimit(RLIMIT_CORE, &unlimited) == 0 ? 0 : errno;
}

void logCurrentDirectory()
{
    struct Free
    {
        void operator()(char* in_szText) const { std::free(in_szText); }
    };
    // Null if, for example, the directory has been removed.
    const std::unique_ptr<char, Free> szDirectory(get_current_dir_name());
    // A log line may change errno.
    const int iError = errno;
    VELMORA_FILE_LOG_INFO("Current directory for core dumps is: "
                          << (szDirectory == nullptr ? "" : szDirectory.get()));
    if (szDirectory == nullptr)
        VELMORA_FILE_LOG_INFO("cannot name the working directory: " << std::strerror(iError));
}

void moveToCoreDirectory(const std::string& in_strPath)
{
    if (chdir(in_strPath.c_str()) == 0)
    {
        VELMORA_FILE_LOG_INFO("CORE directory is " << in_strPath);
        return;
    }
    const int iError = errno;
    logCurrentDirectory();
    if (!in_strPath.empty())
        VELMORA_FILE_LOG_INFO("cannot change to directory " << in_strPath << ": "
                                                            << std::strerror(iError));
}

} // namespace

bool configureCrashHandling(const ROConfiguration& in_configuration)
{
    VELMORA_FILE_TRACE_SCOPE(Velmora::configureCrashHandling);
    if (isTrue(in_configuration, s_szINFRA_ABORTONASSERT_PARAM))
        VELMORA_FILE_LOG_WARN(s_szINFRA_ABORTONASSERT_PARAM
                              << "=true. The application will abort on a failed assertion. "
                                 "Is this what you want?");
    if (!isTrue(in_configuration, s_szINFRA_COREDUMP_WRITEONCRASH_PARAM))
        return true;
    std::string strPath;
    in_configuration.getStringParameter(s_szINFRA_COREDUMP_WRITEONCRASH_PATH_PARAM, strPath);
    if (const int iError = removeCoreLimit(); iError != 0)
    {
        VELMORA_FILE_LOG_WARN("Failed to configure crash handling : setrlimit failed Set "
                              << s_szINFRA_COREDUMP_WRITEONCRASH_PARAM
                              << " parameter to false to disable this warning.");
        VELMORA_FILE_LOG_WARN("cannot set the limit of core files to infinity: "
                              << std::strerror(iError) << "; raise the hard limit of the process");
        return true;
    }
    VELMORA_FILE_LOG_INFO("RLIMIT_CORE set to infinity");
    // An empty path, which is the default, leads to the line with the current directory.
    moveToCoreDirectory(strPath);
    return true;
}

bool configureDefaultCrashHandling()
{
    VELMORA_FILE_TRACE_SCOPE(Velmora::configureDefaultCrashHandling);
    ParameterHashMap configuration;
    ParameterInfoDB::getInstance().addDefaultsToConfig(configuration, true);
    return configureCrashHandling(configuration);
}

} // namespace Velmora
