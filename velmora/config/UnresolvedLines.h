// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/LinePlace.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace Velmora
{

class TagSubstitution;

/// The lines of configurations with tags that cannot be replaced yet. They resolve one another: a
/// line that needs a value which a line behind it defines takes over the raw text of that value.
/// Its lines and scopes are those of "keswardin.infra.ParameterTrie".
///
/// An object that lives as long as the lines wait remembers why each of them waits, and tries a
/// line again only if that may have changed. With its logger at DEBUG it tries, and logs, all of
/// them.
///
/// Ownership: the vector belongs to the caller and carries the lines from one text to the next.
/// Thread-safety: none.
class UnresolvedLines
{
  public:
    /// Parses and stores a line, which is the current one of the context. Returns false if it is no
    /// parameter.
    using Store = std::function<bool(const std::string& in_strLine)>;

    /// The vector must outlive the object, and must not be changed otherwise while it lives.
    explicit UnresolvedLines(std::vector<std::string>& inout_lines)
        : m_lines(inout_lines), m_waits(inout_lines.size())
    {
    }

    /// Adds the current line of the context, in which the tags that are known have been replaced.
    void add(const std::string& in_strLine, const TagSubstitution& in_tags);

    /// Tries all lines once more. Stores the lines that can be resolved, logs an error for each
    /// that is then no parameter, and leaves the others in the vector.
    void processUnresolvedConfigLines(const TagSubstitution& in_tags, const Store& in_addToTrie);

    /// Returns the lines, and the place of one of them. It is not known for a line that was in the
    /// vector before.
    [[nodiscard]] const std::vector<std::string>& lines() const { return m_lines; }
    [[nodiscard]] LinePlace placeOf(std::size_t in_uiLine) const
    {
        return m_waits[in_uiLine].place;
    }

    /// Returns the number of lines that were tried so far.
    [[nodiscard]] std::size_t getNumTries() const { return m_uiTries; }

  private:
    /// Why a line waits.
    struct Wait
    {
        /// A name that is not known. Empty if the line must be tried.
        std::string strMissing{};
        /// The name of the first tag, which no line behind this one defines.
        std::string strFirst{};
        /// The value of `m_uiAdded` when the line was tried.
        std::size_t uiAdded = 0;
        LinePlace place{};
    };

    /// Returns whether a line would wait for the same reason if it was tried again. The later lines
    /// are those behind it.
    bool stillWaits(Wait& inout_wait, const TagSubstitution& in_tags,
                    std::span<const std::string> in_laterLines) const;
    /// Returns why a line waits that was tried without success and has not changed.
    [[nodiscard]] Wait reasonOf(const std::string& in_strLine,
                                const TagSubstitution& in_tags) const;

    enum class Search
    {
        replaced,
        notDefined,
        /// The replacement would be too long, or the name is no valid expression.
        impossible
    };

    /// Replaces the tags of a line, if necessary by the raw values of the lines behind it. May
    /// change the line in the vector even if a tag is left. Returns `replaced` if no tag is left,
    /// or else why the last one stays.
    static Search resolveInVector(const TagSubstitution& in_tags, std::string* inout_pLine,
                                  const std::string* in_pEnd, std::string& out_strLine,
                                  bool& out_bChanged);
    /// Replaces the first tag of a line by the raw value of the first line behind it that defines
    /// the name. Leaves the line unchanged if there is none.
    static Search findKeyValueInVector(const TagSubstitution& in_tags, std::string* inout_pLine,
                                       const std::string* in_pEnd, std::string*& out_pFound);

    std::vector<std::string>& m_lines;
    /// Why each of the lines waits.
    std::vector<Wait> m_waits;
    /// The number of lines that were added or changed so far, and the value of that number after
    /// the last change. A line that has changed may define another name.
    std::size_t m_uiAdded = 0;
    std::size_t m_uiLastChange = 0;
    std::size_t m_uiTries = 0;
};

} // namespace Velmora
