// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/RollSchedule.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <tuple>
#include <utility>

namespace Velmora
{

namespace
{

using Every = RollSchedule::Every;
using log4cplus::helpers::Time;

std::tm localTimeOf(Time in_time)
{
    const std::time_t seconds = log4cplus::helpers::to_time_t(in_time);
    std::tm local = {};
    localtime_r(&seconds, &local);
    return local;
}

/// Returns the time of a day, given by its date, at an hour.
Time timeOf(std::tm in_date, int in_iHour)
{
    in_date.tm_sec = 0;
    in_date.tm_min = 0;
    in_date.tm_hour = in_iHour;
    // Whether clocks are set forward is up to the date.
    in_date.tm_isdst = -1;
    return log4cplus::helpers::from_time_t(std::mktime(&in_date));
}

int daysSinceMonday(const std::tm& in_date) { return (in_date.tm_wday + 6) % 7; }

/// The first and the following moment of a period.
using Bounds = std::pair<Time, Time>;

Bounds boundsOfSeconds(Time in_time, std::chrono::seconds in_sinceBegin,
                       std::chrono::seconds in_length)
{
    const Time begin = std::chrono::time_point_cast<std::chrono::seconds>(in_time) - in_sinceBegin;
    return {begin, begin + in_length};
}

Bounds boundsOf(Every in_every, Time in_time)
{
    const std::tm now = localTimeOf(in_time);
    std::tm begin = now;
    std::tm end = now;
    switch (in_every)
    {
    case Every::month:
        begin.tm_mday = end.tm_mday = 1;
        ++end.tm_mon;
        break;
    case Every::week:
        begin.tm_mday -= daysSinceMonday(now);
        end.tm_mday = begin.tm_mday + 7;
        break;
    case Every::day:
        ++end.tm_mday;
        break;
    case Every::halfDay:
        if (now.tm_hour < 12)
            return {timeOf(begin, 0), timeOf(end, 12)};
        ++end.tm_mday;
        return {timeOf(begin, 12), timeOf(end, 0)};
    case Every::hour:
        // Not by the calendar: an hour may come twice.
        return boundsOfSeconds(in_time, std::chrono::seconds(60 * now.tm_min + now.tm_sec),
                               std::chrono::hours(1));
    case Every::minute:
        return boundsOfSeconds(in_time, std::chrono::seconds(now.tm_sec), std::chrono::minutes(1));
    }
    return {timeOf(begin, 0), timeOf(end, 0)};
}

const char* formatOf(Every in_every)
{
    switch (in_every)
    {
    case Every::month:
        return "%Y-%m";
    case Every::week:
        return "%Y-%W";
    case Every::day:
        return "%Y-%m-%d";
    case Every::halfDay:
        return "%Y-%m-%d-";
    case Every::hour:
        return "%Y-%m-%d-%H";
    case Every::minute:
        return "%Y-%m-%d-%H-%M";
    }
    return "";
}

} // namespace

std::optional<Every> RollSchedule::parse(std::string_view in_text)
{
    static constexpr std::array<std::pair<std::string_view, Every>, 6> names{
        {{"MONTHLY", Every::month},
         {"WEEKLY", Every::week},
         {"DAILY", Every::day},
         {"TWICE_DAILY", Every::halfDay},
         {"HOURLY", Every::hour},
         {"MINUTELY", Every::minute}}};
    std::string strUpper(in_text);
    std::transform(strUpper.begin(), strUpper.end(), strUpper.begin(),
                   [](char in_c) { return in_c >= 'a' && in_c <= 'z' ? char(in_c - 32) : in_c; });
    const auto found =
        std::find_if(names.begin(), names.end(),
                     [&strUpper](const auto& in_name) { return in_name.first == strUpper; });
    return found != names.end() ? std::optional(found->second) : std::nullopt;
}

void RollSchedule::moveTo(Time in_time) { std::tie(m_begin, m_end) = boundsOf(m_every, in_time); }

std::string RollSchedule::getName() const
{
    const std::tm begin = localTimeOf(m_begin);
    std::array<char, 64> text{};
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): all formats are in this file.
    std::strftime(text.data(), text.size(), formatOf(m_every), &begin);
    std::string strName = text.data();
    // "%p" is empty in some locales.
    if (m_every == Every::halfDay)
        strName += begin.tm_hour < 12 ? "AM" : "PM";
    return strName;
}

} // namespace Velmora
