// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Velmora
{

/// What the value of a property in the logging configuration must be. A null `isValid` accepts any
/// text.
///
/// Thread-safety: all may be called from any thread.
struct PropertyKind
{
    bool (*isValid)(const std::string& in_strValue) = nullptr;
    /// What to write instead of a value that is not valid.
    const char* szExpected = "";

    [[nodiscard]] bool accepts(const std::string& in_strValue) const
    {
        return isValid == nullptr || isValid(in_strValue);
    }

    /// Reads a number of bytes, or one with the unit KB, MB or GB. Returns false, and changes
    /// nothing, for any other text.
    static bool parseSize(std::string_view in_value, std::uint64_t& out_uiBytes);
    /// Reads the mode of a file that its user may read and write, in octal, or in decimal as
    /// `ParameterTrie::convertTo` writes it. Returns false, and changes nothing, for any other
    /// text.
    static bool parseMode(std::string_view in_value, mode_t& out_uiMode);
    /// Reads a number as log4cplus does, but not a negative one. Returns false, and changes
    /// nothing, for any other text.
    static bool parseNatural(const std::string& in_strValue, unsigned int& out_uiValue);
    /// Reads an integer above 0, as `ParameterValue` spells it. Returns false, and changes nothing,
    /// for any other text.
    static bool parsePositive(const std::string& in_strValue, int& out_iValue);

    static const PropertyKind s_text;
    static const PropertyKind s_bool;
    /// Numbers that log4cplus reads with and without a sign.
    static const PropertyKind s_integer;
    static const PropertyKind s_natural;
    static const PropertyKind s_positive;
    static const PropertyKind s_seconds;
    static const PropertyKind s_backups;
    static const PropertyKind s_ndcLevels;
    static const PropertyKind s_messageLength;
    static const PropertyKind s_level;
    static const PropertyKind s_size;
    static const PropertyKind s_bufferSize;
    /// The size at which log4cplus's appender rolls over, which has no unit GB.
    static const PropertyKind s_sizeOfLog4cplus;
    static const PropertyKind s_schedule;
    static const PropertyKind s_compression;
    static const PropertyKind s_mode;
    static const PropertyKind s_locale;
    static const PropertyKind s_textMode;
};

} // namespace Velmora
