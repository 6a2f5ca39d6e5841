// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ConfigurationLine.h"
#include "velmora/config/Trie.h"

#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

class AceCleanupLogger;
class NameIndex;
class ReadingContext;

/// Replaces the tags `${name}` in lines of a configuration by the values of parameters or by
/// environment variables. For the rules see `ParameterTrie`. Its lines and scopes are those of
/// "keswardin.infra.ParameterTrie". With a context that has `TagReports`, nothing is logged.
///
/// Thread-safety: none; the environment must not change.
class TagSubstitution
{
  public:
    using StringTrie = Trie<std::string, ParameterValue, LMHashFcn<std::string>>;

    /// Looks up names in a trie and then in another one, unless that is null. The index, unless it
    /// is null, is that of the first trie. The current line of the context is the one whose tags
    /// are replaced. All must outlive the object; lines may be added to them.
    TagSubstitution(const StringTrie& in_trie, const StringTrie* in_pOther,
                    const NameIndex* in_pIndex, ReadingContext& inout_context)
        : m_trie(in_trie), m_pOther(in_pOther), m_pIndex(in_pIndex), m_context(inout_context)
    {
    }

    /// Replaces all tags whose names are known. Returns whether no tag is left. If the line becomes
    /// too long, logs an error and returns true with an empty line.
    bool substituteVars(const std::string& in_strLine, std::string& out_strLine) const;

    /// Returns whether a tag of that name would be replaced.
    [[nodiscard]] bool isKnown(const std::string& in_strName) const;

    /// Returns the name of the first tag of a line; false if there is none. Logs its trace scope.
    bool getKey(const std::string& in_strLine, std::string& out_strKey) const;

    /// Returns the different names in the tags of a line that are not known.
    [[nodiscard]] std::vector<std::string> unknownNamesIn(std::string_view in_line) const;

    /// Logs that a line becomes too long with its tags replaced.
    void reportTooLong(const std::string& in_strLine) const;

    [[nodiscard]] ReadingContext& context() const { return m_context; }
    /// Returns the logger of the replacement; null if nothing is to be logged.
    [[nodiscard]] const AceCleanupLogger* logger() const;

  private:
    /// Does the same as `ConfigurationLine::findTag` within a trace scope.
    bool getKey(const char* in_lineStart, const char* in_lineEnd,
                ConfigurationLine::Tag& out_matches) const;
    /// Returns the text that replaces a tag. A parameter that is not a STRING fails an assertion
    /// and yields an empty text.
    /// Failure: returns false if there is neither a parameter nor an environment variable.
    bool getReplacement(const std::string& in_strName, std::string& out_strReplacement) const;

    /// Logs that a tag names a parameter that is not a STRING.
    void reportNoString(const std::string& in_strName, const ParameterValue& in_value) const;

    /// Returns the parameter of a name; null if there is none that is defined.
    [[nodiscard]] const StringTrie* parameterOf(const std::string& in_strName) const;

    const StringTrie& m_trie;
    const StringTrie* m_pOther;
    const NameIndex* m_pIndex;
    ReadingContext& m_context;
};

} // namespace Velmora
