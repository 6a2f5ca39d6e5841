// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// Is thrown for an archive that cannot be read. The text names the archive and the member, the
/// reason and the remedy.
class BadArchive : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;

    /// The remedy for an archive that breaks its format, to be added to the reason.
    static constexpr const char* s_szDamaged = "; it is damaged or incomplete, get it again";

    /// Returns a text as one line that a terminal can show: control characters become "\x" and two
    /// digits.
    [[nodiscard]] static std::string printable(std::string_view in_text);
};
