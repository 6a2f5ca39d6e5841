// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/AppendersInUse.h"

#include <log4cplus/appender.h>
#include <log4cplus/configurator.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/hierarchy.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Velmora
{

/// Runs log4cplus's own configurator in steps: some appenders are made later than the others, and
/// have placeholders until then.
///
/// Thread-safety: none; belongs to one thread.
class StepwiseConfigurator : public log4cplus::PropertyConfigurator
{
  public:
    /// A placeholder and the appender that replaces it, which is null if it cannot be made.
    using Replacements =
        std::vector<std::pair<log4cplus::SharedAppenderPtr, log4cplus::SharedAppenderPtr>>;

    /// Reads the properties, which have the prefix "log4cplus.". The loggers are set up in
    /// `inout_shadow`.
    StepwiseConfigurator(const log4cplus::helpers::Properties& in_properties,
                         log4cplus::Hierarchy& inout_shadow);

    /// Returns the properties without their prefix, for changes before the appenders are made.
    log4cplus::helpers::Properties& all() { return properties; }

    /// Returns the value of a bool property; false if it is not set.
    [[nodiscard]] bool flag(const char* in_szName) const;

    /// Sets what log4cplus reports about itself.
    void setUpReports() const;

    /// Makes the appenders, except those that an appender in use is in the way of. These get
    /// placeholders.
    void makeAppenders(const AppendersInUse& in_inUse);

    /// Returns whether no appender has a placeholder.
    [[nodiscard]] bool isComplete() const { return m_late.empty(); }

    /// Makes the appenders that have placeholders.
    Replacements makeLateAppenders();

    /// Adds an appender that was made elsewhere.
    void putAppender(const char* in_szName, const log4cplus::SharedAppenderPtr& in_pAppender);

    /// Sets up the loggers with the appenders that have been made.
    void setUpLoggers();

    /// Returns whether an appender is a placeholder.
    [[nodiscard]] bool isStandIn(const log4cplus::SharedAppenderPtr& in_pAppender) const;

    /// Returns whether a current appender is in the way of one that has a placeholder.
    [[nodiscard]] bool isInTheWay(const log4cplus::SharedAppenderPtr& in_pAppender) const;

  private:
    template <class Function>
    void keepAppenders(const log4cplus::helpers::Properties& in_whole, Function in_function);

    /// The placeholders by the names of their appenders.
    std::map<std::string, log4cplus::SharedAppenderPtr> m_late;
};

} // namespace Velmora
