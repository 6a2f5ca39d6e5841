#pragma once

#include "velmora/Export.h"

#include <boost/regex.hpp>

#include <string>

namespace Velmora
{

/// A compiled regular expression of Boost.Regex, and the two questions that the library asks of
/// one. It exists so that the code behind them is compiled once, in this library.
///
/// Ownership: copies share one compiled form; `assign` gives an object another one and leaves the
/// copies as they are.
/// Failure: an expression that is wrong throws `boost::regex_error`, and one that is too costly to
/// match `std::runtime_error`; both are `std::exception`s. An object that failed to be assigned
/// keeps its expression.
/// Thread-safety: as a value; copies that share a compiled form may be used on any threads.
class VELMORA_API BoostRegex
{
  public:
    /// An expression that matches nothing.
    BoostRegex();
    BoostRegex(const BoostRegex& in_regex);
    ~BoostRegex();
    BoostRegex& operator=(const BoostRegex& in_regex);

    /// Compiles an expression. The flags are those of `boost::regex`; without any it is Perl
    /// syntax.
    explicit BoostRegex(const char* in_szExpression,
                        unsigned int in_uiFlags = boost::regex::normal);

    BoostRegex& assign(const char* in_szExpression, unsigned int in_uiFlags = boost::regex::normal);

    /// The compiled form.
    [[nodiscard]] const boost::regex& get() const { return m_regex; }
    operator const boost::regex&() const { return m_regex; }

    /// Whether the expression matches the whole text. The results refer to the text.
    [[nodiscard]] static bool regex_match(const std::string& in_strText,
                                          const boost::regex& in_regex);
    static bool regex_match(const std::string& in_strText, boost::smatch& out_results,
                            const boost::regex& in_regex);
    static bool regex_match(std::string&&, boost::smatch&, const boost::regex&) = delete;

    /// Whether the expression matches anywhere in the text. The results refer to the text.
    [[nodiscard]] static bool regex_search(const std::string& in_strText,
                                           const boost::regex& in_regex);
    static bool regex_search(const std::string& in_strText, boost::smatch& out_results,
                             const boost::regex& in_regex);
    static bool regex_search(std::string&&, boost::smatch&, const boost::regex&) = delete;

  private:
    boost::regex m_regex;
};

} // namespace Velmora
