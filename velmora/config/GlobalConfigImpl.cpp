#include "velmora/config/GlobalConfigImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/RegisteredParameters.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/InputFile.h"
#include "velmora/system/QuietStream.h"
#include "velmora/system/Regexx.h"
#include "velmora/system/SourceText.h"

#include <boost/program_options.hpp>

#include <strings.h>

#include <cstring>
#include <list>
#include <locale>
#include <new>
#include <sstream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(GlobalConfig)

namespace Velmora
{

namespace
{

/// A guard that cannot take the lock, for example on the thread that holds it for writing,
/// continues without it.
using ReadLock = GatedGuard<ACE_RW_Thread_Mutex, ReadLocking>;
using TryReadLock = GatedGuard<ACE_RW_Thread_Mutex, TryReadLocking>;

constexpr const char* s_szCallLogSection = "log4cplus.appender.CALL_LOG_APPENDER";
constexpr const char* s_szCallLogDirectory = "log4cplus.appender.CALL_LOG_APPENDER.Directory";

constexpr const char* s_szLoadFails = "failed to load the Global Config";
constexpr const char* s_szReadFails = "failed to read a Global Configuration parameter";
constexpr const char* s_szSetFails = "failed to set a Global Configuration parameter";
constexpr const char* s_szLoggerFails = "failed to configure the Logger";

/// Logs the exception that is being handled and returns false, for operations that must not throw.
bool failed(const char* in_szWhat)
{
    logCaughtException(::liveFileScopeLogger(), in_szWhat);
    return false;
}

/// Logs the lines that no source has completed, and sets `out_bOK` to false if there are any.
void isUnresolvedVectorEmpty(const std::vector<std::string>& in_unresolved, bool& out_bOK)
{
    if (in_unresolved.empty())
        return;
    std::string strLines;
    for (const std::string& strLine : in_unresolved)
        strLines += " [" + strLine + "]";
    VELMORA_FILE_LOG_ERROR("Unable to complete the configuration. Unknown parameters:" << strLines);
    out_bOK = false;
}

/// Ends the registration of parameters: the table must not change any more once a configuration has
/// been checked against it.
void endRegistration()
{
    if (RegisteredParameters* const pRegistered = RegisteredParameters::ifAlive())
        pRegistered->close();
}

/// Logs the system's error, if there is one.
void logReason(const char* in_szWhat, const std::string& in_strPath, const InputFile& in_file)
{
    if (in_file.error() != 0)
        VELMORA_FILE_LOG_ERROR("cannot " << in_szWhat << ' ' << in_strPath << ": "
                                         << std::strerror(in_file.error()));
}

} // namespace

/// Holds the lock for writing and records the thread that holds it. The value for assertions is
/// published before the lock is released, so that it is never older than the values that other
/// threads can read.
class GlobalConfigImpl::WriteLock
{
  public:
    explicit WriteLock(GlobalConfigImpl& inout_config)
        : m_guard(inout_config.m_mutex), m_config(inout_config)
    {
        if (m_guard.isLocked())
            m_config.m_writer.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }

    ~WriteLock()
    {
        m_config.publishAbortOnAssert();
        if (m_guard.isLocked())
            m_config.m_writer.store(std::thread::id(), std::memory_order_relaxed);
    }

    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

  private:
    GatedGuard<ACE_RW_Thread_Mutex, WriteLocking> m_guard;
    GlobalConfigImpl& m_config;
};

/// A URL of a configuration, split into its parts, with the content of the file or the answer of
/// the database. Both are read before the lock is taken.
class GlobalConfigImpl::Source
{
  public:
    explicit Source(const std::string& in_strUrl) : strUrl(in_strUrl), strPath(in_strUrl)
    {
        // The scheme and the path are the groups; the host is ignored.
        Regexx rxx("^(\\w+)://[\\w\\.-]*/(.+)");
        // A text that is not a URL is a path.
        if (rxx.exec(in_strUrl) == 0)
        {
            file.emplace(strPath);
            return;
        }
        VELMORA_FILE_ASSERT(rxx.match[0].atom.size() == 2);
        strScheme = rxx.match[0].atom[0];
        strPath = rxx.match[0].atom[1];
        if (isDatabase())
            fetch();
        else
            file.emplace(strPath);
    }

    [[nodiscard]] bool isDatabase() const
    {
        return !strScheme.empty() && strcasecmp(strScheme.c_str(), "file") != 0;
    }

    const std::string strUrl;
    /// Empty for a plain path.
    std::string strScheme;
    std::string strPath;
    std::optional<GlobalConfigSeam::DatabaseSource::Parameters> parameters;
    /// The content of the file, for any source that is not a database.
    std::optional<InputFile> file;

