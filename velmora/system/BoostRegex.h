// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <boost/regex.hpp>

#include <string>

namespace Velmora
{

/// A compiled regular expression of Boost.Regex, with the two operations that the library needs:
/// match and search. Their code is compiled once, in this library.
///
/// Ownership: copies share one compiled form. `assign` gives an object another one and leaves its
/// copies unchanged.
/// Failure: throws `boost::regex_error` for a wrong expression, and `std::runtime_error` for one
/// that is too costly to match. Both derive from `std::exception`. If `assign` throws, the object
/// keeps its expression.
/// Thread-safety: as a value; copies that share a compiled form may be used on any threads.
class VELMORA_API BoostRegex
{
  public:
    /// Constructs an expression that matches nothing.
    BoostRegex();
    BoostRegex(const BoostRegex& in_regex);
    ~BoostRegex();
    BoostRegex& operator=(const BoostRegex& in_regex);

    /// Compiles an expression. The flags are those of `boost::regex`; the default is Perl syntax.
    explicit BoostRegex(const char* in_szExpression,
                        unsigned int in_uiFlags = boost::regex::normal);

    BoostRegex& assign(const char* in_szExpression, unsigned int in_uiFlags = boost::regex::normal);

    /// Returns the compiled form.
    [[nodiscard]] const boost::regex& get() const { return m_regex; }
    operator const boost::regex&() const { return m_regex; }

    /// Returns whether the expression matches the whole text. The results refer to the text.
    [[nodiscard]] static bool regex_match(const std::string& in_strText,
                                          const boost::regex& in_regex);
    static bool regex_match(const std::string& in_strText, boost::smatch& out_results,
                            const boost::regex& in_regex);
    static bool regex_match(std::string&&, boost::smatch&, const boost::regex&) = delete;

    /// Returns whether the expression matches a part of the text. The results refer to the text.
    [[nodiscard]] static bool regex_search(const std::string& in_strText,
                                           const boost::regex& in_regex);
    static bool regex_search(const std::string& in_strText, boost::smatch& out_results,
                             const boost::regex& in_regex);
    static bool regex_search(std::string&&, boost::smatch&, const boost::regex&) = delete;

  private:
    boost::regex m_regex;
};

} // namespace Velmora
