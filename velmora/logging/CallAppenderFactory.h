// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/AdaptiveMutex.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/CallFileName.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>

#include <cstddef>
#include <optional>
#include <string>

namespace Velmora
{

class ParameterTrie;

/// The parameters of call files: whether there is a directory for each hour, the prefix and the
/// suffix of file names, and that one call in every n has a file.
inline constexpr const char* s_szINFRA_CALLLOGGER_DATETIMEDIRECTORY_PARAM =
    "keswardin.infra.CallLogger.dateTimeDirectory";
inline constexpr const char* s_szINFRA_CALLLOGGER_OUTPUTFILEPREFIX_PARAM =
    "keswardin.infra.CallLogger.outputFilePrefix";
inline constexpr const char* s_szINFRA_CALLLOGGER_OUTPUTFILESUFFIX_PARAM =
    "keswardin.infra.CallLogger.outputFileSuffix";
inline constexpr const char* s_szINFRA_CALLLOGGER_LOG1CALLOUTOF_PARAM =
    "keswardin.infra.CallLogger.log1CallOutOf";

/// The name of the appender that marks, in a logging configuration, the loggers whose lines go to
/// the call files.
inline constexpr const char* s_szCallLogAppender = "CALL_LOG_APPENDER";

/// Makes the appenders of calls. Their properties are in the section of an appender that is itself
/// only a marker:
///
///     log4cplus.rootLogger=DEBUG, FILE, CALL_LOG_APPENDER
///     log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender
///     log4cplus.appender.CALL_LOG_APPENDER.Directory=/var/log/gateway/calls
///     log4cplus.appender.CALL_LOG_APPENDER.layout=log4cplus::PatternLayout
///     log4cplus.appender.CALL_LOG_APPENDER.layout.ConversionPattern=%d{%H:%M:%S.%q} %-5p %c - %m%n
///
/// A call whose id comes again, in the same process or after a restart, replaces the file of the
/// earlier call. With the property "KeepEarlier" true, that file is renamed first. If it cannot be
/// renamed, an ERROR is logged, and the lines of the new call are appended to it.
///
/// All other properties of the section apply to each file, except "Append" and "AsyncAppend": a
/// file begins empty, and each line is written when it is logged. "ReopenDelay" is 0 unless the
/// section sets it, so that a failed write does not lose the lines that follow. For file names see
/// `CallFileName`.
///
/// The factory in use belongs to the `CallDataRegistry`. The library never configures the one that
/// `getInstance` returns.
///
/// Thread-safety: none; the owner serializes the calls, except where a function locks the owner's
/// mutex itself.
class VELMORA_API CallAppenderFactory : public ObjectWithLogger<CachedLLLogger>
{
  public:
    CallAppenderFactory();
    CallAppenderFactory(const CallAppenderFactory&) = delete;
    CallAppenderFactory& operator=(const CallAppenderFactory&) = delete;
    virtual ~CallAppenderFactory();

    static CallAppenderFactory* getInstance();

    /// Reads the section of the marker from a configuration. Reads the parameters above from the
    /// same configuration or, if they are not there, from the configuration of the process. Makes
    /// the directory.
    /// Failure: returns false and logs an ERROR. A factory that was configured before keeps its
    /// settings, except those that were read before the failure.
    bool configure(const ParameterTrie& in_trie);

    /// The values of the parameters above. A parameter that a configuration does not set comes from
    /// the configuration of the process; without that, it has its default.
    struct Parameters
    {
        bool bDateTimeDirectory = false;
        std::string strPrefix;
        std::string strSuffix;
        int iLog1CallOutOf = 1;
    };
    static Parameters readParameters(const ParameterTrie& in_trie);

    /// Configures the factory with parameters that were read before. Reading them takes the lock of
    /// the configuration of the process, so a caller whose own locks come after that one reads them
    /// before it takes its locks.
    bool configure(const ParameterTrie& in_trie, const Parameters& in_parameters);

    /// Returns an appender with a new, empty file for the first call of each group of n calls.
    /// Returns null for the other calls, and for all calls before `configure` has succeeded. Makes
    /// missing directories.
    /// Failure: returns null and logs an ERROR. If the file cannot be opened, log4cplus reports it,
    /// and the appender tries again as lines arrive.
    log4cplus::SharedAppenderPtr newAppender(const char* in_szCallId);

    /// Same, for threads that share the factory. Holds the mutex, under which all other operations
    /// are called, while it decides whether the call has a file and what its name is. Makes
    /// directories and opens the file without it.
    log4cplus::SharedAppenderPtr newAppender(const char* in_szCallId, AdaptiveMutex& inout_mutex);

  private:
    bool readDirectory(const ParameterTrie& in_trie);
    bool haveDirectory() const;
    bool readProperties(const ParameterTrie& in_trie);
    void setNames(const Parameters& in_parameters);
    void setSample(int in_iLog1CallOutOf);

    /// What the factory decides about the file of a call.
    struct FileOfCall
    {
        std::string strFile;
        /// The directories to be made, the outer one first. The inner one is empty if there is
        /// none.
        std::string strDirectory;
        std::string strInnerDirectory;
        /// Those of the factory, with the name of the file.
        log4cplus::helpers::Properties properties;
        /// Set if the file of an earlier call is kept.
        std::optional<CallFileName> keptNames{};
        std::string strCallId{};
    };
    /// Returns nothing for a call without a file.
    std::optional<FileOfCall> nextFile(const char* in_szCallId);
    bool isInSample();
    /// Fills in a file in place: log4cplus's properties can be copied but not moved.
    void nameFile(const char* in_szCallId, FileOfCall& out_file) const;
    log4cplus::SharedAppenderPtr open(const std::optional<FileOfCall>& in_file) const;
    bool makeDirectories(const FileOfCall& in_file) const;
    bool keepEarlier(const FileOfCall& in_file) const;
    bool makeDirectoryOfCall(const std::string& in_strPath) const;

    bool m_bConfigured = false;
    std::string m_strDirectory;
    bool m_bDateTimeDirectory = false;
    bool m_bKeepEarlier = false;
    std::string m_strPrefix;
    std::string m_strSuffix;
    log4cplus::helpers::Properties m_properties;
    /// How many calls have asked for an appender; picks one call in every `m_uiLog1CallOutOf`.
    std::size_t m_uiCallCounter = 0;
    std::size_t m_uiLog1CallOutOf = 1;
};

} // namespace Velmora
