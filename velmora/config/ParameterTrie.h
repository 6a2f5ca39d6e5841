// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/OutputStreamable.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/Parameter.h"
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

class NameIndex;
class ParameterInfoDB;
class ReadingContext;
class TagSubstitution;
class UnresolvedLines;
struct LoadSummary;

/// The store behind configuration files. It reads and writes the configuration text and keeps the
/// parameters in a trie whose edges are the components of their dotted names.
///
/// The text is read line by line. Blank lines, and lines whose first nonblank character is "#", are
/// skipped. All other lines read `name=value`; blanks around the name and the value are not part of
/// them. The value extends to the end of the line and gets the type that the table of known
/// parameters gives for the name, or the type that it looks like. The last line for a name wins.
///
/// A tag `${name}` anywhere in a line is replaced by the STRING parameter of that name, in this
/// trie or in another one, or else by the environment variable. The replacement is not searched for
/// tags, and tags do not nest. A "$" that opens no tag drops the text before it, up to the previous
/// tag or the beginning of the line. A line with a tag that cannot be replaced yet waits in a
/// vector of the caller's, which is passed to the reading of one file after another.
///
/// A UTF-8 byte order mark at the beginning of a text is skipped.
///
/// A name is split at each "."; an empty component is kept, but a dot at the end adds no component.
/// The empty name is the root. A node whose data is undefined is not a parameter.
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

    /// Stores any value under any name. Returns true.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override;

    /// Writes the text that `read` reads, with a line for each parameter. The last line has no
    /// newline.
    std::ostream& write(std::ostream& out_stream) const override;
    virtual std::ostream& write(std::ostream& out_stream, char in_cSeparator) const;
    std::ostream& writeImpl(std::ostream& out_stream, char in_cSeparator) const;

    /// Reads a text up to its end. With `in_pDB`, values get the types of that table. Each unknown
    /// name (unless it begins with "log4cplus") and each value of a wrong type logs a warning; the
    /// parameter is stored anyway. With the table of the process, a value out of the bounds that a
    /// program has registered logs a warning and is not stored; the parameter keeps its previous
    /// value. With `in_bSubstitute`, tags are replaced; `in_pOther` is searched after this trie.
    ///
    /// `inout_pUnresolved` receives the lines with tags that cannot be replaced yet. At the end of
    /// the text, all its lines are tried once more, now also with the values of the lines behind
    /// them in the vector. The lines that are still unresolved stay there, for the next text or for
    /// the caller to report.
    ///
    /// Behind each warning and error, a line of the same level states the place and what to write,
    /// as in `etc/gateway.cfg:12 : write "keswardin.exitTimeoutSec = 5"`, or `line 12 : ...` for a
    /// text without a name.
    ///
    /// Failure: sets the stream's failbit and logs the line number. A line that is no parameter
    /// ends the reading, as does a tag that cannot be replaced if there is no vector. The
    /// parameters that were stored before stay. A line that grows beyond 2 MiB by its tags counts
    /// as a line that is no parameter. A waiting line that would grow by more than 64 KiB in one
    /// step keeps waiting. A waiting line that turns out to be no parameter is logged and dropped,
    /// and the stream does not fail. A stream that is to throw (`std::ios::exceptions`) throws at
    /// the end of the reading, according to its final state; the end of the text is no failure.
    ///
    /// `inout_pSummary` counts the warnings unless it is null.
    std::istream& read(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                       char in_cDelimiter, bool in_bSubstitute,
                       std::vector<std::string>* inout_pUnresolved, const ParameterTrie* in_pOther,
                       LoadSummary* inout_pSummary = nullptr);

    /// What an owner keeps from one reading to the next. All pointers may be null.
    struct ReadHelpers
    {
        /// Counts the warnings.
        LoadSummary* pSummary = nullptr;
        /// The index through which all nodes of this trie are made.
        NameIndex* pIndex = nullptr;
        /// The waiting lines. Its vector takes the place of `inout_pUnresolved` above.
        UnresolvedLines* pUnresolved = nullptr;
        /// Knows the sources that were read before, and keeps what is logged.
        ReadingContext* pContext = nullptr;
        /// Names the text in the lines of the log; empty for a text without a name.
        std::string_view sourceName{};
    };

    /// Does the same for lines that end with a newline, with tags replaced.
    std::istream& read(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                       const ParameterTrie* in_pOther, const ReadHelpers& in_helpers);

    /// Makes the node of a name with the value unless the node exists. Returns the node with its
    /// path, and whether it was made.
    std::pair<iterator, bool> insert(const char* in_szName, const ParameterValue& in_value);

    /// Returns the node of a name with its path; the end if there is none.
    [[nodiscard]] const_iterator find(const char* in_szName) const;

    /// Returns the node of a name; null if there is none. The vector receives the components of the
    /// name. Allocates nothing once its strings are long enough.
    const StringTrie* fastFind(const char* in_szName, std::vector<std::string>& out_scratch) const;
    using StringTrie::fastFind;

    /// Sets a property for each parameter, with the text of its value.
    void convertTo(log4cplus::helpers::Properties& out_properties) const;

    /// Replaces each `${NAME}` in STRING values by the environment variable. A tag stays if its
    /// variable is not set or is empty.
    /// Failure: returns false and logs an error for a tag that is not closed; the values before it,
    /// in the order of the trie, have been changed.
    bool substituteEnvVarsInValues();

    /// Does the same in each component of the names. If two names become the same, the last one
    /// wins.
    /// Failure: as above, but nothing is changed.
    bool substituteEnvVarsInKeys();

  private:
    struct Reading;

    std::istream& readText(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                           char in_cDelimiter, bool in_bSubstitute, const ParameterTrie* in_pOther,
                           const ReadHelpers& in_helpers);

    /// Returns the node of a name; null if there is none.
    [[nodiscard]] const StringTrie* nodeOf(std::string_view in_name) const;
    /// Returns the node of a name. Makes the node if there is none.
    StringTrie& nodeFor(std::string_view in_name);

    /// Reads and stores the lines up to the end of the stream. Replaces their tags unless
    /// `in_pTags` is null. Returns false, and logs the reason, at a line that ends the reading.
    bool readLines(Reading& inout_reading, std::istream& inout_stream, char in_cDelimiter,
                   const TagSubstitution* in_pTags, UnresolvedLines* inout_pUnresolved);
    /// Parses and stores one line. Returns false if it is no parameter. A value out of bounds is
    /// skipped, which is not a failure.
    bool addToTrie(Reading& inout_reading, const std::string& in_strLine);
    /// Logs and counts an unknown name or a value of a wrong type.
    static void warnOfMisfit(Reading& inout_reading, ParameterInitResult in_result,
                             const std::string& in_strLine);
    static void warnOfUnknownName(Reading& inout_reading, const std::string& in_strLine);
    /// Returns whether a value is within the registered bounds. Logs and counts one that is not.
    static bool isWithinBounds(Reading& inout_reading, const std::string& in_strLine);
    /// Stores the parameter of the reading. Logs and counts a redefinition.
    void store(Reading& inout_reading);
    /// Returns the node of the next name, made if there is none, by way of the previous name's
    /// branch.
    StringTrie& nodeForNext(Reading& inout_reading, const std::string& in_strName);
};

} // namespace Velmora
