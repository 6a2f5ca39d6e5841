// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Velmora
{

/// The delimiters of a `CTokenizer`: the characters of a string.
///
/// Thread-safety: as a value.
class CIsFromString
{
  public:
    explicit CIsFromString(std::string in_strDelimiters)
        : m_strDelimiters(std::move(in_strDelimiters))
    {
    }

    [[nodiscard]] bool operator()(char in_character) const
    {
        return m_strDelimiters.find(in_character) != std::string::npos;
    }

  private:
    std::string m_strDelimiters;
};

/// Splits texts at runs of delimiters, so that no token is empty. `strTokenize` splits at each
/// delimiter instead. `IsDelimiter` returns whether a character is a delimiter.
///
/// Thread-safety: may be used on any thread.
template <class IsDelimiter>
class CTokenizer
{
  public:
    /// Replaces the content of the vector by the tokens of a text.
    static void Tokenize(std::vector<std::string>& out_tokens, const std::string& in_strText,
                         const IsDelimiter& in_isDelimiter)
    {
        out_tokens.clear();
        auto begin = std::find_if_not(in_strText.begin(), in_strText.end(), in_isDelimiter);
        while (begin != in_strText.end())
        {
            const auto end = std::find_if(begin, in_strText.end(), in_isDelimiter);
            out_tokens.emplace_back(begin, end);
            begin = std::find_if_not(end, in_strText.end(), in_isDelimiter);
        }
    }
};

} // namespace Velmora
