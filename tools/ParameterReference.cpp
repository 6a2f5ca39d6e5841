// SPDX-License-Identifier: BSD-2-Clause

// Writes the reference of all known parameters to a file, in Markdown:
//
//     parameter-reference <file>

#include "velmora/config/ParameterInfoDB.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

using namespace Velmora;

/// Orders names and groups without regard to case, so that upper case does not come before lower
/// case.
struct LessIgnoringCase
{
    bool operator()(std::string_view in_left, std::string_view in_right) const
    {
        return std::lexicographical_compare(
            in_left.begin(), in_left.end(), in_right.begin(), in_right.end(),
            [](unsigned char in_cLeft, unsigned char in_cRight)
            { return std::tolower(in_cLeft) < std::tolower(in_cRight); });
    }
};

using Group = std::vector<ParameterInfoWithName>;
using Groups = std::map<std::string, Group, LessIgnoringCase>;

/// The introduction of each group. A group that is not listed here has none.
constexpr std::pair<std::string_view, std::string_view> s_groupTexts[] = {
    {"keswardin", "The process itself."},
    {"keswardin.b2bua", "Calls that the program joins itself, as a back-to-back user agent."},
    {"keswardin.cpa", "Call progress analysis: who or what answered an outgoing call."},
    {"keswardin.cpd", "Call progress detection on voice boards."},
    {"keswardin.curl", "Transfers from web servers."},
    {"keswardin.gw", "The gateway: calls between SIP and PSTN, their routing and their recording."},
    {"keswardin.infra", "Logging, call log files, assertions and crashes."},
    {"keswardin.Installation", "Where the application is installed."},
    {"keswardin.math", "Evaluation of expressions."},
    {"keswardin.media", "Audio of calls: media engines, tones, echo cancellers."},
    {"keswardin.media.dialogic", "Media on voice boards: their devices and echo cancellers."},
    {"keswardin.media.hostbased", "The media engine that runs on the host: its jitter buffer."},
    {"keswardin.media.kt", "The media board: its network, time slots and jitter buffer."},
    {"keswardin.media.kt.ec",
     "The media board's echo canceller and its switching off at tones. Without "
     "a value, the board's own setting holds."},
    {"keswardin.media.kt.ec.advancedParms", "Fine tuning of the media board's echo canceller. Rin "
                                            "is the signal from the far end, Rout what "
                                            "is played to the line, Sin what comes from the line "
                                            "and Sout the signal to the far end. Without "
                                            "a value, the board's own setting holds."},
    {"keswardin.media.pika",
     "Media on boards with analog lines: their echo cancellers and buffers."},
    {"keswardin.media.rtp", "RTP sessions: addresses, packets, jitter buffer, telephone events, "
                            "comfort noise."},
    {"keswardin.mem", "Reports of memory leaks."},
    {"keswardin.net", "The network in general."},
    {"keswardin.oam", "The web service for operation, administration and maintenance."},
    {"keswardin.oamWebServer", "The web server for operation, administration and maintenance."},
    {"keswardin.pstn", "Calls over the telephone network: levels, states, files."},
    {"keswardin.pstn.BoardSimulator", "The simulation of a board, for tests."},
    {"keswardin.pstn.cpa", "Call progress analysis on PSTN calls: answering machines."},
    {"keswardin.pstn.dialogic", "Voice boards: calls, ISDN, files and logs of their driver."},
    {"keswardin.pstn.pika", "Boards with analog lines: timing and caller's number."},
    {"keswardin.python", "The embedded Python interpreter."},
    {"keswardin.recorder", "The recorder of calls."},
    {"keswardin.registry", "Texts that drivers look up by name."},
    {"keswardin.rtp", "What RTP sessions offer."},
    {"keswardin.run", "How the application runs."},
    {"keswardin.sip", "SIP signalling."},
    {"keswardin.sipIsdnMessageMapping", "How SIP and ISDN messages correspond."},
    {"keswardin.startup", "What is done when the application starts."},
    {"keswardin.system", "Monitoring of the machine."},
    {"keswardin.test", "Test programs."},
    {"keswardin.thread", "Threads and time."},
    {"keswardin.tsrecorder", "The recorder of time slots."},
    {"keswardin.voip", "VoIP in general."},
    {"keswardin.webserver", "The web server of the application."},
};

