// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmJournalText.h"

#include "velmora/logging/DateFormat.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/logging/JsonText.h"
#include "velmora/logging/LineBuffer.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <type_traits>

namespace Velmora::AlarmJournalText
{

namespace
{

using Content = AlarmJournalTypes::Content;
using Shelving = AlarmJournalTypes::Shelving;
using State = AlarmJournalTypes::State;

/// The times of a text, in RFC 3339.
class Times
{
  public:
    std::string operator()(AlarmJournalTypes::WallTime in_time)
    {
        std::string strText;
        m_format.append(strText,
                        std::chrono::time_point_cast<log4cplus::helpers::Time::duration>(in_time));
        return strText;
    }

  private:
    DateFormat m_format{"%Y-%m-%dT%H:%M:%S.%qZ", DateFormat::Zone::utc};
};

const char* nameOfShelving(Shelving in_shelving)
{
    switch (in_shelving)
    {
    case Shelving::no:
        return "no";
    case Shelving::byOperator:
        return "operator";
    case Shelving::flapping:
        return "flapping";
    }
    return "?";
}

std::string nameOfSeverity(Alarm::Severity in_severity)
{
    switch (static_cast<int>(in_severity))
    {
    case FATAL_LOG_LEVEL:
        return "FATAL";
    case Alarm::ERROR_SEVERITY:
        return "ERROR";
    case Alarm::WARN_SEVERITY:
        return "WARN";
    case Alarm::INFO_SEVERITY:
        return "INFO";
    case Alarm::DEBUG_SEVERITY:
        return "DEBUG";
    default:
        return std::to_string(in_severity);
    }
}

/// Writes objects and lists of JSON. The caller takes care of their nesting.
class JsonWriter
{
  public:
    void begin(char in_cBracket)
    {
        separate();
        m_json.append(in_cBracket);
        m_bFirst = true;
    }
    void end(char in_cBracket)
    {
        m_json.append(in_cBracket);
        m_bFirst = false;
    }
    /// Begins a field, whose value follows.
    void key(std::string_view in_key)
    {
        text(in_key);
        m_json.append(':');
        m_bFirst = true;
    }
    void text(std::string_view in_text)
    {
        separate();
        m_json.append('"');
        appendJsonText(m_json, in_text);
        m_json.append('"');
    }
    void field(std::string_view in_key, std::string_view in_value)
    {
        key(in_key);
        text(in_value);
    }
    template <class Number>
    requires std::is_integral_v<Number>
    void field(std::string_view in_key, Number in_value)
    {
        key(in_key);
        separate();
        if constexpr (std::is_same_v<Number, bool>)
            m_json.append(in_value ? "true" : "false");
        else
            m_json.append(std::to_string(in_value));
    }
    /// Writes a field with a list, for each item of which the function writes an object.
    template <class Items, class Write>
    void list(std::string_view in_key, const Items& in_items, Write in_write)
    {
        key(in_key);
        begin('[');
        for (const auto& item : in_items)
        {
            begin('{');
            in_write(item);
            end('}');
        }
        end(']');
    }

    [[nodiscard]] std::string line() const { return std::string(m_json.text()) + '\n'; }

  private:
    /// Writes the comma in front of a value, unless it is the first one or that of a field.
    void separate()
    {
        if (!m_bFirst)
            m_json.append(',');
        m_bFirst = false;
    }

    LineBuffer m_json;
    bool m_bFirst = true;
};

/// Lines for people.
class Lines
{
  public:
    Lines& operator<<(std::string_view in_text)
    {
        m_strText += in_text;
        return *this;
    }
    template <class Number>
    requires std::is_integral_v<Number> Lines& operator<<(Number in_number)
    {
        m_strText += std::to_string(in_number);
        return *this;
    }
    /// Writes a text that comes from outside.
    Lines& escaped(std::string_view in_text)
    {
        EscapedText::append(m_strText, in_text);
        return *this;
    }

