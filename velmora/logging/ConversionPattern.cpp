// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ConversionPattern.h"

#include "velmora/system/ClassicText.h"

#include <log4cplus/helpers/loglog.h>
#include <log4cplus/helpers/socket.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace Velmora
{

namespace
{

using Kind = PatternField::Kind;

class Reader
{
  public:
    Reader(std::string_view in_pattern, int in_iNdcLevels)
        : m_pattern(in_pattern), m_iNdcLevels(in_iNdcLevels)
    {
    }

    std::vector<PatternField> read()
    {
        while (m_uiNext != m_pattern.size())
        {
            const char cSign = m_pattern[m_uiNext++];
            // The last sign is always literal.
            if (cSign != '%' || m_uiNext == m_pattern.size())
                m_strLiteral += cSign;
            else if (m_pattern[m_uiNext] == '%')
                m_strLiteral += m_pattern[m_uiNext++];
            else
            {
                endLiteral();
                readConversion();
            }
        }
        endLiteral();
        if (m_fields.empty())
        {
            report("is empty; each line will be its message alone. Write a pattern such as "
                   "\"%d{%H:%M:%S.%q} %-5p [%t] %c - %m%n\"");
            m_fields.emplace_back().kind = Kind::message;
        }
        return std::move(m_fields);
    }

  private:
    void report(const std::string& in_strWhat) const
    {
        log4cplus::helpers::getLogLog().error("velmora::PatternLayout: the pattern \"" +
                                              std::string(m_pattern) + "\" " + in_strWhat);
    }

    [[nodiscard]] std::string place() const { return " at position " + std::to_string(m_uiNext); }

    void endLiteral()
    {
        if (m_strLiteral.empty())
            return;
        m_fields.emplace_back().strText = std::exchange(m_strLiteral, {});
    }

    /// Reads the digits of a number that fits, and nothing else.
    std::size_t readNumber()
    {
        constexpr std::size_t uiLargest = 1'000'000;
        std::size_t uiNumber = 0;
        while (m_uiNext != m_pattern.size() && ClassicText::isDigit(m_pattern[m_uiNext]))
            uiNumber = std::min(
                uiNumber * 10 + static_cast<std::size_t>(m_pattern[m_uiNext++] - '0'), uiLargest);
        return uiNumber;
    }

    [[nodiscard]] char next() const
    {
        return m_uiNext != m_pattern.size() ? m_pattern[m_uiNext] : '\0';
    }

    /// Reads the rest of a conversion, whose "%" has been read.
    void readConversion()
    {
        const std::size_t uiBegin = m_uiNext - 1;
        PatternField field;
        for (; next() == '-'; ++m_uiNext)
            field.bFillsAtEnd = true;
        if (ClassicText::isDigit(next()))
            field.uiLeast = readNumber();
        if (next() == '.')
        {
            ++m_uiNext;
            for (; next() == '-'; ++m_uiNext)
                field.bLosesEnd = true;
            if (!ClassicText::isDigit(next()))
            {
                if (m_uiNext != m_pattern.size())
                    ++m_uiNext;
                report("has no number behind the \".\"" + place() +
                       ", so this part is written as it is. Write \"%.30c\" for at most 30 bytes");
                m_strLiteral = m_pattern.substr(uiBegin, m_uiNext - uiBegin);
                return;
            }
            field.uiMost = readNumber();
        }
        if (m_uiNext == m_pattern.size())
        {
            m_strLiteral = m_pattern.substr(uiBegin);
            return;
        }
        const char cConversion = m_pattern[m_uiNext++];
        if (!setKind(field, cConversion))
        {
            field = PatternField();
            field.strText = m_pattern.substr(uiBegin, m_uiNext - uiBegin);
            report("has the unknown conversion \"" + field.strText + "\"" + place() +
                   ", which is written as it is. Write \"%%\" for a percent sign");
        }
        m_fields.push_back(std::move(field));
    }

    bool setKind(PatternField& out_field, char in_cConversion)
    {
        switch (in_cConversion)
        {
        case 'b':
            out_field.kind = Kind::baseName;
            return true;
        case 'c':
            out_field.kind = Kind::logger;
            out_field.iPrecision = std::atoi(readOption().c_str());
            return true;
        case 'd':
        case 'D':
        {
            out_field.kind = Kind::date;
            const std::string strFormat = readOption();
            out_field.date.emplace(strFormat.empty() ? "%Y-%m-%d %H:%M:%S" : strFormat,
                                   in_cConversion == 'd' ? DateFormat::Zone::utc
                                                         : DateFormat::Zone::local);
            return true;
        }
        case 'E':
            out_field.kind = Kind::environment;
            out_field.strText = readOption();
            return true;
        case 'F':
            out_field.kind = Kind::file;
            return true;
        case 'h':
        case 'H':
            out_field.kind = Kind::hostName;
            out_field.strText = log4cplus::helpers::getHostname(in_cConversion == 'H');
            return true;
        case 'i':
            out_field.kind = Kind::processId;
            return true;
        case 'l':
            out_field.kind = Kind::location;
            return true;
        case 'L':
            out_field.kind = Kind::line;
            return true;
        case 'm':
            out_field.kind = Kind::message;
            return true;
        case 'M':
            out_field.kind = Kind::function;
            return true;
        case 'n':
            out_field.kind = Kind::newline;
            return true;
        case 'p':
            out_field.kind = Kind::level;
            return true;
        case 'r':
            out_field.kind = Kind::relativeTime;
            return true;
        case 't':
            out_field.kind = Kind::thread;
            return true;
        case 'T':
            out_field.kind = Kind::otherThread;
            return true;
        case 'x':
            out_field.kind = Kind::ndc;
            out_field.iPrecision = m_iNdcLevels;
            return true;
        case 'X':
            out_field.kind = Kind::mdc;
            out_field.strText = readOption();
            return true;
        default:
            return false;
        }
    }

    /// Reads the option in braces behind a conversion; an empty text if there is none.
    std::string readOption()
    {
        if (next() != '{')
            return {};
        const std::size_t uiEnd = m_pattern.find('}', m_uiNext);
        if (uiEnd == std::string_view::npos)
        {
            report("has a \"{\"" + place() + " and no \"}\" behind it; the rest is left out");
            m_uiNext = m_pattern.size();
            return {};
        }
        std::string strOption(m_pattern.substr(m_uiNext + 1, uiEnd - m_uiNext - 1));
        m_uiNext = uiEnd + 1;
        return strOption;
    }

    std::string_view m_pattern;
    int m_iNdcLevels;
    std::size_t m_uiNext = 0;
    std::string m_strLiteral;
    std::vector<PatternField> m_fields;
};

} // namespace

std::vector<PatternField> readConversionPattern(std::string_view in_pattern, int in_iNdcLevels)
{
    return Reader(in_pattern, in_iNdcLevels).read();
}

} // namespace Velmora
