// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>

#include <chrono>
#include <cstddef>
#include <exception>
#include <memory>
#include <vector>

namespace Velmora
{

class Logger;
class StepwiseConfigurator;

/// A logging configuration that is ready to be put in place: a level, an additivity and the
/// appenders for each logger. Making it changes nothing that is in effect and holds no lock, so
/// opening a file or connecting to a server may take its time. Putting it in place takes
/// microseconds.
///
/// log4cplus's own configurator does its work on a hierarchy that no thread logs to, and the result
/// is carried over.
///
/// Appenders that share a file with a current appender are made during the change, after that one
/// is closed: otherwise each would truncate or rename the file while the other uses it.
///
/// Thread-safety: belongs to the thread that made it. One thread of the process prepares
/// configurations at a time, the one that has the `ConfigurationTurn`.
class PreparedLogging
{
  public:
    using Clock = std::chrono::steady_clock;

    /// Reads the properties, which have the prefix "log4cplus.".
    explicit PreparedLogging(const log4cplus::helpers::Properties& in_properties);

    /// Makes the initial configuration of a process: everything from DEBUG on goes to the console.
    PreparedLogging();

    ~PreparedLogging();
    PreparedLogging(const PreparedLogging&) = delete;
    PreparedLogging& operator=(const PreparedLogging&) = delete;

    /// Returns the properties without their prefix, for changes before the appenders are made.
    [[nodiscard]] log4cplus::helpers::Properties& properties();

    /// Returns whether the root logger will have a level. If the configuration has no line for it,
    /// or an empty one, the level is DEBUG.
    [[nodiscard]] bool hasLevelOfRoot() const;

    /// Makes the appenders that can be made now, and the loggers that the configuration names.
    /// Failure: returns false if another thread keeps a list of appenders locked until `in_end`.
    [[nodiscard]] bool make(Clock::time_point in_end);

    /// Returns whether the root logger will have an appender, as far as that is known before the
    /// change.
    [[nodiscard]] bool hasAppenderOfRoot() const;

    /// The result of `putInPlace`.
    enum class Outcome
    {
        inPlace,
        /// Nothing has changed: a thread that does not pass the gate holds a lock of the hierarchy.
        locked,
        /// The root logger would have had no appender, so the other configuration is in place.
        otherInPlace
    };

    /// Puts this configuration in place, or else the other one, with the gate closed. The levels
    /// change one by one, in an order in which each logger goes directly from its old effective
    /// level to its new one. Appenders that `make` has left out are made here, under the locks of
    /// the hierarchy.
    /// Failure: throws `std::bad_alloc`, with nothing changed.
    [[nodiscard]] Outcome putInPlace(PreparedLogging& inout_other);

    /// Closes the former appenders, if this configuration has been put in place.
    void closeFormer();

    /// Logs at ERROR why appenders that `putInPlace` should have made are missing, if any are. Goes
    /// to standard error if there is no memory for the line.
    void reportMissing(const Logger& in_logger) const noexcept;

  private:
    PreparedLogging(const log4cplus::helpers::Properties& in_properties, bool in_bDefault);

    /// The new settings of a logger. After the change, `appenders` are the former ones.
    struct OfLogger
    {
        log4cplus::Logger logger;
        int iLevel = log4cplus::NOT_SET_LOG_LEVEL;
        bool bAdditive = true;
        log4cplus::SharedAppenderPtrList appenders{};
        /// The number of the logger's parents.
        std::size_t uiDepth = 0;
    };

    void noteLoggers();
    [[nodiscard]] OfLogger wanted(const log4cplus::Logger& in_logger) const;
    void change();
    void makeTheRest() noexcept;
    template <class Function>
    void closeFormerIf(Function in_function);

    /// The hierarchy on which log4cplus's configurator does its work.
    log4cplus::Hierarchy& m_shadow;
    std::unique_ptr<StepwiseConfigurator> m_pConfigurator;
    /// The settings of all loggers, in the order in which the levels change.
    std::vector<OfLogger> m_loggers;
    /// Why the appenders that were left out by `make` could not be made, or null.
    std::exception_ptr m_pWhyMissing;
    bool m_bMade = false;
    bool m_bInPlace = false;
    const bool m_bDefault;
};

} // namespace Velmora
