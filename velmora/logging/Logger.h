#pragma once

#include "velmora/logging/LogLevel.h"
#include "velmora/logging/Resettable.h"

#include <ace/Thread_Mutex.h>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggerimpl.h>

#include <cstddef>
#include <iosfwd>
#include <string>

namespace Velmora
{

class ParameterTrie;

/// A named place that lines are logged to, over log4cplus. A `Logger` is a handle: two with one
/// name talk to the same entry of the log4cplus hierarchy, in which dots in a name make parents.
/// Code logs through the macros of "velmora/logging/LogMacros.h".
///
/// Logging works from the static constructors of a program on, to the console until it is
/// configured.
///
/// Thread-safety: all operations may be called on any thread, but for assignment and destruction
/// of one object while others use it. A changed level reaches other threads soon, not at once.
class VELMORA_API Logger : public log4cplus::Logger, public virtual Resettable
{
  public:
    /// The logger "keswardin", the root of everything that the library logs.
    Logger();
    explicit Logger(const std::string& in_strName);
    Logger(const Logger&);
    Logger& operator=(const Logger&);
    ~Logger() override;

    /// Logs a line if its level is enabled. A null file and a negative line mean: not known.
    virtual void log(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                     int in_iLine) const;

    /// Logs a line whatever the level.
    virtual void forcedLog(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                           int in_iLine) const;

    /// Hands an event to the appenders of this logger and, following additivity, of its parents.
    virtual void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const;

    /// The number of appenders of this logger and, following additivity, of its parents. While
    /// another thread adds or removes appenders, the number may be of neither state, but it is
    /// never 0 in the middle of a change that is made under the hierarchy's lock.
    [[nodiscard]] virtual std::size_t getChainedNumAppender() const;

    /// Logs at TRACE whatever the level, with no file and line.
    virtual void forcedTrace(const char* in_szText) const;

    /// Does nothing and gives true; derived classes give it meaning.
    bool reset() override;

    /// Whether a line of this level passes. A logger with no level up to and including the root
    /// passes nothing.
    [[nodiscard]] bool isEnabledFor(LogLevel in_logLevel) const;

    /// This logger's own level, `NOT_SET_LOG_LEVEL` when it has none.
    [[nodiscard]] LogLevel getLogLevel() const
    {
        return static_cast<LogLevel>(value->getLogLevel());
    }

    /// The level in force: the own one or that of the nearest parent with one;
    /// `NOT_SET_LOG_LEVEL` when not even the root has one.
    [[nodiscard]] LogLevel getChainedLogLevel() const;

    /// Also switches ACE's function trace, by the level in force for "keswardin.ace".
    void setLogLevel(LogLevel in_logLevel);

    /// The appender of that name on this logger or, following additivity, on its parents; null
    /// when there is none.
    [[nodiscard]] log4cplus::SharedAppenderPtr getChainedAppender(const std::string& in_strName);

    /// The one mutex that orders all configuration of logging.
    static ACE_Thread_Mutex& sGetConfigMutex();

    /// Whether the root logger has a level and an appender. Takes no lock of this class.
    static bool configurationOK();

    /// Puts the configuration into force that a process starts with: everything from DEBUG on to
    /// the console. Threads that log concurrently lose no line.
    ///
    /// Failure: false, with an ERROR and the configuration in force as it was, if it is called from
    /// inside a log line, an observer or another operation of the library that runs foreign code,
    /// or if other threads do not come out of theirs within 5 s.
    static bool configureDefault();

    /// Puts the section "log4cplus" of a configuration into force, in log4cplus's own form, in
    /// place of whatever is. Threads that log concurrently lose no line, and wait only while the
    /// appenders change places: these are made before, in the calling thread. An appender with
    /// `AsyncAppend` is made synchronous, with a warning.
    ///
    /// Failure: false, and a text for the person who starts the program in `out_errors`. Without
    /// such a section, the configuration stays as it is, as it does when memory runs out, and in
    /// the cases in which `configureDefault` fails. A section that leaves the root logger without a
    /// level or an appender puts the default configuration into force. What is wrong with an
    /// appender is reported by log4cplus, on standard error.
    static bool configure(const ParameterTrie& in_trie, std::ostream& out_errors);
    static bool configure(const ParameterTrie& in_trie);

    /// Starts ACE's function trace if the logger "keswardin.ace" passes TRACE, and stops it
    /// otherwise.
    static void configureACE_Trace();

  private:
    static bool configureInTurn(const ParameterTrie& in_trie, std::ostream& out_errors);
};

} // namespace Velmora
