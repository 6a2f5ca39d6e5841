// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/KnownType.h"

#include <log4cplus/helpers/property.h>
#include <log4cplus/loglevel.h>

#include <sys/types.h>

#include <cstdint>

namespace Velmora
{

/// Reads the properties of one of the library's layouts or appenders. Reports a value that is not
/// valid to log4cplus's log, with what to write instead; the property then keeps its default. A
/// property that is missing keeps its default without a report.
///
/// `Logger::configure` has removed the properties that `LoggingCheck` has found to be wrong, so
/// this reports them only to a program that makes such an object itself.
///
/// Thread-safety: as the properties.
class CheckedProperties
{
  public:
    /// The type is in the table of known types.
    CheckedProperties(const KnownType& in_type, const log4cplus::helpers::Properties& in_properties)
        : m_type(in_type), m_properties(in_properties)
    {
    }

    /// Returns whether a property of the type is set and valid. Reports a value that is not valid.
    [[nodiscard]] bool isGiven(const char* in_szName) const;

    void read(const char* in_szName, bool& inout_bValue) const;
    void read(const char* in_szName, unsigned int& inout_uiValue) const;
    void readSize(const char* in_szName, std::uint64_t& inout_uiBytes) const;
    void readMode(const char* in_szName, mode_t& inout_uiMode) const;
    void readLevel(const char* in_szName, log4cplus::LogLevel& inout_level) const;

    /// Warns of each property that the type does not have.
    void warnOfOthers() const;

  private:
    const KnownType& m_type;
    const log4cplus::helpers::Properties& m_properties;
};

} // namespace Velmora
