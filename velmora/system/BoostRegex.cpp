// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/BoostRegex.h"

namespace Velmora
{

BoostRegex::BoostRegex() = default;
BoostRegex::BoostRegex(const BoostRegex& in_regex) = default;
BoostRegex::~BoostRegex() = default;
BoostRegex& BoostRegex::operator=(const BoostRegex& in_regex) = default;

BoostRegex::BoostRegex(const char* in_szExpression, unsigned int in_uiFlags)
    : m_regex(in_szExpression, in_uiFlags)
{
}

BoostRegex& BoostRegex::assign(const char* in_szExpression, unsigned int in_uiFlags)
{
    m_regex = boost::regex(in_szExpression, in_uiFlags);
    return *this;
}

// Boost's functions must not be called with an expression that was never compiled, so an empty one
// is handled here.

bool BoostRegex::regex_match(const std::string& in_strText, const boost::regex& in_regex)
{
    return !in_regex.empty() && boost::regex_match(in_strText, in_regex);
}

bool BoostRegex::regex_match(const std::string& in_strText, boost::smatch& out_results,
                             const boost::regex& in_regex)
{
    out_results = boost::smatch();
    return !in_regex.empty() && boost::regex_match(in_strText, out_results, in_regex);
}

bool BoostRegex::regex_search(const std::string& in_strText, const boost::regex& in_regex)
{
    return !in_regex.empty() && boost::regex_search(in_strText, in_regex);
}

bool BoostRegex::regex_search(const std::string& in_strText, boost::smatch& out_results,
                              const boost::regex& in_regex)
{
    out_results = boost::smatch();
    return !in_regex.empty() && boost::regex_search(in_strText, out_results, in_regex);
}

} // namespace Velmora
