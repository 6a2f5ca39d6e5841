// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ConfigurationProblem.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Velmora
{

class InputFile;
class ParameterInfoDB;

/// Reads the files and databases of a configuration as `ParameterTrie` does in a load: the values
/// come out the same. It keeps the place of each value, reads on behind each error, and logs
/// nothing. The environment must not change.
///
/// Thread-safety: none.
class ConfigurationReader final : private ReadingContext::TagReports
{
  public:
    using Severity = ConfigurationProblem::Severity;

    /// The line that gave a parameter its value.
    struct Definition
    {
        LinePlace place;
        /// The value with its tags replaced.
        std::string strValue;
    };

    /// A problem with the index of its source, by which problems are ordered.
    struct Finding
    {
        std::size_t uiSource;
        ConfigurationProblem problem;
    };

    /// Without the table, names and types are not checked. The other trie is searched for the names
    /// of tags after this one. Both pointers may be null.
    ConfigurationReader(const ParameterInfoDB* in_pDB, const ParameterTrie* in_pOther);
    ConfigurationReader(const ConfigurationReader&) = delete;
    ConfigurationReader& operator=(const ConfigurationReader&) = delete;

    /// Reads a file that has been opened.
    /// Failure: throws `std::bad_alloc`.
    void read(const std::string& in_strPath, InputFile& inout_file);

    /// Reads the names and values of a database.
    void read(const std::string& in_strUrl,
              const std::vector<std::pair<std::string, std::string>>& in_parameters);

    /// Adds a source that cannot be read.
    void skip(const std::string& in_strName);

    /// Ends the reading of all sources: reports the lines whose tags have no value.
    void end();

    [[nodiscard]] ParameterTrie& trie() { return m_trie; }
    [[nodiscard]] const ParameterTrie& trie() const { return m_trie; }

    /// Returns the definition of a parameter; null if no line defines it.
    [[nodiscard]] const Definition* definitionOf(std::string_view in_name) const;
    [[nodiscard]] const std::string& fileOf(LinePlace in_place) const
    {
        return m_context.nameOf(in_place);
    }

    /// Returns the problems so far, in the order in which they were found.
    [[nodiscard]] const std::vector<Finding>& findings() const { return m_findings; }

    /// Adds a problem of a place.
    void report(Severity in_severity, const char* in_szRule, LinePlace in_place,
                std::string in_strName, std::string in_strValue, std::string in_strText);

  private:
    void tagOfNoString(const std::string& in_strName, ParameterValue::Type in_type) override;
    void lineTooLong() override;
    void resolvedToNoParameter(const std::string& in_strLine) override;

    /// Adds a problem of the current line.
    void report(Severity in_severity, const char* in_szRule, const std::string& in_strText,
                std::string_view in_name = {}, std::string_view in_value = {});
    /// Does the same for a tag of that line, unless the same was added already.
    void reportTag(Severity in_severity, const char* in_szRule, const std::string& in_strText);
    void readLine(std::string& inout_strLine);
    void processUnresolved();
    /// Returns the place as in "etc/gateway.cfg:12"; a database has no lines.
    [[nodiscard]] std::string placeText(LinePlace in_place) const;
    /// Parses and stores a line. Returns false if it is no parameter.
    bool define(const std::string& in_strLine);
    void store(const std::string& in_strLine);
    void reportParseError(const std::string& in_strLine, const std::string& in_strReplaced);
    void reportStrayDollar(const std::string& in_strLine, bool in_bParameter);
    void reportUnknownName(std::string_view in_value);
    void reportWrongType(std::string_view in_value);
    void reportNumber(std::string_view in_value);
    /// Returns whether the value is within the registered bounds.
    bool isWithinBounds(std::string_view in_value);

    const ParameterInfoDB* m_pDB;
    ParameterTrie m_trie;
    ReadingContext m_context{nullptr, this};
    TagSubstitution m_tags;
    std::vector<std::string> m_lines;
    UnresolvedLines m_unresolved{m_lines};
    std::unordered_map<std::string, Definition> m_definitions;
    Parameter m_parameter;
    std::set<std::pair<LinePlace, std::string>> m_reportedTags;
    std::vector<Finding> m_findings;
};

} // namespace Velmora