/// The unit for each ending of a name. A longer ending comes before one that it ends with.
constexpr std::pair<std::string_view, std::string_view> s_units[] = {
    {"Bytes", "bytes"}, {"Msec", "ms"}, {"Sec", "s"}, {"Ms", "ms"}, {"Us", "µs"},
    {"MB", "MB"},       {"dB", "dB"},   {"DB", "dB"}, {"Db", "dB"},
};

/// A group with more parameters than this is divided by one more component of the names. Divisions
/// with fewer parameters than the smallest division stay in the group.
constexpr std::size_t s_uiLargestGroup = 25;
constexpr std::size_t s_uiSmallestDivision = 4;

/// Returns the given number of components of a name from its beginning, but never the last one.
std::string prefixOf(const std::string& in_strName, int in_iComponents)
{
    std::size_t uiEnd = 0;
    for (std::size_t uiDot = in_strName.find('.'); uiDot != std::string::npos && in_iComponents > 0;
         uiDot = in_strName.find('.', uiDot + 1), --in_iComponents)
        uiEnd = uiDot;
    return in_strName.substr(0, uiEnd);
}

void divide(const std::string& in_strPrefix, const Group& in_group, int in_iComponents,
            Groups& out_groups)
{
    Groups divisions;
    for (const ParameterInfoWithName& info : in_group)
        divisions[prefixOf(info.m_strName, in_iComponents)].push_back(info);
    for (const auto& [strPrefix, division] : divisions)
    {
        Group& rest = out_groups[in_strPrefix];
        // The prefix is the same for names without a further component.
        if (strPrefix == in_strPrefix || division.size() < s_uiSmallestDivision)
            rest.insert(rest.end(), division.begin(), division.end());
        else if (division.size() > s_uiLargestGroup)
            divide(strPrefix, division, in_iComponents + 1, out_groups);
        else
            out_groups[strPrefix] = division;
    }
}

void sortByName(Group& inout_group)
{
    std::sort(inout_group.begin(), inout_group.end(),
              [](const ParameterInfoWithName& in_left, const ParameterInfoWithName& in_right)
              { return LessIgnoringCase()(in_left.m_strName, in_right.m_strName); });
}

Groups collectGroups()
{
    Group all;
    ParameterInfoDB::getInstance().retrieve(".", all);
    Groups byPrefix;
    for (const ParameterInfoWithName& info : all)
        byPrefix[prefixOf(info.m_strName, 2)].push_back(info);
    Groups groups;
    for (const auto& [strPrefix, group] : byPrefix)
    {
        if (group.size() > s_uiLargestGroup)
            divide(strPrefix, group, 3, groups);
        else
            groups[strPrefix] = group;
    }
    for (auto& [strPrefix, group] : groups)
        sortByName(group);
    return groups;
}

template <std::size_t Size>
std::string_view textOf(const std::pair<std::string_view, std::string_view> (&in_texts)[Size],
                        std::string_view in_strGroup)
{
    const auto* const pFound =
        std::find_if(std::begin(in_texts), std::end(in_texts),
                     [in_strGroup](const auto& in_text) { return in_text.first == in_strGroup; });
    return pFound != std::end(in_texts) ? pFound->second : std::string_view();
}

std::string_view unitOf(const ParameterInfoWithName& in_info)
{
    // Only numbers have units: other names may have such an ending by chance.
    if (in_info.m_type != ParameterValue::INT_TYPE && in_info.m_type != ParameterValue::FLOAT_TYPE)
        return {};
    const auto* const pFound = std::find_if(std::begin(s_units), std::end(s_units),
                                            [&in_info](const auto& in_unit)
                                            { return in_info.m_strName.ends_with(in_unit.first); });
    return pFound != std::end(s_units) ? pFound->second : std::string_view();
}

