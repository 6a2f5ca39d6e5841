#pragma once

#include <locale>
#include <string>

namespace Velmora::Test
{

/// Numbers have points between their thousands and a comma before their decimals: what is written
/// that way cannot be read back.
class GroupingPunctuation : public std::numpunct<char>
{
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

inline std::locale groupingLocale() { return {std::locale::classic(), new GroupingPunctuation}; }

/// Makes a locale the one of the program for a scope.
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
