// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/GatedGuard.h"
#include "velmora/config/GlobalConfigErrors.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/LoadProblems.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/InputFile.h"
#include "velmora/system/QuietStream.h"

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

using GlobalConfigErrors::failed;
using GlobalConfigErrors::isUnresolvedVectorEmpty;
using GlobalConfigErrors::logReason;
using GlobalConfigErrors::reason;
using GlobalConfigErrors::unknownParameters;

namespace
{

using ReadLock = GatedGuard<ACE_RW_Thread_Mutex, ReadLocking>;

constexpr const char* s_szCallLogSection = "log4cplus.appender.CALL_LOG_APPENDER";
constexpr const char* s_szCallLogDirectory = "log4cplus.appender.CALL_LOG_APPENDER.Directory";

constexpr const char* s_szLoggerFails = "failed to configure the Logger";
constexpr const char* s_szFromFileFails = "failed to configure logger from file ";

} // namespace

bool GlobalConfigImpl::configureLogger(RunMode in_runMode) const
try
{
    std::ostringstream errors;
    if (configureLogger(errors, in_runMode))
        return true;
    VELMORA_FILE_LOG_ERROR("GlobalConfigImpl::configureLogger(" << getRunModeString(in_runMode)
                                                                << ") failed : " << errors.str());
    return false;
}
catch (...)
{
    return failed(s_szLoggerFails);
}

bool GlobalConfigImpl::configureLogger(std::ostream& out_errors, RunMode in_runMode) const
try
{
    const QuietStream quiet(out_errors);
    if (in_runMode == RunMode::undefined)
        VELMORA_FILE_LOG_INFO("Logger will be configured from the Global Configuration because the "
                              "run mode is undefined");
    else
    {
        const std::string strName =
            std::string("keswardin.infra.Logger.PropertiesFile.") + getRunModeString(in_runMode);
        std::string strPath;
        if (getStringParameter(strName.c_str(), strPath))
            return configureLoggerFromPropsFile(strPath, out_errors);
        VELMORA_FILE_LOG_INFO("Logger will be configured from the Global Configuration because the "
                              "following parameter is undefined : "
                              << strName);
    }
    // Logging is configured from a copy and without the lock, because it makes appenders, which may
    // take long and may read the configuration.
    if (!configureLogger(loggingSections(), out_errors))
        return false;
    VELMORA_FILE_LOG_INFO("Logger successfully configured from Global Configuration");
    return true;
}
catch (...)
{
    const QuietStream quiet(out_errors);
    out_errors << s_szLoggerFails;
    return failed(s_szLoggerFails);
}

ParameterTrie GlobalConfigImpl::loggingSections() const
{
    ParameterTrie sections;
    const ReadLock lock(m_mutex);
    // The second section holds the settings of the log files of calls.
    for (const char* const szSection : {"log4cplus", "keswardin.infra.CallLogger"})
        if (const ParameterTrie::StringTrie* const pNode = m_pIndex->find(szSection))
            *sections.insert(szSection, ParameterValue()).first = *pNode;
    return sections;
}

bool GlobalConfigImpl::configureLoggerFromPropsFile(const std::string& in_strPath,
                                                    std::ostream& out_errors) const
{
    InputFile file(in_strPath);
    if (!file)
    {
        logReason("open", in_strPath, file, *m_pProblems);
        out_errors << s_szFromFileFails << in_strPath << ". Unable to open for reading";
        return false;
    }
    ParameterTrie properties;
    ReadingContext context(m_pProblems.get());
    std::vector<std::string> lines;
    UnresolvedLines unresolved(lines);
    bool bResolved = true;
    {
        const ReadLock lock(m_mutex);
        // The file is in memory already. Its tags may name parameters of this configuration.
        properties.read(
            file, nullptr, &m_trie,
            {.pUnresolved = &unresolved, .pContext = &context, .sourceName = in_strPath});
        if (!file.fail())
            isUnresolvedVectorEmpty(
                unresolved, TagSubstitution(properties, &m_trie, nullptr, context), bResolved);
    }
    if (file.fail())
    {
        VELMORA_LOG_PROBLEM(m_pProblems.get(), ERROR_LOG_LEVEL, s_szFromFileFails << in_strPath);
        logReason("read", in_strPath, file, *m_pProblems);
        out_errors << s_szFromFileFails << in_strPath;
        if (file.error() != 0)
            out_errors << ": " << reason(in_strPath, file);
        return false;
    }
    if (!bResolved)
    {
        out_errors << s_szFromFileFails << in_strPath << ". " << unknownParameters(lines);
        return false;
    }
    if (!configureLogger(properties, out_errors))
        return false;
    VELMORA_FILE_LOG_INFO("Logger successfully configured from " << in_strPath);
    return true;
}

bool GlobalConfigImpl::configureLogger(const ParameterTrie& in_trie, std::ostream& out_errors) const
try
{
    const QuietStream quiet(out_errors);
    if (!Logger::configure(in_trie, out_errors))
        return false;
    m_pProblems->stopKeeping();
    GlobalConfigSeam::CallLogging* const pCallLogging = GlobalConfigSeam::getCallLogging();
    if (pCallLogging == nullptr || in_trie.find(s_szCallLogSection) == in_trie.end())
        return true;
    if (!in_trie.parameterDefined(s_szCallLogDirectory))
    {
        VELMORA_FILE_LOG_WARN(s_szCallLogSection
                              << " is configured without a directory, so no call gets a log file "
                                 "from this configuration. Set "
                              << s_szCallLogDirectory << " to the directory of these files");
        return true;
    }
    VELMORA_FILE_LOG_DEBUG("Configuring the Call Logging Facility");
    if (pCallLogging->configure(in_trie))
        return true;
    out_errors << "failed to configure the Call Logging facility";
    return false;
}
catch (...)
{
    const QuietStream quiet(out_errors);
    out_errors << s_szLoggerFails;
    return failed(s_szLoggerFails);
}

} // namespace Velmora
