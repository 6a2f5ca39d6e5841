// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/system/ClassicText.h"

#include <boost/regex.hpp>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace Velmora
{

/// Finds the line that defines a name: the whole line matches "(^`name` *= *)(.*)", and the second
/// group is the value. The name is not escaped in the expression, so that its dots match any
/// character. A plain name is compared without the expression, which is faster.
///
/// Thread-safety: belongs to one thread.
class DefiningLine
{
  public:
    /// Failure: throws `boost::regex_error` if the name is not a valid expression.
    explicit DefiningLine(const std::string& in_strName)
        : m_strName(in_strName), m_bPlain(isPlainName(in_strName))
    {
        if (!m_bPlain)
            m_regex.assign("(^" + in_strName + " *= *)(.*)");
    }

    /// Returns whether a line defines the name. The output is set only if it does.
    /// Failure: throws `std::runtime_error` if the matching takes too long.
    bool matches(const std::string& in_strLine, std::string& out_strValue) const
    {
        return m_bPlain ? matchesPlain(in_strLine, out_strValue)
                        : matchesRegex(in_strLine, out_strValue);
    }

    /// Returns whether a name, used as a regular expression, matches only itself, apart from its
    /// dots.
    static bool isPlainName(std::string_view in_name)
    {
        return std::all_of(in_name.begin(), in_name.end(),
                           [](char in_character)
                           {
                               return ClassicText::isLetter(in_character) ||
                                      ClassicText::isDigit(in_character) || in_character == '_' ||
                                      in_character == '-' || in_character == '.';
                           });
    }

  private:
    bool matchesPlain(const std::string& in_strLine, std::string& out_strValue) const
    {
        if (in_strLine.size() <= m_strName.size())
            return false;
        for (std::size_t i = 0; i < m_strName.size(); ++i)
            if (m_strName[i] != '.' && m_strName[i] != in_strLine[i])
                return false;
        const std::size_t uiEquals = in_strLine.find_first_not_of(' ', m_strName.size());
        if (uiEquals == std::string::npos || in_strLine[uiEquals] != '=')
            return false;
        const std::size_t uiValue = in_strLine.find_first_not_of(' ', uiEquals + 1);
        out_strValue = uiValue == std::string::npos ? "" : in_strLine.substr(uiValue);
        return true;
    }

    bool matchesRegex(const std::string& in_strLine, std::string& out_strValue) const
    {
        boost::smatch matches;
        if (!boost::regex_match(in_strLine, matches, m_regex))
            return false;
        out_strValue = matches[2].str();
        return true;
    }

    std::string m_strName;
    bool m_bPlain;
    boost::regex m_regex;
};

} // namespace Velmora
