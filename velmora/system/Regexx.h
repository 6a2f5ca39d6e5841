// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/system/BoostRegex.h"

#include <string>
#include <vector>

namespace Velmora
{

/// A regular expression in Perl syntax. It finds all its matches in a text and keeps copies of
/// them, or replaces them:
///
///     Regexx rxx("(\\w+)=(\\w+)");
///     rxx.exec("a=1 b=2");            // 2
///     rxx.match[1].atom[0];           // "b"
///
/// '^' and '$' match only at the ends of the text, not at its line ends.
///
/// Thread-safety: none; an object belongs to one thread at a time.
/// Failure: throws as `BoostRegex` does.
class VELMORA_API Regexx
{
  public:
    struct VELMORA_API Match
    {
        /// The matched text, and its position in the searched text.
        std::string str;
        unsigned long start = 0;
        /// The text of each group of the expression, in the order of the opening parentheses; empty
        /// for a group that did not take part.
        std::vector<std::string> atom;
    };

    /// Compiles an expression.
    explicit Regexx(const char* in_szExpression);

    /// Sets `match` to all matches in a text, from left to right, without overlap. Returns their
    /// number.
    unsigned long exec(const std::string& in_strText);

    /// Returns a copy of a text with all matches replaced. The replacement is inserted literally.
    /// `match` is unchanged.
    [[nodiscard]] std::string replace(const std::string& in_strText,
                                      const std::string& in_strReplacement) const;

    /// The matches of the last `exec`.
    std::vector<Match> match;

  private:
    BoostRegex m_regex;
};

} // namespace Velmora
