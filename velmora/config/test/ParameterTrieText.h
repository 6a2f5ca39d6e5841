// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterTrie.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

using Lines = std::vector<std::string>;

inline constexpr const char* s_szLogger = "keswardin.infra.ParameterTrie";

/// A trie that reads texts, and the environment without the names that they use.
class ParameterTrieText : public testing::Test
{
  protected:
    ParameterTrieText()
    {
        unsetenv("a");
        unsetenv("b");
        unsetenv("c");
        unsetenv("x");
    }

    /// Reads a text without a table. Returns whether the stream is still good.
    bool read(const std::string& in_strText, Lines* inout_pUnresolved = nullptr,
              const ParameterTrie* in_pOther = nullptr)
    {
        return readWith(nullptr, in_strText, inout_pUnresolved, in_pOther);
    }

    bool readWith(const ParameterInfoDB* in_pDB, const std::string& in_strText,
                  Lines* inout_pUnresolved = nullptr, const ParameterTrie* in_pOther = nullptr)
    {
        std::istringstream stream(in_strText);
        EXPECT_EQ(&stream, &m_trie.read(stream, in_pDB, '\n', true, inout_pUnresolved, in_pOther));
        return !stream.fail();
    }

    /// Returns the text that the trie writes, with ";" between entries.
    std::string written() const
    {
        std::ostringstream stream;
        m_trie.write(stream, ';');
        return stream.str();
    }

    std::string dump(const char* in_szName) const
    {
        ParameterValue value;
        m_trie.getParameter(in_szName, value);
        std::ostringstream stream;
        value.dump(stream);
        return stream.str();
    }

    void expectParseError(const std::string& in_strText, int in_iLine, const std::string& in_strBad,
                          const std::string& in_strAdvice)
    {
        const CapturedLog log;
        EXPECT_FALSE(read(in_strText));
        const std::string strLine = std::to_string(in_iLine);
        EXPECT_THAT(
            log.lines(),
            testing::ElementsAre(errorLine(s_szLogger, "parse error at line " + strLine +
                                                           ". failed to parse : " + in_strBad),
                                 errorLine(s_szLogger, "line " + strLine + " : " + in_strAdvice)));
    }

    ParameterTrie m_trie;
};

/// Returns the trace scopes that the reading of a text enters and exits, without the lines of other
/// levels.
inline std::vector<std::string> scopesOf(const CapturedLog& in_log)
{
    std::vector<std::string> scopes;
    for (const LogLine& line : in_log.linesOf(s_szLogger))
        if (line.level == TRACE_LOG_LEVEL)
            scopes.push_back(line.strText);
    return scopes;
}

constexpr const char* s_szEnteringGetKey =
    "entering ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches)";
constexpr const char* s_szExitingGetKey =
    "exiting ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches)";

} // namespace Velmora::Test
