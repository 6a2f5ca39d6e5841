// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/ACE_Date_Time_Helpers.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/Regexx.h"

#include <cstddef>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ACE_Date_Time_Helpers)

namespace Velmora
{

namespace
{

long numberOf(const std::string& in_strDigits)
{
    return std::strtol(in_strDigits.c_str(), nullptr, 10);
}

} // namespace

bool ACE_Date_Time_Helpers::intToDate_Time(int in_iDate, ACE_Date_Time& out_date)
{
    constexpr std::size_t uiNumGroups = 3;
    Regexx rxx("(....)(..)(..)");
    if (rxx.exec(std::to_string(in_iDate)) != 1 || rxx.match[0].atom.size() != uiNumGroups)
    {
        VELMORA_FILE_LOG_DEBUG("Malformed date: " << in_iDate);
        return false;
    }
    out_date.year(numberOf(rxx.match[0].atom[0]));
    out_date.month(numberOf(rxx.match[0].atom[1]));
    out_date.day(numberOf(rxx.match[0].atom[2]));
    return true;
}

bool operator>(const ACE_Date_Time& in_left, const ACE_Date_Time& in_right)
{
    if (in_left.year() != in_right.year())
        return in_left.year() > in_right.year();
    if (in_left.month() != in_right.month())
        return in_left.month() > in_right.month();
    return in_left.day() > in_right.day();
}

std::ostream& operator<<(std::ostream& out_stream, const ACE_Date_Time& in_date)
{
    // Numbers are written as text, so that no locale groups their digits.
    return out_stream << std::to_string(in_date.year()) << std::setw(4)
                      << std::to_string(in_date.month()) << std::setw(2)
                      << std::to_string(in_date.day()) << std::setw(2);
}

} // namespace Velmora
