#pragma once

#include "velmora/Export.h"
#include "velmora/application/OutputStreamable.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/Trie.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace log4cplus::helpers
{
class Properties;
}

namespace Velmora
{

class ParameterInfoDB;
struct LoadSummary;

/// The store behind configuration files: a trie of parameters whose edges are the components of
/// their dotted names, which reads and writes the configuration text.
///
/// The text, line by line: blank lines and those whose first character that is not blank is "#" are
/// skipped; all others read `name=value`, blanks around either being no part of it. The value goes
/// to the end of the line and gets the type that the table of known parameters tells, or that it
/// looks like. The last line for a name wins.
///
/// A tag `${name}` anywhere in a line stands for the STRING parameter of that name, of this trie or
/// of another one, or else for the environment variable. What a tag is replaced by is not searched
/// for tags again, and tags do not nest; outside of tags, a line has no "$". A line with a tag that
/// cannot be replaced yet waits in a vector of the caller's, which is passed to the reading of one
/// file after another.
///
/// A name is cut at each "."; an empty component is kept, but a dot at the end adds none. The empty
/// name is the root. A node whose data is undefined is not a parameter.
///
/// Thread-safety: none; a trie belongs to one thread at a time or to an owner that guards it. The
/// environment must not change while a text is read.
class VELMORA_API ParameterTrie : public Trie<std::string, ParameterValue, LMHashFcn<std::string>>,
                                  public virtual Configuration,
                                  public virtual OutputStreamable
{
  public:
    using StringTrie = Trie<std::string, ParameterValue, LMHashFcn<std::string>>;
    using StringTrie::find;
    using StringTrie::insert;

    ParameterTrie();
    explicit ParameterTrie(const StringTrie& in_trie);
    ParameterTrie(const ParameterTrie& in_trie);
    ParameterTrie& operator=(const ParameterTrie& in_trie);
    ~ParameterTrie() override;

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override;

    /// Gives true: nothing is refused.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override;

    /// Writes what `read` reads, a line for each parameter; the last line is not ended.
    std::ostream& write(std::ostream& out_stream) const override;
    virtual std::ostream& write(std::ostream& out_stream, char in_cSeparator) const;
    std::ostream& writeImpl(std::ostream& out_stream, char in_cSeparator) const;

    /// Reads a text up to its end. With `in_pDB`, values get the types of that table, and names and
    /// types that do not fit draw a warning each; the parameter is stored all the same. With the
    /// table of the process, a value out of the bounds that a program has registered draws a
    /// warning and is not stored: what the parameter was before, it stays. With
    /// `in_bSubstitute`, tags are replaced, `in_pOther` being asked after this trie.
    ///
    /// `inout_pUnresolved` takes the lines with tags that cannot be replaced yet. At the end of the
    /// text, all its lines are tried once more, also with the values of the lines that come later
    /// in it; what is left stays there, for the next text or for the caller to report.
    ///
    /// Failure: sets the stream's failbit and logs the number of the line. A line that is no
    /// parameter ends the reading, and so does a tag that cannot be replaced when there is no
    /// vector. What was stored by then stays. A line that grows beyond 2 MiB by its tags counts as
    /// one that is no parameter; one that waits and would grow by more than 64 KiB at once goes on
    /// waiting. A stream whose owner wants it to throw (`std::ios::exceptions`) throws once the
    /// reading is over, for the state that it leaves: the end of the text is no failure.
    ///
    /// `inout_pSummary` counts the warnings, if given.
    std::istream& read(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                       char in_cDelimiter, bool in_bSubstitute,
                       std::vector<std::string>* inout_pUnresolved, const ParameterTrie* in_pOther,
                       LoadSummary* inout_pSummary = nullptr);

    /// Makes the node of a name with the value, unless there is a node. Gives the node with its
    /// path, and whether it was made.
    std::pair<iterator, bool> insert(const char* in_szName, const ParameterValue& in_value);

    /// The node of a name with its path; the end when there is none.
    [[nodiscard]] const_iterator find(const char* in_szName) const;

    /// The node of a name; null when there is none. The vector takes the components of the name.
    /// Once its strings are long enough, nothing is allocated.
    const StringTrie* fastFind(const char* in_szName, std::vector<std::string>& out_scratch) const;
    using StringTrie::fastFind;

    /// Sets a property for each parameter.
    void convertTo(log4cplus::helpers::Properties& out_properties) const;

    /// Replaces each `${NAME}` in STRING values by the environment variable. A variable that is not
    /// set or is empty leaves the tag.
    /// Failure: false and an error in the log for a tag that is not closed; the values before it,
    /// in the order of the trie, are changed by then.
    bool substituteEnvVarsInValues();

    /// The same in each component of the names. Where two names become the same, the last one wins.
    /// Failure: as above, but nothing is changed.
    bool substituteEnvVarsInKeys();

  private:
    struct Tag;
    struct Reading;

    /// The node of a name, null when there is none; and the node of a name, made when there is
    /// none.
    [[nodiscard]] const StringTrie* nodeOf(std::string_view in_name) const;
    StringTrie& nodeFor(std::string_view in_name);

    static bool findTag(std::string_view in_line, Tag& out_matches);
    static bool getKey(const char* in_lineStart, const char* in_lineEnd, Tag& out_matches);
    static bool getKey(const std::string& in_strLine, std::string& out_strKey);
    bool substituteVars(const std::string& in_strLine, std::string& out_strLine,
                        const ParameterTrie* in_pOther) const;
    bool getReplacement(const std::string& in_strName, const ParameterTrie* in_pOther,
                        std::string& out_strReplacement) const;

    bool readLines(Reading& inout_reading, std::istream& inout_stream, char in_cDelimiter,
                   bool in_bSubstitute, std::vector<std::string>* inout_pUnresolved,
                   const ParameterTrie* in_pOther);
    bool addToTrie(Reading& inout_reading, const std::string& in_strLine);
    static void warnOfMisfit(const Parameter& in_parameter, ParameterInitResult in_result,
                             LoadSummary& inout_summary);
    static bool isWithinBounds(const Parameter& in_parameter, LoadSummary& inout_summary);
    void store(Reading& inout_reading);
    StringTrie& nodeForNext(Reading& inout_reading, const std::string& in_strName);
    void processUnresolvedConfigLines(Reading& inout_reading,
                                      std::vector<std::string>* inout_pUnresolved,
                                      const ParameterTrie* in_pOther);
    bool resolveInVector(std::string* inout_pLine, const std::string* in_pEnd,
                         std::string& out_strLine, const ParameterTrie* in_pOther) const;
    static bool findKeyValueInVector(std::string* inout_pLine, const std::string* in_pEnd,
                                     std::string*& out_pFound);
};

} // namespace Velmora
