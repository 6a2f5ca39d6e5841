// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/LinePlace.h"
#include "velmora/config/LoadProblems.h"
#include "velmora/config/ParameterValue.h"

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velmora
{

/// Where the lines of a load are: its sources, and the place of the line that is being read.
///
/// It remembers the places of few lines only. When a parameter is redefined, or a deprecated one is
/// found, it looks once through the texts of all sources for the lines that define parameters, and
/// keeps their places from then on. A configuration without such a line costs nothing more.
///
/// Ownership: the texts of the sources must outlive the object.
/// Thread-safety: none.
class ReadingContext
{
  public:
    /// Receives what the replacement of tags would log. With such an object, nothing is logged.
    class TagReports
    {
      public:
        virtual ~TagReports() = default;

        /// A tag names a parameter that is not a STRING, so an empty text replaces it.
        virtual void tagOfNoString(const std::string& in_strName, ParameterValue::Type in_type) = 0;
        /// A line becomes too long with its tags replaced.
        virtual void lineTooLong() = 0;
        /// A waiting line is no parameter with its tags replaced.
        virtual void resolvedToNoParameter(const std::string& in_strLine) = 0;
    };

    /// Both pointers may be null.
    explicit ReadingContext(LoadProblems* in_pProblems = nullptr,
                            TagReports* in_pTagReports = nullptr)
        : m_pProblems(in_pProblems), m_pTagReports(in_pTagReports)
    {
    }

    /// Begins a source. The name is empty for a stream. The text is empty if it cannot be looked at
    /// again.
    void beginSource(std::string_view in_name, std::string_view in_text, char in_cDelimiter);

    /// The next line is being read.
    void advanceTo(unsigned long in_uiLine)
    {
        m_current.uiLine = static_cast<std::uint32_t>(in_uiLine);
        m_uiRead = m_current.uiLine;
    }
    /// A line that was read before is being processed.
    void returnTo(LinePlace in_place) { m_current = in_place; }
    [[nodiscard]] LinePlace current() const { return m_current; }

    /// The line defines nothing, or waits.
    void exclude(LinePlace in_place) { m_excluded.insert(in_place); }
    /// The current line has defined a parameter, although it does not begin with that name or was
    /// excluded.
    void define(std::string_view in_name);
    /// The current line has defined a parameter.
    void noteDefinition(std::string_view in_name)
    {
        if (m_bLooked) [[unlikely]]
            define(in_name);
    }

    /// Returns the place of the line that defined a parameter last, before the current line. The
    /// place is not known if no line of this load did.
    [[nodiscard]] LinePlace definitionOf(std::string_view in_name);

    /// Returns a place as in "etc/gateway.cfg:12", or "line 12" in a stream.
    [[nodiscard]] std::string textOf(LinePlace in_place) const;
    /// Returns a line of the log about a place: the place and what to write. Empty if the place is
    /// not known.
    [[nodiscard]] std::string lineAbout(LinePlace in_place, std::string_view in_advice) const;

    [[nodiscard]] const std::string& nameOf(LinePlace in_place) const
    {
        return m_sources[in_place.uiSource].strName;
    }

    [[nodiscard]] LoadProblems* problems() const { return m_pProblems; }
    [[nodiscard]] TagReports* tagReports() const { return m_pTagReports; }

  private:
    struct Source
    {
        std::string strName;
        std::string_view text;
        char cDelimiter;
        /// The number of lines that were read.
        std::uint32_t uiRead;
    };

    /// Fills `m_definitions`.
    void look();
    void look(std::uint32_t in_uiSource);

    LoadProblems* m_pProblems;
    TagReports* m_pTagReports;
    std::vector<Source> m_sources;
    LinePlace m_current;
    /// The number of lines of the current source that were read.
    std::uint32_t m_uiRead = 0;
    std::set<LinePlace> m_excluded;
    /// The places of the lines that defined parameters: of few, until `m_bLooked`.
    std::unordered_map<std::string, LinePlace> m_definitions;
    bool m_bLooked = false;
};

} // namespace Velmora

/// Logs the place of the current line of a context, and what to write there, right behind a line
/// about it. Logs nothing if the place is not known. `name` is the unknown name that the line is
/// about, or empty.
#define VELMORA_LOG_ADVICE(context, level, name, advice)                                   \
    do                                                                                     \
    {                                                                                      \
        if ((context).current().known())                                                   \
            VELMORA_LOG_PROBLEM_OF_NAME((context).problems(), level, name,                 \
                                        (context).lineAbout((context).current(), advice)); \
    } while (false)
