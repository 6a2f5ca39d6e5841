// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/LogLevel.h"
#include "velmora/logging/Resettable.h"

#include <ace/Thread_Mutex.h>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggerimpl.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Velmora
{

class ParameterTrie;

/// A named destination of log lines, based on log4cplus. A `Logger` is a handle: two with the same
/// name use the same entry of the log4cplus hierarchy, in which the dots of a name define the
/// parents. Code logs through the macros of "velmora/logging/LogMacros.h".
///
/// Logging works from the static constructors of a program on. Lines go to the console until
/// logging is configured.
///
/// Thread-safety: all operations may be called from any thread, except that an object must not be
/// assigned or destroyed while other threads use it. A changed level reaches other threads soon,
/// but not at once.
class VELMORA_API Logger : public log4cplus::Logger, public virtual Resettable
{
  public:
    /// Makes a handle on the logger "keswardin", the root of what the library logs.
    Logger();
    explicit Logger(const std::string& in_strName);
    Logger(const Logger&);
    Logger& operator=(const Logger&);
    ~Logger() override;

    /// Logs a line if its level is enabled. A null file and a negative line mean that the place is
    /// not known.
    virtual void log(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                     int in_iLine) const;

    /// Logs a line regardless of its level.
    virtual void forcedLog(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                           int in_iLine) const;

    /// Passes an event to the appenders of this logger and, following additivity, of its parents.
    virtual void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const;

    /// Returns the number of appenders of this logger and, following additivity, of its parents.
    /// While another thread adds or removes appenders, the number may match neither state, but it
    /// is never 0 in the middle of a change that is made under the hierarchy's lock.
    [[nodiscard]] virtual std::size_t getChainedNumAppender() const;

    /// Logs at TRACE regardless of the level, without file and line.
    virtual void forcedTrace(const char* in_szText) const;

    /// Does nothing and returns true; derived classes override it.
    bool reset() override;

    /// Returns whether a line of this level is enabled. If neither the logger nor any parent up to
    /// the root has a level, no line is.
    [[nodiscard]] bool isEnabledFor(LogLevel in_logLevel) const;

    /// Returns this logger's own level, or `NOT_SET_LOG_LEVEL` if it has none.
    [[nodiscard]] LogLevel getLogLevel() const
    {
        return static_cast<LogLevel>(value->getLogLevel());
    }

    /// Returns the effective level: the logger's own or that of the nearest parent with one;
    /// `NOT_SET_LOG_LEVEL` if not even the root has one.
    [[nodiscard]] LogLevel getChainedLogLevel() const;

    /// Sets this logger's own level. Also starts or stops ACE's function trace, by the effective
    /// level of "keswardin.ace".
    void setLogLevel(LogLevel in_logLevel);

    /// Returns the appender of that name on this logger or, following additivity, on its parents;
    /// null if there is none.
    [[nodiscard]] log4cplus::SharedAppenderPtr getChainedAppender(const std::string& in_strName);

    /// Returns the mutex that serializes all changes of the logging configuration. Appenders are
    /// exchanged, and the former ones closed, while it is held.
    static ACE_Thread_Mutex& sGetConfigMutex();

    /// Returns whether the root logger has a level and an appender. Takes no lock of this class.
    static bool configurationOK();

    /// Puts the initial configuration of a process into effect: everything from DEBUG on goes to
    /// the console. Threads that log concurrently lose no line.
    ///
    /// Failure: returns false and logs an ERROR, and the current configuration stays in effect, if
    /// it is called from inside a log line, an observer or another operation of the library that
    /// runs foreign code, while an appender is made for another configuration, or if other threads
    /// do not leave such operations within 5 s. Returns false without a line if memory runs out.
    static bool configureDefault();

    /// Puts the section "log4cplus" of a configuration, which has log4cplus's own form, into effect
    /// in place of the current configuration. Threads that log concurrently lose no line, and wait
    /// only while the appenders are exchanged. Appenders are made before that, in the calling
    /// thread, except those that share a file with a current one (see `PreparedLogging`). An
    /// appender with `AsyncAppend` is made synchronous, with a WARN.
    ///
    /// Failure: returns false and writes a text for the operator to `out_errors`. The current
    /// configuration stays in effect if there is no such section, if memory runs out, and in the
    /// cases in which `configureDefault` fails. A section that leaves the root logger without a
    /// level or an appender puts the default configuration into effect. log4cplus reports errors of
    /// single appenders on standard error.
    static bool configure(const ParameterTrie& in_trie, std::ostream& out_errors);
    static bool configure(const ParameterTrie& in_trie);

    /// Starts ACE's function trace if TRACE is enabled for the logger "keswardin.ace", and stops it
    /// otherwise.
    static void configureACE_Trace();

    /// Lets each `FileAppender` of the process open its path again, after a program that rotates
    /// logs has renamed the files. What is buffered goes to the old file; lines go to the new one
    /// as soon as it is open, and none is lost. The files of calls stay open. May be called at any
    /// time, except in a signal handler.
    ///
    /// Failure: returns false, and logs an ERROR of "keswardin.infra.FileAppender" for each file
    /// that cannot be opened. Its lines still go to the old file.
    static bool reopenFiles();

    /// Returns the number of lines that all objects of `FileAppender` in this process have written
    /// to their files. Lines that are buffered do not count.
    [[nodiscard]] static std::uint64_t getLineCount();

    /// Returns the number of lines that these objects have lost: the disk was full, or a file could
    /// not be opened.
    [[nodiscard]] static std::uint64_t getLossCount();

    /// Returns the number of files of calls that have no line, or lack some, since the process
    /// began: the disk was full, or a file or its directory could not be made. See `CallLogger`.
    [[nodiscard]] static std::uint64_t getFailedCallFileCount();

  private:
    static bool configureInTurn(const ParameterTrie& in_trie, std::ostream& out_errors);
};

} // namespace Velmora
