#pragma once

#include <log4cplus/configurator.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/hierarchy.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

namespace Velmora
{

/// What a configuration of logging will put in place: a level, an additivity and the appenders for
/// each logger. Making it changes nothing that is in force and holds no lock, so opening a file or
/// connecting to a server may take its time; putting it in place takes microseconds.
///
/// log4cplus's own configurator does its work on a hierarchy that nobody logs to, and the result is
/// carried over.
///
/// Appenders that share a file with one in force are made while the change takes place, once that
/// one has gone: both would truncate or rename the file under each other.
///
/// Thread-safety: belongs to the thread that made it. One at a time is prepared in a process.
class PreparedLogging
{
  public:
    using Clock = std::chrono::steady_clock;

    /// Reads the properties, with their prefix "log4cplus.".
    explicit PreparedLogging(const log4cplus::helpers::Properties& in_properties);

    /// The configuration that a process starts with: everything from DEBUG on to the console.
    PreparedLogging();

    ~PreparedLogging();
    PreparedLogging(const PreparedLogging&) = delete;
    PreparedLogging& operator=(const PreparedLogging&) = delete;

    /// The properties without their prefix, for changes before the appenders are made.
    [[nodiscard]] log4cplus::helpers::Properties& properties();

    /// Whether the root logger will have a level. Without a line for it, and with an empty one, it
    /// has DEBUG.
    [[nodiscard]] bool hasLevelOfRoot() const;

    /// Makes the appenders that can be made now, and the loggers that the configuration names.
    /// Failure: false if somebody keeps a list of appenders locked until the end of the time.
    [[nodiscard]] bool make(Clock::time_point in_end);

    /// Whether the root logger will have an appender, as far as is known before it is in place.
    [[nodiscard]] bool hasAppenderOfRoot() const;

    enum class Outcome
    {
        inPlace,
        /// Nothing has changed: somebody who does not know the gate holds a lock of the hierarchy.
        locked,
        /// The root logger would have had no appender, so the other one is in place.
        otherInPlace
    };

    /// Puts it in place, or else the other, with the gate closed. The levels change one by one and
    /// in such an order that each logger goes from its old level in force to its new one.
    /// Failure: throws `std::bad_alloc`, with nothing changed.
    [[nodiscard]] Outcome putInPlace(PreparedLogging& inout_other);

    /// Closes the appenders that were in force before, if this was put in place.
    void closeFormer();

  private:
    class Configurator;

    PreparedLogging(const log4cplus::helpers::Properties& in_properties, bool in_bDefault);

    /// What a logger is to have; after the change, what it had.
    struct OfLogger
    {
        log4cplus::Logger logger;
        int iLevel = log4cplus::NOT_SET_LOG_LEVEL;
        bool bAdditive = true;
        log4cplus::SharedAppenderPtrList appenders{};
        std::size_t uiDepth = 0;
    };

    void noteLoggers();
    [[nodiscard]] OfLogger wanted(const log4cplus::Logger& in_logger) const;
    void change();
    void makeTheRest() noexcept;
    template <class Function>
    void closeFormerIf(Function in_function);

    /// Where log4cplus's configurator does its work.
    log4cplus::Hierarchy& m_shadow;
    std::unique_ptr<Configurator> m_pConfigurator;
    /// In the order in which the levels change.
    std::vector<OfLogger> m_loggers;
    bool m_bMade = false;
    bool m_bInPlace = false;
    const bool m_bDefault;
};

} // namespace Velmora
