#pragma once

#include "velmora/Export.h"
#include "velmora/system/BoostRegex.h"

#include <string>
#include <vector>

namespace Velmora
{

/// A regular expression in Perl syntax that finds all its matches in a text and keeps copies of
/// them, and that replaces them:
///
///     Regexx rxx("(\\w+)=(\\w+)");
///     rxx.exec("a=1 b=2");            // 2
///     rxx.match[1].atom[0];           // "b"
///
/// '^' and '$' match only at the ends of the text, not at its line ends.
///
/// Thread-safety: none; an object belongs to one thread at a time.
/// Failure: as `BoostRegex`: exceptions.
class VELMORA_API Regexx
{
  public:
    struct VELMORA_API Match
    {
        /// What matched, and where it begins in the text.
        std::string str;
        unsigned long start = 0;
        /// What each group of the expression matched, in the order of their opening brackets; empty
        /// for one that took no part.
        std::vector<std::string> atom;
    };

    /// Compiles an expression.
    explicit Regexx(const char* in_szExpression);

    /// Makes `match` all matches in a text, from left to right, none of which overlap. Gives their
    /// number.
    unsigned long exec(const std::string& in_strText);

    /// A copy of a text with all matches replaced. The replacement is put in as it stands. `match`
    /// stays as it is.
    [[nodiscard]] std::string replace(const std::string& in_strText,
                                      const std::string& in_strReplacement) const;

    /// The matches of the last `exec`.
    std::vector<Match> match;

  private:
    BoostRegex m_regex;
};

} // namespace Velmora