  private:
    void fetch()
    {
        // Without a source or an answer, `parameters` stays empty, and loadDBURLNoMutex fails
        // later.
        GlobalConfigSeam::DatabaseSource* const pSource = GlobalConfigSeam::getDatabaseSource();
        if (pSource != nullptr)
            parameters = pSource->fetch(strUrl);
        if (!parameters)
            VELMORA_FILE_LOG_ERROR("failed to initialize global config from "
                                   << strUrl
                                   << (pSource == nullptr ? " : no database source" : ""));
    }
};

GlobalConfigImpl::GlobalConfigImpl() = default;

GlobalConfigImpl::~GlobalConfigImpl() = default;

void GlobalConfigImpl::getParameter(const char* in_szParamName, ParameterValue& out_value) const
try
{
    const ReadLock lock(m_mutex);
    m_trie.ParameterTrie::getParameter(in_szParamName, out_value);
}
catch (...)
{
    out_value = ParameterValue();
    failed(s_szReadFails);
}

bool GlobalConfigImpl::tryGetBoolParameter(const char* in_szParamName, bool& out_bValue) const
{
    // The writing thread may read: it holds the lock. Only this thread can have stored its own id,
    // so the order of the load does not matter.
    if (m_writer.load(std::memory_order_relaxed) == std::this_thread::get_id())
        return m_trie.getBoolParameter(in_szParamName, out_bValue);
    const TryReadLock lock(m_mutex);
    return lock.isLocked() && m_trie.getBoolParameter(in_szParamName, out_bValue);
}

void GlobalConfigImpl::publishToAssertions() { m_bPublishes = true; }

void GlobalConfigImpl::publishAbortOnAssert() const noexcept
try
{
    if (!m_bPublishes)
        return;
    bool bAbort = false;
    m_trie.getBoolParameter(s_szINFRA_ABORTONASSERT_PARAM, bAbort);
    AssertionSeam::publishAbortOnAssert(bAbort);
}
catch (const std::bad_alloc&)
{
    // Without memory the value that was published before stays in effect.
}

bool GlobalConfigImpl::setParameter(const char* in_szParamName, const ParameterValue& in_value)
try
{
    // The table needs no lock, so the lock of the configuration is taken after these checks.
    ParameterInfo info;
    if (!ParameterInfoDB::getInstance().retrieve(in_szParamName, info))
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following parameter is not in the database : "
                               << in_szParamName);
        return false;
    }
    if (info.m_type != in_value.getType())
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following parameter has the wrong type : "
                               << in_szParamName);
        return false;
    }
    ParameterBounds bounds;
    if (ParameterInfoDB::retrieveBounds(in_szParamName, bounds) && !bounds.contain(in_value))
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following value is out of bounds : "
                               << in_szParamName << " = " << in_value << ", should be " << bounds);
        return false;
    }
    const WriteLock lock(*this);
    // Only logged. The run-time flag below is what refuses a change.
    if (m_bWriteProtected)
        VELMORA_FILE_LOG_ERROR(
            "failed to set a Global Configuration parameter because it is write protected : "
            << in_szParamName);
    if (m_bRunTime && !info.m_bRunTimeSettable)
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following parameter can not be set at run-time : "
                               << in_szParamName);
        return false;
    }
    return m_trie.setParameter(in_szParamName, in_value);
}
catch (...)
{
    return failed(s_szSetFails);
}

