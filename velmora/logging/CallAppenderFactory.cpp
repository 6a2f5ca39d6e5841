// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallAppenderFactory.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/application/Lifetime.h"
#include "velmora/application/Singleton.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/Parameter.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/EarlierCallFile.h"
#include "velmora/logging/FileAppenders.h"
#include "velmora/logging/FileCallAppender.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingCheck.h"
#include "velmora/vfs/DateTimeDirectory.h"
#include "velmora/vfs/Directory.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <ios>

namespace Velmora
{

namespace
{

constexpr const char* s_szSection = "log4cplus.appender.CALL_LOG_APPENDER";
constexpr const char* s_szDirectory = "log4cplus.appender.CALL_LOG_APPENDER.Directory";
constexpr unsigned int s_uiDirectoryMode = 0755;

[[maybe_unused]] const CallAppenderFactory* const __force_init_singleton__CallAppenderFactory =
    (bringUpLibrary(), CallAppenderFactory::getInstance());

/// Reads a parameter from the logging configuration or else from the configuration of the process,
/// since a properties file for logging usually leaves it out. If neither has it, the value keeps
/// its default.
template <class T>
void read(bool (ROConfiguration::*in_get)(const char*, T&) const, const ParameterTrie& in_trie,
          const char* in_szName, T& inout_value)
{
    T value{};
    const TSHandle<GlobalConfig>& hConfig = GlobalConfig::getInstance();
    if ((in_trie.*in_get)(in_szName, value) ||
        (!hConfig.isNull() && ((*hConfig).*in_get)(in_szName, value)))
        inout_value = value;
}

} // namespace

CallAppenderFactory::CallAppenderFactory() : ObjectWithLogger("keswardin.infra.CallAppender") {}

CallAppenderFactory::~CallAppenderFactory() = default;

CallAppenderFactory* CallAppenderFactory::getInstance()
{
    static CallAppenderFactory* const pSingleton =
        registerSingleton("CallAppenderFactory::Singleton", new CallAppenderFactory);
    return pSingleton;
}

CallAppenderFactory::Parameters CallAppenderFactory::readParameters(const ParameterTrie& in_trie)
{
    Parameters parameters;
    read(&ROConfiguration::getBoolParameter, in_trie, s_szINFRA_CALLLOGGER_DATETIMEDIRECTORY_PARAM,
         parameters.bDateTimeDirectory);
    read(&ROConfiguration::getStringParameter, in_trie, s_szINFRA_CALLLOGGER_OUTPUTFILEPREFIX_PARAM,
         parameters.strPrefix);
    read(&ROConfiguration::getStringParameter, in_trie, s_szINFRA_CALLLOGGER_OUTPUTFILESUFFIX_PARAM,
         parameters.strSuffix);
    read(&ROConfiguration::getIntParameter, in_trie, s_szINFRA_CALLLOGGER_LOG1CALLOUTOF_PARAM,
         parameters.iLog1CallOutOf);
    return parameters;
}

bool CallAppenderFactory::configure(const ParameterTrie& in_trie)
{
    return configure(in_trie, readParameters(in_trie));
}

bool CallAppenderFactory::configure(const ParameterTrie& in_trie, const Parameters& in_parameters)
{
    getLogger().cacheLogLevel();
    VELMORA_TRACE_SCOPE(CallAppenderFactory::configure);
    if (!readDirectory(in_trie) || !haveDirectory())
        return false;
    setNames(in_parameters);
    if (!readProperties(in_trie))
        return false;
    setSample(in_parameters.iLog1CallOutOf);
    m_bConfigured = true;
    return true;
}

bool CallAppenderFactory::readDirectory(const ParameterTrie& in_trie)
{
    if (!in_trie.getStringParameter(s_szDirectory, m_strDirectory))
    {
        Parameter::logUndefinedParameter(s_szDirectory, ParameterValue::STRING_TYPE);
        return false;
    }
    VELMORA_LOG_DEBUG("Call Logger configuration output directory is : " << s_szDirectory << '='
                                                                         << m_strDirectory);
    if (!m_strDirectory.empty())
        return true;
    VELMORA_LOG_ERROR("Call Logger configuration. " << s_szDirectory << " is empty");
    return false;
}

bool CallAppenderFactory::haveDirectory() const
{
    struct stat status = {};
    if (stat(m_strDirectory.c_str(), &status) != 0)
    {
        // Saved, since the logging below may change `errno`.
        const int iError = errno;
        VELMORA_LOG_DEBUG("Call Logger configuration. Failed to stat directory "
                          << m_strDirectory << " : " << std::strerror(iError));
        VELMORA_LOG_INFO("Call Logger configuration. Creating output directory " << m_strDirectory);
        if (!Directory::make(m_strDirectory.c_str(), s_uiDirectoryMode, true))
        {
            const int iMakeError = errno;
            VELMORA_LOG_ERROR("failed to create call logging output directory " << m_strDirectory);
            VELMORA_LOG_ERROR("cannot make directory " << m_strDirectory << ": "
                                                       << std::strerror(iMakeError));
            return false;
        }
        if (stat(m_strDirectory.c_str(), &status) != 0)
        {
            const int iErrorAfterwards = errno;
            VELMORA_LOG_ERROR("Call Logger configuration. Failed to stat directory "
                              << m_strDirectory << " : " << std::strerror(iErrorAfterwards));
            return false;
        }
    }
    // The owner's bit decides, not what this process may do: a directory that was made read-only
    // is refused to a program that runs as root too.
    if ((status.st_mode & S_IWUSR) != 0)
        return true;
    VELMORA_LOG_ERROR("Call Logger configuration. Don't have write permission on directory "
                      << m_strDirectory << ". stat.st_mode=0x" << std::hex << status.st_mode);
    return false;
}

void CallAppenderFactory::setNames(const Parameters& in_parameters)
{
    m_bDateTimeDirectory = in_parameters.bDateTimeDirectory;
    VELMORA_LOG_DEBUG("m_bDateTimeDirectory=" << m_bDateTimeDirectory);
    m_strPrefix = in_parameters.strPrefix;
    m_strSuffix = in_parameters.strSuffix;
}

bool CallAppenderFactory::readProperties(const ParameterTrie& in_trie)
{
    const ParameterTrie::const_iterator found = in_trie.find(s_szSection);
    if (found == in_trie.end())
    {
        VELMORA_LOG_ERROR("Call Logger configuration. " << s_szSection
                                                        << " is not present in the configuration");
        return false;
    }
    log4cplus::helpers::Properties configuration;
    in_trie.convertTo(configuration);
    // The layout of each file would report them again.
    LoggingCheck::removeReportedByOwner(LoggingCheck::problemsOf(configuration), configuration);
    m_properties = configuration.getPropertySubset(std::string(s_szSection) + '.');
    m_bKeepEarlier = false;
    m_properties.getBool(m_bKeepEarlier, "KeepEarlier");
    // "Append" would keep the lines of an earlier call in the file. "AsyncAppend" would queue a
    // clone of each event, and a clone has no identifiers.
    m_properties.removeProperty("Append");
    m_properties.removeProperty("AsyncAppend");
    FileAppenders::addDefaults(m_properties);
    return true;
}

void CallAppenderFactory::setSample(int in_iLog1CallOutOf)
{
    if (in_iLog1CallOutOf < 1)
        VELMORA_LOG_WARN(in_iLog1CallOutOf << " is an invalid value for parameter "
                                           << s_szINFRA_CALLLOGGER_LOG1CALLOUTOF_PARAM
                                           << ". Valid if >= 1. Will use 1");
    m_uiLog1CallOutOf = static_cast<std::size_t>(std::max(in_iLog1CallOutOf, 1));
}

log4cplus::SharedAppenderPtr CallAppenderFactory::newAppender(const char* in_szCallId)
{
    getLogger().cacheLogLevel();
    VELMORA_TRACE_SCOPE(CallAppenderFactory::newAppender);
    return open(nextFile(in_szCallId));
}

log4cplus::SharedAppenderPtr CallAppenderFactory::newAppender(const char* in_szCallId,
                                                              AdaptiveMutex& inout_mutex)
{
    getLogger().cacheLogLevel();
    VELMORA_TRACE_SCOPE(CallAppenderFactory::newAppender);
    const auto decide = [&]
    {
        const GatedGuard<AdaptiveMutex> guard(inout_mutex);
        return nextFile(in_szCallId);
    };
    return open(decide());
}

std::optional<CallAppenderFactory::FileOfCall>
CallAppenderFactory::nextFile(const char* in_szCallId)
{
    std::optional<FileOfCall> file;
    if (m_bConfigured && isInSample())
        nameFile(in_szCallId, file.emplace());
    return file;
}

bool CallAppenderFactory::isInSample() { return m_uiCallCounter++ % m_uiLog1CallOutOf == 0; }

void CallAppenderFactory::nameFile(const char* in_szCallId, FileOfCall& out_file) const
{
    out_file.strDirectory = m_strDirectory;
    if (m_bDateTimeDirectory)
    {
        std::string strSubdirectory;
        DateTimeDirectory::formName(strSubdirectory);
        out_file.strDirectory.append(1, '/').append(strSubdirectory);
    }
    out_file.strFile = out_file.strDirectory + '/';
    const CallFileName names(m_strPrefix, m_strSuffix);
    const CallFileName::Name name = names.partsOf(in_szCallId);
    if (m_bKeepEarlier)
    {
        out_file.keptNames = names;
        out_file.strCallId = in_szCallId;
    }
    if (!name.strDirectory.empty())
    {
        out_file.strInnerDirectory = out_file.strFile + name.strDirectory;
        out_file.strFile = out_file.strInnerDirectory + '/';
    }
    out_file.strFile.append(name.strFile);
    out_file.properties = m_properties;
    out_file.properties.setProperty("File", out_file.strFile);
}

log4cplus::SharedAppenderPtr
CallAppenderFactory::open(const std::optional<FileOfCall>& in_file) const
{
    if (!in_file)
        return log4cplus::SharedAppenderPtr();
    if (!makeDirectories(*in_file))
    {
        FileCallAppender::countFailure();
        return log4cplus::SharedAppenderPtr();
    }
    VELMORA_LOG_DEBUG("Filename for new call is : " << in_file->strFile
                                                    << " and log4cplus property for new call is : "
                                                    << in_file->properties.getProperty("File"));
    try
    {
        // A file that is to be kept is never emptied: it may still be there, because it could not
        // be renamed or because another process has made it by now.
        const bool bKeeps = keepEarlier(*in_file);
        return log4cplus::SharedAppenderPtr(new FileCallAppender(
            in_file->properties, bKeeps ? std::ios_base::app : std::ios_base::trunc));
    }
    catch (const std::exception& exception)
    {
        FileCallAppender::countFailure();
        VELMORA_LOG_ERROR("failed to create call logging appender for " << in_file->strFile << ". "
                                                                        << exception.what());
        return log4cplus::SharedAppenderPtr();
    }
}

/// Renames the file of an earlier call if it is to be kept. Returns whether it is.
bool CallAppenderFactory::keepEarlier(const FileOfCall& in_file) const
{
    if (!in_file.keptNames)
        return false;
    EarlierCallFile earlier(in_file.strDirectory, *in_file.keptNames, in_file.strCallId);
    if (!earlier.keep())
        VELMORA_LOG_ERROR("cannot rename "
                          << in_file.strFile
                          << ", which an earlier call has written : " << earlier.getProblem()
                          << "; the lines of this call are appended to it. Give its directory to "
                             "the user of this process, or move the file away");
    else if (!earlier.getPath().empty())
        VELMORA_LOG_DEBUG("The file of an earlier call is now : " << earlier.getPath());
    return true;
}

bool CallAppenderFactory::makeDirectories(const FileOfCall& in_file) const
{
    return makeDirectoryOfCall(in_file.strDirectory) &&
           (in_file.strInnerDirectory.empty() || makeDirectoryOfCall(in_file.strInnerDirectory));
}

bool CallAppenderFactory::makeDirectoryOfCall(const std::string& in_strPath) const
{
    if (Directory::make(in_strPath.c_str(), s_uiDirectoryMode, true))
        return true;
    const int iError = errno;
    VELMORA_LOG_ERROR("failed to create call logging directory " << in_strPath << ". "
                                                                 << std::strerror(iError));
    return false;
}

} // namespace Velmora
