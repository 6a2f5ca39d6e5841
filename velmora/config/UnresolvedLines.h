// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Velmora
{

class TagSubstitution;

/// The lines of configurations with tags that cannot be replaced yet. They resolve one another: a
/// line that needs a value which a line behind it defines takes over the raw text of that value.
/// Its lines and scopes are those of "keswardin.infra.ParameterTrie".
///
/// Ownership: the vector belongs to the caller and carries the lines from one text to the next.
/// Thread-safety: none.
class UnresolvedLines
{
  public:
    /// Parses and stores a line. Returns false if it is no parameter.
    using Store = std::function<bool(const std::string& in_strLine)>;

    /// Both arguments must outlive the object.
    UnresolvedLines(std::vector<std::string>& inout_lines, const TagSubstitution& in_tags)
        : m_lines(inout_lines), m_tags(in_tags)
    {
    }

    /// Adds a line, in which the tags that are known have been replaced.
    void add(const std::string& in_strLine);

    /// Tries all lines once more. Stores the lines that can be resolved, logs an error for each
    /// that is then no parameter, and leaves the others in the vector.
    void processUnresolvedConfigLines(const Store& in_addToTrie);

  private:
    /// Replaces the tags of a line, if necessary by the raw values of the lines behind it. May
    /// change the line in the vector even if a tag is left.
    bool resolveInVector(std::string* inout_pLine, const std::string* in_pEnd,
                         std::string& out_strLine) const;
    /// Replaces the first tag of a line by the raw value of the first line behind it that defines
    /// the name. Returns false, and leaves the line unchanged, if there is none.
    static bool findKeyValueInVector(std::string* inout_pLine, const std::string* in_pEnd,
                                     std::string*& out_pFound);

    std::vector<std::string>& m_lines;
    const TagSubstitution& m_tags;
};

} // namespace Velmora
