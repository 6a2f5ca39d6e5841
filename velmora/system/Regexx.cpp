// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/Regexx.h"

#include <cstddef>

namespace Velmora
{

namespace
{

Regexx::Match copyOf(const boost::smatch& in_found)
{
    Regexx::Match match;
    match.str = in_found.str();
    match.start = static_cast<unsigned long>(in_found.position());
    for (std::size_t i = 1; i < in_found.size(); ++i)
        match.atom.push_back(in_found.str(static_cast<int>(i)));
    return match;
}

} // namespace

Regexx::Regexx(const char* in_szExpression) : m_regex(in_szExpression) {}

unsigned long Regexx::exec(const std::string& in_strText)
{
    match.clear();
    const boost::sregex_iterator end;
    for (boost::sregex_iterator i(in_strText.begin(), in_strText.end(), m_regex,
                                  boost::match_single_line);
         i != end; ++i)
        match.push_back(copyOf(*i));
    return match.size();
}

std::string Regexx::replace(const std::string& in_strText,
                            const std::string& in_strReplacement) const
{
    return boost::regex_replace(in_strText, m_regex.get(), in_strReplacement,
                                boost::match_single_line | boost::regex_constants::format_literal);
}

} // namespace Velmora