bool GlobalConfigImpl::load(std::istream& inout_stream)
try
{
    endRegistration();
    const QuietStream quiet(inout_stream);
    // Read before the lock is taken, because the caller's stream runs foreign code.
    SourceText whole;
    if (inout_stream.good())
        whole.read(*inout_stream.rdbuf());
    std::istream text(&whole);
    // A stream that had failed before is not read and makes the load fail.
    text.setstate(inout_stream.rdstate());
    const WriteLock lock(*this);
    std::vector<std::string> unresolved;
    bool bOK = loadNoMutex(text, unresolved);
    isUnresolvedVectorEmpty(unresolved, bOK);
    inout_stream.setstate(text.rdstate());
    return bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::load(const char* in_szPath)
try
{
    endRegistration();
    InputFile file(in_szPath);
    const WriteLock lock(*this);
    std::vector<std::string> unresolved;
    bool bOK = loadFileNoMutex(in_szPath, file, unresolved);
    isUnresolvedVectorEmpty(unresolved, bOK);
    return bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::load(const std::vector<std::string>& in_urls)
try
{
    VELMORA_FILE_TRACE_SCOPE(GlobalConfigImpl::load);
    if (in_urls.empty())
    {
        VELMORA_FILE_LOG_ERROR("failed to load configuration to initialize Global Config because "
                               "config URLs vector is empty");
        return false;
    }
    endRegistration();
    std::list<Source> sources;
    for (const std::string& strUrl : in_urls)
        sources.emplace_back(strUrl);
    const WriteLock lock(*this);
    std::vector<std::string> unresolved;
    bool bOK = true;
    for (Source& source : sources)
        // A source that fails does not keep the later ones from being loaded.
        bOK = loadUrlNoMutex(source, unresolved) && bOK;
    isUnresolvedVectorEmpty(unresolved, bOK);
    return bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::loadUrlNoMutex(Source& inout_source,
                                      std::vector<std::string>& inout_unresolved)
{
    VELMORA_FILE_LOG_DEBUG("GlobalConfigImpl::load : Config URL: " << inout_source.strUrl);
    if (!inout_source.strScheme.empty())
        VELMORA_FILE_LOG_DEBUG("Config URL prefix: " << inout_source.strScheme);
    return inout_source.isDatabase()
               ? loadDBURLNoMutex(inout_source, inout_unresolved)
               : loadFileNoMutex(inout_source.strPath, *inout_source.file, inout_unresolved);
}

bool GlobalConfigImpl::loadFileNoMutex(const std::string& in_strPath, InputFile& inout_file,
                                       std::vector<std::string>& inout_unresolved)
{
    VELMORA_FILE_LOG_DEBUG("Loading Global Config from " << in_strPath);
    if (!inout_file)
    {
        VELMORA_FILE_LOG_ERROR("failed to initialize Global Config : unable to open "
                               << in_strPath << " for reading");
        logReason("open", in_strPath, inout_file);
        return false;
    }
    if (loadNoMutex(inout_file, inout_unresolved))
        return true;
    VELMORA_FILE_LOG_ERROR("failed to initialize global config from " << in_strPath);
    logReason("read", in_strPath, inout_file);
    return false;
}

bool GlobalConfigImpl::loadDBURLNoMutex(const Source& in_source,
                                        std::vector<std::string>& inout_unresolved)
{
    if (!in_source.parameters)
        return false;
    std::string strText;
    // Parsed like a file, so that values get their types and tags are replaced.
    for (const auto& [strName, strValue] : *in_source.parameters)
    {
        VELMORA_FILE_LOG_DEBUG("Obtained param \"" << strName << "\" value: \"" << strValue
                                                   << "\" from database");
        strText.append(strName).append(1, '=').append(strValue).append(1, '\n');
    }
    std::istringstream text(strText);
    text.imbue(std::locale::classic());
    if (loadNoMutex(text, inout_unresolved))
        return true;
    VELMORA_FILE_LOG_ERROR("failed to initialize global config from " << in_source.strUrl);
    return false;
}

bool GlobalConfigImpl::loadNoMutex(std::istream& inout_stream,
                                   std::vector<std::string>& inout_unresolved)
{
    if (m_bWriteProtected)
    {
        VELMORA_FILE_LOG_ERROR("Global config is write protected. Not loading");
        return false;
    }
    VELMORA_FILE_LOG_DEBUG("Loading Global Config from istream");
    const QuietStream quiet(inout_stream);
    if (!inout_stream.fail())
        m_trie.read(inout_stream, &ParameterInfoDB::getInstance(), '\n', true, &inout_unresolved,
                    nullptr, &m_summary);
    if (!inout_stream.fail())
        return true;
    VELMORA_FILE_LOG_ERROR("failed to initialize global config from istream");
    return false;
}

void GlobalConfig::getConfigOptionsFromCmdline(int in_argc, char** in_argv,
                                               std::vector<std::string>& out_values,
                                               const char* in_szOptionName)
{
    namespace po = boost::program_options;
    try
    {
        constexpr unsigned int uiLineWidth = 80;
        po::options_description description("Allowed options", uiLineWidth);
        description.add_options()(in_szOptionName, po::value<std::vector<std::string>>(&out_values),
                                  "");
        po::variables_map variables;
        po::store(po::parse_command_line(in_argc, in_argv, description), variables);
        // Only this writes the output: a command line that cannot be parsed leaves it unchanged.
        po::notify(variables);
    }
    catch (const std::exception& error)
    {
        withoutThrowing(::liveFileScopeLogger(), "failed to read the command line",
                        [&error] { VELMORA_FILE_LOG_DEBUG(error.what()); });
    }
}

bool GlobalConfigImpl::initialize(int in_argc, char** in_argv, const char* in_szOptionName)
try
{
    std::vector<std::string> urls;
    getConfigOptionsFromCmdline(in_argc, in_argv, urls, in_szOptionName);
    if (urls.empty())
    {
        VELMORA_FILE_LOG_ERROR(
            "Failed to initialize the Global Config from command line because option "
            << in_szOptionName << " was not set.");
        return false;
    }
    return load(urls);
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::addDefaults(bool in_bIncludeDeprecated)
try
{
    endRegistration();
    const WriteLock lock(*this);
    if (m_bWriteProtected)
    {
        VELMORA_FILE_LOG_ERROR("can not set defaults in global config, it is write protected");
        return false;
    }
    ParameterInfoDB::getInstance().addDefaultsToConfig(m_trie, in_bIncludeDeprecated);
    return true;
}
catch (...)
{
    return failed("failed to set defaults in the Global Config");
}

void GlobalConfigImpl::writeProtect()
{
    const WriteLock lock(*this);
    m_bWriteProtected = true;
}

void GlobalConfigImpl::declareRunTime()
{
    const WriteLock lock(*this);
    m_bRunTime = true;
}

// Both operations only take the lock and release it: observers are not supported.
void GlobalConfigImpl::addObserver(const char*, LimitedObjPtr<ConfigurationObserver>)
{
    const WriteLock lock(*this);
}

void GlobalConfigImpl::removeObserver(LimitedObjPtr<ConfigurationObserver>)
{
    const WriteLock lock(*this);
}

std::ostream& GlobalConfigImpl::write(std::ostream& out_stream) const
try
{
    const QuietStream quiet(out_stream);
    return m_trie.write(out_stream);
}
catch (...)
{
    const QuietStream quiet(out_stream);
    out_stream.setstate(std::ios_base::badbit);
    failed("failed to write the Global Config");
    return out_stream;
}

LoadSummary GlobalConfigImpl::getLoadSummary() const
try
{
    const ReadLock lock(m_mutex);
    LoadSummary summary = m_summary;
    for (ParameterTrie::const_iterator iter = m_trie.begin(); iter.node() != nullptr; ++iter)
        summary.m_uiParameters += iter.data().defined() ? 1 : 0;
    return summary;
}
catch (...)
{
    failed("failed to count the parameters of the Global Config");
    return {};
}

bool GlobalConfigImpl::warnOnUnknownParameterNames() const
try
{
    const ParameterInfoDB& db = ParameterInfoDB::getInstance();
    bool bAllKnown = true;
    std::string strName;
    std::string strClosestName;
    for (ParameterTrie::const_iterator iter = m_trie.begin(); iter.node() != nullptr; ++iter)
    {
        const std::vector<std::string>& key = iter.key();
        if (!iter.data().defined() || (!key.empty() && key.front() == "log4cplus"))
            continue;
        vectorToDottedString(key, strName);
        if (db.validateParamName(strName.c_str(), strClosestName))
            continue;
        VELMORA_FILE_LOG_WARN(
            "Unknown parameter : " << strName << ". Closest known parameter : " << strClosestName);
        bAllKnown = false;
    }
    return bAllKnown;
}
catch (...)
{
    return failed("failed to look for unknown parameters of the Global Config");
}

void GlobalConfigImpl::convertTo(ParameterTrie& out_trie, const char* in_szPrefix) const
try
{
    const ReadLock lock(m_mutex);
    std::vector<std::string> scratch;
    if (const ParameterTrie::StringTrie* const pNode = m_trie.fastFind(in_szPrefix, scratch))
        out_trie = ParameterTrie(*pNode);
    else
        out_trie = ParameterTrie();
}
catch (...)
{
    // An empty output is better than an incomplete one.
    out_trie.clear();
    out_trie.data() = ParameterValue();
    failed("failed to copy the Global Config");
}

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
        if (const auto found = m_trie.find(szSection); found != m_trie.end())
            *sections.insert(szSection, ParameterValue()).first = *found;
    return sections;
}

bool GlobalConfigImpl::configureLoggerFromPropsFile(const std::string& in_strPath,
                                                    std::ostream& out_errors) const
{
    InputFile file(in_strPath);
    if (!file)
    {
        logReason("open", in_strPath, file);
        out_errors << "failed to configure logger from file " << in_strPath
                   << ". Unable to open for reading";
        return false;
    }
    ParameterTrie properties;
    std::vector<std::string> unresolved;
    {
        const ReadLock lock(m_mutex);
        // The file is in memory already. Its tags may name parameters of this configuration.
        properties.read(file, nullptr, '\n', true, &unresolved, &m_trie);
    }
    if (file.fail())
    {
        VELMORA_FILE_LOG_ERROR("failed to configure logger from file " << in_strPath);
        logReason("read", in_strPath, file);
        return false;
    }
    bool bResolved = true;
    isUnresolvedVectorEmpty(unresolved, bResolved);
    if (!bResolved || !configureLogger(properties, out_errors))
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
