// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/helpers/property.h>
#include <log4cplus/loglevel.h>

#include <sys/types.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Velmora
{

/// Reads the properties of a layout or an appender. Reports a value that is none of the property's
/// type to log4cplus's log, with what to write instead; the property then keeps its default. A
/// property that is missing keeps its default without a report.
///
/// Thread-safety: as the properties.
class CheckedProperties
{
  public:
    CheckedProperties(const char* in_szTypeName,
                      const log4cplus::helpers::Properties& in_properties)
        : m_szTypeName(in_szTypeName), m_properties(in_properties)
    {
    }

    void read(const char* in_szName, bool& inout_bValue) const;
    /// The text says what to write instead of a value that is no number.
    void read(const char* in_szName, unsigned int& inout_uiValue, const char* in_szExpected) const;
    /// Reads a number of bytes, or one with the unit KB, MB or GB.
    void readSize(const char* in_szName, std::uint64_t& inout_uiBytes) const;
    /// Reads the mode of a file in octal.
    void readMode(const char* in_szName, mode_t& inout_uiMode) const;
    /// Reads the name of a level.
    void readLevel(const char* in_szName, log4cplus::LogLevel& inout_level) const;

    /// Warns of each property that has none of the names. A name that ends in "*" stands for all
    /// that begin so.
    void warnOfOthers(std::initializer_list<std::string_view> in_names) const;

    /// Reports the value of a property, with what to write instead.
    void report(const char* in_szName, const char* in_szExpected) const;

  private:
    const char* m_szTypeName;
    const log4cplus::helpers::Properties& m_properties;
};

} // namespace Velmora
