#pragma once

#include "velmora/Export.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>

#include <cstddef>
#include <string>

namespace Velmora
{

class ParameterTrie;

/// The parameters of the files of calls: whether they stand in a directory for each hour, what is
/// in front of the id and behind it in their names, and that one call out of so many has a file.
inline constexpr const char* s_szINFRA_CALLLOGGER_DATETIMEDIRECTORY_PARAM =
    "keswardin.infra.CallLogger.dateTimeDirectory";
inline constexpr const char* s_szINFRA_CALLLOGGER_OUTPUTFILEPREFIX_PARAM =
    "keswardin.infra.CallLogger.outputFilePrefix";
inline constexpr const char* s_szINFRA_CALLLOGGER_OUTPUTFILESUFFIX_PARAM =
    "keswardin.infra.CallLogger.outputFileSuffix";
inline constexpr const char* s_szINFRA_CALLLOGGER_LOG1CALLOUTOF_PARAM =
    "keswardin.infra.CallLogger.log1CallOutOf";

/// The name of the appender that marks, in a configuration of logging, the loggers whose lines go
/// to the files of calls.
inline constexpr const char* s_szCallLogAppender = "CALL_LOG_APPENDER";

/// Makes the appenders of calls, from the section of an appender that is itself only a mark:
///
///     log4cplus.rootLogger=DEBUG, FILE, CALL_LOG_APPENDER
///     log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender
///     log4cplus.appender.CALL_LOG_APPENDER.Directory=/var/log/gateway/calls
///     log4cplus.appender.CALL_LOG_APPENDER.layout=log4cplus::PatternLayout
///     log4cplus.appender.CALL_LOG_APPENDER.layout.ConversionPattern=%d{%H:%M:%S.%q} %-5p %c - %m%n
///
/// All of the section becomes properties of each file, but for "Append" and "AsyncAppend": a file
/// begins empty, and its lines are written when they are logged. "ReopenDelay" is 0 unless the
/// section says otherwise, so that a line which cannot be written loses none that follow. For
/// file names see `CallFileName`.
///
/// The factory in use belongs to the `CallDataRegistry`. The one that `getInstance` gives is never
/// configured by the library.
///
/// Thread-safety: none but that of its owner.
class VELMORA_API CallAppenderFactory : public ObjectWithLogger<CachedLLLogger>
{
  public:
    CallAppenderFactory();
    CallAppenderFactory(const CallAppenderFactory&) = delete;
    CallAppenderFactory& operator=(const CallAppenderFactory&) = delete;
    virtual ~CallAppenderFactory();

    static CallAppenderFactory* getInstance();

    /// Reads the section of the mark from a configuration, and the parameters above from there or
    /// else from the configuration of the process. Makes the directory.
    /// Failure: false, and an error in the log. A factory that was configured before goes on with
    /// what it had, but for what had been read by then.
    bool configure(const ParameterTrie& in_trie);

    /// The parameters above. What a configuration leaves out comes from that of the process, and
    /// else has its default.
    struct Parameters
    {
        bool bDateTimeDirectory = false;
        std::string strPrefix;
        std::string strSuffix;
        int iLog1CallOutOf = 1;
    };
    static Parameters readParameters(const ParameterTrie& in_trie);

    /// The same with parameters that have been read before, which takes the lock of the
    /// configuration of the process: for an owner with locks that come after it.
    bool configure(const ParameterTrie& in_trie, const Parameters& in_parameters);

    /// An appender with a new, empty file for a call, the first of each group of so many. Makes the
    /// directories that are missing.
    /// Failure: null and an error in the log. A file that cannot be opened is reported by
    /// log4cplus; its appender tries again while lines come.
    log4cplus::SharedAppenderPtr newAppender(const char* in_szCallId);

  private:
    bool readDirectory(const ParameterTrie& in_trie);
    bool haveDirectory() const;
    bool readProperties(const ParameterTrie& in_trie);
    void setNames(const Parameters& in_parameters);
    void setSample(int in_iLog1CallOutOf);

    bool isInSample();
    bool nameFile(const char* in_szCallId, std::string& out_strFile) const;
    bool makeDirectoryOfCall(const std::string& in_strPath) const;

    bool m_bConfigured = false;
    std::string m_strDirectory;
    bool m_bDateTimeDirectory = false;
    std::string m_strPrefix;
    std::string m_strSuffix;
    log4cplus::helpers::Properties m_properties;
    std::size_t m_uiCallCounter = 0;
    std::size_t m_uiLog1CallOutOf = 1;
};

} // namespace Velmora
