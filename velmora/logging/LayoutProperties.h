// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/helpers/property.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Velmora
{

/// Reads the properties of a layout. Reports a value that is none of the property's type to
/// log4cplus's log; the property then keeps its default.
///
/// Thread-safety: as the properties.
class LayoutProperties
{
  public:
    LayoutProperties(const char* in_szTypeName, const log4cplus::helpers::Properties& in_properties)
        : m_szTypeName(in_szTypeName), m_properties(in_properties)
    {
    }

    void read(const char* in_szName, bool& inout_bValue) const;
    /// The text says what to write instead of a value that is no number.
    void read(const char* in_szName, unsigned int& inout_uiValue, const char* in_szExpected) const;

  private:
    void report(const char* in_szName, const char* in_szExpected) const;

    const char* m_szTypeName;
    const log4cplus::helpers::Properties& m_properties;
};

/// The longest message that a layout writes whole: its property `MaxLength`, in bytes.
///
/// Thread-safety: as an integer.
class MessageLimit
{
  public:
    explicit MessageLimit(const LayoutProperties& in_properties);

    /// Returns the part of a message that is written: all of it, or whole characters.
    [[nodiscard]] std::string_view keptOf(std::string_view in_message) const;

    /// Appends how much of a message is left out, as in "... (51808 bytes more)".
    static void appendRest(std::string& inout_strText, std::size_t in_uiBytes);

  private:
    static constexpr unsigned int s_uiDefault = 8192;

    /// 0 for no limit.
    unsigned int m_uiMost = s_uiDefault;
};

} // namespace Velmora
