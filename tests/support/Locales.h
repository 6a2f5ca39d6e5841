// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <locale>
#include <string>

namespace Velmora::Test
{

/// Writes numbers with points between the thousands and a decimal comma. Numbers that are written
/// this way cannot be read back.
class GroupingPunctuation : public std::numpunct<char>
{
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

inline std::locale groupingLocale() { return {std::locale::classic(), new GroupingPunctuation}; }

/// Sets the global locale of the program for a scope.
class GlobalLocale
{
  public:
    explicit GlobalLocale(const std::locale& in_locale = groupingLocale())
        : m_before(std::locale::global(in_locale))
    {
    }
    ~GlobalLocale() { std::locale::global(m_before); }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;

  private:
    std::locale m_before;
};

} // namespace Velmora::Test
