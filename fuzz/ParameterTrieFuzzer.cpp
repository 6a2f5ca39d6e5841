// SPDX-License-Identifier: BSD-2-Clause

// Reads two configuration texts one after the other into one trie, like the files of a program.
//
// The first byte of the input holds flags: 1 for the table of known parameters, 2 for a vector of
// lines that wait for tags, 4 for another trie. A byte of 1 separates the texts.

#include "fuzz/LogIntoNothing.h"
#include "fuzz/Require.h"

#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using Fuzz::require;

namespace
{

using Lines = std::vector<std::string>;

/// Returns the lines that a trie writes, sorted: their order is that of its hash tables, which
/// differs between tries with the same parameters.
Lines writtenLines(const ParameterTrie& in_trie)
{
    std::stringstream text;
    in_trie.write(text);
    Lines lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
}

/// Returns whether reading a line restores the parameter that wrote it. The name must not look like
/// a comment, must not end in an empty component or in blanks, which reading trims ("a. ." is read
/// as "a. "), and must not begin with a byte order mark.
bool comesBack(const std::string& in_strLine)
{
    const std::size_t uiEquals = in_strLine.find('=');
    return uiEquals != std::string::npos && uiEquals != 0 &&
           std::strchr(". \t\v\f\r", in_strLine[uiEquals - 1]) == nullptr && in_strLine[0] != '#' &&
           !in_strLine.starts_with("\xEF\xBB\xBF");
}

Lines writtenAfterReading(const Lines& in_lines, const ParameterInfoDB* in_pDB)
{
    std::string strText;
    for (const std::string& line : in_lines)
        strText += line + '\n';
    std::istringstream stream(strText);
    ParameterTrie trie;
    trie.read(stream, in_pDB, '\n', false, nullptr, nullptr);
    require(!stream.fail(), "does not read what it wrote", strText);
    return writtenLines(trie);
}

/// Checks that a written trie can be read. A value may change its type the first time, such as a
/// float without a fraction; after that, the text must not change.
void checkRoundTrip(const ParameterTrie& in_trie, const ParameterInfoDB* in_pDB)
{
    const Lines first = writtenLines(in_trie);
    if (!std::all_of(first.begin(), first.end(), &comesBack))
        return;
    const Lines second = writtenAfterReading(first, in_pDB);
    require(first.size() == second.size(), "loses parameters", first.empty() ? "" : first[0]);
    require(second == writtenAfterReading(second, in_pDB), "changes what it wrote",
            second.empty() ? "" : second[0]);
}

void checkTexts(unsigned int in_uiFlags, const std::string& in_strFirst,
                const std::string& in_strSecond)
{
    const ParameterInfoDB* const pDB =
        (in_uiFlags & 1U) != 0 ? &ParameterInfoDB::getInstance() : nullptr;
    Lines waiting;
    Lines* const pWaiting = (in_uiFlags & 2U) != 0 ? &waiting : nullptr;
    ParameterTrie other;
    other.setStringParameter("other", "value");
    const ParameterTrie* const pOther = (in_uiFlags & 4U) != 0 ? &other : nullptr;

    ParameterTrie trie;
    for (const std::string& strText : {in_strFirst, in_strSecond})
    {
        std::istringstream stream(strText);
        trie.read(stream, pDB, '\n', true, pWaiting, pOther);
        require(stream.fail() || stream.eof(), "stops before the end", strText);
    }
    for (const std::string& line : waiting)
        require(line.find("${") != std::string::npos, "waits without a tag", line);
    const ParameterTrie copy(trie);
    require(writtenLines(copy) == writtenLines(trie), "copy differs", in_strFirst);
    checkRoundTrip(trie, pDB);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    static const bool s_bSilent = Fuzz::logIntoNothing();
    static_cast<void>(s_bSilent);
    if (in_uiSize == 0)
        return 0;
    const std::string strTexts(reinterpret_cast<const char*>(in_pData) + 1, in_uiSize - 1);
    const std::size_t uiSecond = strTexts.find('\1');
    checkTexts(in_pData[0], strTexts.substr(0, uiSecond),
               uiSecond == std::string::npos ? "" : strTexts.substr(uiSecond + 1));
    return 0;
}
