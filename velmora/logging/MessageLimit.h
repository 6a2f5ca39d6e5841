// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Velmora
{

class CheckedProperties;

/// The longest message that a layout writes whole: its property `MaxLength`, in bytes.
///
/// Thread-safety: as an integer.
class MessageLimit
{
  public:
    explicit MessageLimit(const CheckedProperties& in_properties);

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
