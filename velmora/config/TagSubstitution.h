// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/Trie.h"

#include <string>
#include <string_view>

namespace Velmora
{

class NameIndex;

/// Replaces the tags `${name}` in lines of a configuration by the values of parameters or by
/// environment variables. For the rules see `ParameterTrie`. Its lines and scopes are those of
/// "keswardin.infra.ParameterTrie".
///
/// Thread-safety: none; the environment must not change.
class TagSubstitution
{
  public:
    using StringTrie = Trie<std::string, ParameterValue, LMHashFcn<std::string>>;

    /// The first tag behind a position in a line.
    struct Tag
    {
        /// The text before the tag, or, without a tag, the text to the end of the line. It begins
        /// after the last "$" that opens no tag.
        std::string_view text;
        /// The tag from its "$" to its "}".
        std::string_view tag;
        /// The name between the braces.
        std::string_view name;
    };

    /// Looks up names in a trie and then in another one, unless that is null. The index, unless it
    /// is null, is that of the first trie. All must outlive the object; lines may be added to them.
    TagSubstitution(const StringTrie& in_trie, const StringTrie* in_pOther,
                    const NameIndex* in_pIndex)
        : m_trie(in_trie), m_pOther(in_pOther), m_pIndex(in_pIndex)
    {
    }

    /// Replaces all tags whose names are known. Returns whether no tag is left. If the line becomes
    /// too long, logs an error and returns true with an empty line.
    bool substituteVars(const std::string& in_strLine, std::string& out_strLine) const;

    /// Returns whether a tag of that name would be replaced.
    [[nodiscard]] bool isKnown(const std::string& in_strName) const;

    /// Finds the first tag of a line. Without a tag, returns false and the rest of the line as
    /// text.
    static bool findTag(std::string_view in_line, Tag& out_matches);
    /// Returns the name of the first tag of a line; false if there is none. Logs its trace scope.
    static bool getKey(const std::string& in_strLine, std::string& out_strKey);

    /// Logs that a line becomes too long with its tags replaced.
    static void reportTooLong(const std::string& in_strLine);

  private:
    /// Does the same as `findTag` within a trace scope.
    static bool getKey(const char* in_lineStart, const char* in_lineEnd, Tag& out_matches);
    /// Returns the text that replaces a tag. A parameter that is not a STRING fails an assertion
    /// and yields an empty text.
    /// Failure: returns false if there is neither a parameter nor an environment variable.
    bool getReplacement(const std::string& in_strName, std::string& out_strReplacement) const;

    /// Returns the parameter of a name; null if there is none that is defined.
    [[nodiscard]] const StringTrie* parameterOf(const std::string& in_strName) const;

    const StringTrie& m_trie;
    const StringTrie* m_pOther;
    const NameIndex* m_pIndex;
};

} // namespace Velmora