/// Returns the text of a table cell. Bars are escaped, because a bar would begin the next cell.
std::string cell(std::string_view in_strText)
{
    std::string strResult;
    for (const char character : in_strText)
    {
        if (character == '|')
            strResult += '\\';
        strResult += character;
    }
    return strResult;
}

std::string defaultOf(const ParameterInfo& in_info)
{
    if (!in_info.m_defaultValue.defined())
        return "";
    std::ostringstream text;
    text << in_info.m_defaultValue;
    // A float without a fraction is printed without a point, and would read as an INT.
    if (in_info.m_type == ParameterValue::FLOAT_TYPE && text.str().find('.') == std::string::npos)
        text << ".0";
    return text.str().empty() ? "empty text" : '`' + text.str() + '`';
}

std::string remarksOn(const ParameterInfo& in_info)
{
    std::string strResult;
    if (in_info.m_bDeprecated)
        strResult += "**Deprecated.** ";
    if (in_info.m_bRunTimeSettable)
        strResult += "**Settable at run time.** ";
    return strResult + cell(in_info.m_strDescription);
}

void writeIntroduction(std::ostream& out_stream, const Groups& in_groups)
{
    std::size_t uiCount = 0;
    for (const auto& [strGroup, group] : in_groups)
        uiCount += group.size();
    out_stream << R"(# Parameters

<!-- Written by scripts/parameter-reference from velmora/config/ParamDefsTable.h; changes made here are lost. -->

These are the )"
               << uiCount << R"( parameters that a configuration may set, in alphabetical order.
A line of a configuration file sets one, as in `keswardin.gw.ringTimeoutMs = 45000`. For a name that is not listed, a
warning names the closest one that is.

| Type | What a value looks like |
|---|---|
| STRING | any text |
| INT | a whole number of 32 bits: decimal, hexadecimal with `0x`, octal with a leading `0` |
| BOOL | `true` or `false` |
| FLOAT | a number with a point or an exponent; a whole number is taken as well |

- A parameter without a default has no value until it is set. Its description says what the program does without it.
- Values are read when the program starts. A parameter that is **settable at run time** can be changed later.
- A program does not start with a **deprecated** parameter in its configuration; a warning says what to use instead.
  Descriptions name parameters without the leading `keswardin.`.
- The end of a name gives the unit, as in `ringTimeoutMs`.

| Group | Parameters | |
|---|---|---|
)";
    // The anchor of a heading has no dots and no upper case.
    for (const auto& [strGroup, group] : in_groups)
    {
        std::string strAnchor;
        for (const unsigned char character : strGroup)
            if (character != '.')
                strAnchor += static_cast<char>(std::tolower(character));
        out_stream << "| [" << strGroup << "](#" << strAnchor << ") | " << group.size() << " | "
                   << textOf(s_groupTexts, strGroup) << " |\n";
    }
}

void writeGroup(std::ostream& out_stream, const std::string& in_strGroup, const Group& in_group)
{
    out_stream << "\n## " << in_strGroup << "\n\n";
    if (const std::string_view strText = textOf(s_groupTexts, in_strGroup); !strText.empty())
        out_stream << strText << "\n\n";
    out_stream << "| Parameter | Type | Unit | Default | Description |\n|---|---|---|---|---|\n";
    for (const ParameterInfoWithName& info : in_group)
        out_stream << "| `" << info.m_strName << "` | "
                   << ParameterValue::getTypeAsString(info.m_type) << " | " << unitOf(info) << " | "
                   << cell(defaultOf(info)) << " | " << remarksOn(info) << " |\n";
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "Usage : parameter-reference <file>\n";
        return 2;
    }
    std::ofstream file(argv[1]);
    const Groups groups = collectGroups();
    writeIntroduction(file, groups);
    for (const auto& [strGroup, group] : groups)
        writeGroup(file, strGroup, group);
    file.close();
    if (!file)
    {
        std::cerr << "parameter-reference: cannot write " << argv[1] << '\n';
        return 1;
    }
    return 0;
}