    std::string m_strText;
};

/// Returns what to do about an alarm, or null if no one has described it.
const std::string* actionFor(const Content& in_content, const std::string& in_strId)
{
    const auto found = std::lower_bound(
        in_content.inventory.begin(), in_content.inventory.end(), in_strId,
        [](const AlarmJournalTypes::Description& in_description, const std::string& in_strOther)
        { return in_description.strId < in_strOther; });
    const bool bFound = found != in_content.inventory.end() && found->strId == in_strId;
    return bFound && found->bDescribed ? &found->strAction : nullptr;
}

void writeAlarm(Lines& out_lines, const AlarmJournalTypes::Entry& in_alarm, Times& inout_times)
{
    out_lines << nameOfSeverity(in_alarm.severity) << " ";
    out_lines.escaped(in_alarm.strId);
    out_lines << " : " << nameOf(in_alarm.state) << " since " << inout_times(in_alarm.since) << ", "
              << in_alarm.duration.count() / 1000 << " s, on " << in_alarm.ulTimesOn
              << " time(s), changed " << in_alarm.ulChanges << " time(s)";
    if (in_alarm.shelving != Shelving::no)
        out_lines << ", shelved : " << nameOfShelving(in_alarm.shelving);
    out_lines << "\n    ";
    out_lines.escaped(in_alarm.strText) << "\n";
}

} // namespace

const char* nameOf(State in_state)
{
    switch (in_state)
    {
    case State::off:
        return "off";
    case State::on:
        return "on";
    case State::outOfService:
        return "out-of-service";
    case State::removed:
        return "removed";
    }
    return "?";
}

std::string text(const Content& in_content)
{
    Times times;
    Lines lines;
    lines << "Alarms at " << times(in_content.time) << ", after " << in_content.summary.ulChanges
          << " change(s)\n";
    for (const AlarmJournalTypes::SeverityCount& count : in_content.summary.counts)
        lines << nameOfSeverity(count.severity) << " : " << count.uiOn << " on, " << count.uiOff
              << " off, " << count.uiShelved << " shelved\n";
    lines << "\nAlarms that are on or shelved\n";
    for (const AlarmJournalTypes::Entry& alarm : in_content.alarms)
    {
        const bool bOn = alarm.state == State::on || alarm.state == State::outOfService;
        if (!bOn && alarm.shelving == Shelving::no)
            continue;
        writeAlarm(lines, alarm, times);
        const std::string* const pAction = actionFor(in_content, alarm.strId);
        lines << "    What to do : ";
        lines.escaped(pAction != nullptr ? *pAction : "not described") << "\n";
    }
    lines << "\nLast changes\n";
    for (const AlarmJournalTypes::Change& change : in_content.history)
    {
        lines << times(change.time) << " ";
        lines.escaped(change.strId) << " : " << nameOf(change.state) << "\n";
    }
    lines << "\nAlarms that can go on\n";
    for (const AlarmJournalTypes::Description& description : in_content.inventory)
    {
        lines << nameOfSeverity(description.severity) << " ";
        lines.escaped(description.strId) << " : ";
        lines.escaped(description.strCause) << "\n    What to do : ";
        lines.escaped(description.bDescribed ? description.strAction : "not described") << "\n";
    }
    return std::move(lines.m_strText);
}

std::string json(const Content& in_content)
{
    Times times;
    JsonWriter json;
    json.begin('{');
    json.field("time", times(in_content.time));
    json.field("changes", in_content.summary.ulChanges);
    json.list("summary", in_content.summary.counts,
              [&](const AlarmJournalTypes::SeverityCount& in_count)
              {
                  json.field("severity", nameOfSeverity(in_count.severity));
                  json.field("on", in_count.uiOn);
                  json.field("off", in_count.uiOff);
                  json.field("shelved", in_count.uiShelved);
              });
    json.list("alarms", in_content.alarms,
              [&](const AlarmJournalTypes::Entry& in_alarm)
              {
                  json.field("id", in_alarm.strId);
                  json.field("severity", nameOfSeverity(in_alarm.severity));
                  json.field("state", nameOf(in_alarm.state));
                  json.field("since", times(in_alarm.since));
                  json.field("duration_ms", in_alarm.duration.count());
                  json.field("times_on", in_alarm.ulTimesOn);
                  json.field("changes", in_alarm.ulChanges);
                  json.field("shelved", nameOfShelving(in_alarm.shelving));
                  json.field("text", in_alarm.strText);
              });
    json.list("history", in_content.history,
              [&](const AlarmJournalTypes::Change& in_change)
              {
                  json.field("time", times(in_change.time));
                  json.field("id", in_change.strId);
                  json.field("state", nameOf(in_change.state));
              });
    json.list("inventory", in_content.inventory,
              [&](const AlarmJournalTypes::Description& in_description)
              {
                  json.field("id", in_description.strId);
                  json.field("severity", nameOfSeverity(in_description.severity));
                  json.field("cause", in_description.strCause);
                  json.field("action", in_description.strAction);
                  json.field("described", in_description.bDescribed);
              });
    json.end('}');
    return json.line();
}

} // namespace Velmora::AlarmJournalText
