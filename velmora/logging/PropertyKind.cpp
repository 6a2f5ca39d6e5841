// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/PropertyKind.h"

#include "velmora/config/ParameterValue.h"
#include "velmora/logging/RollSchedule.h"

#include <log4cplus/helpers/property.h>
#include <log4cplus/helpers/stringhelper.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/spi/factory.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <locale>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Velmora
{

namespace
{

constexpr std::uint64_t s_uiLargestBuffer = std::uint64_t{64} * 1024 * 1024;

/// Reads a whole number at the beginning of a text, and removes it from the text. Returns false,
/// and changes nothing, if there is none.
template <class Number>
bool takeNumber(std::string_view& inout_text, Number& out_number, int in_iBase)
{
    const auto [pRest, error] = std::from_chars(
        inout_text.data(), inout_text.data() + inout_text.size(), out_number, in_iBase);
    if (error != std::errc())
        return false;
    inout_text.remove_prefix(static_cast<std::size_t>(pRest - inout_text.data()));
    return true;
}

bool isEqual(std::string_view in_text, std::string_view in_upper)
{
    return std::equal(in_text.begin(), in_text.end(), in_upper.begin(), in_upper.end(),
                      [](char in_c, char in_cUpper) {
                          return in_c == in_cUpper ||
                                 (in_cUpper >= 'A' && in_cUpper <= 'Z' && in_c == in_cUpper + 32);
                      });
}

/// Returns the number of bytes in a unit; 0 if the text is no unit.
std::uint64_t bytesIn(std::string_view in_unit)
{
    static constexpr std::array<std::pair<std::string_view, std::uint64_t>, 4> units{
        {{"", 1}, {"KB", 1024}, {"MB", 1024 * 1024}, {"GB", 1024 * 1024 * 1024}}};
    const auto found = std::find_if(units.begin(), units.end(),
                                    [in_unit](const auto& in_candidate)
                                    { return isEqual(in_unit, in_candidate.first); });
    return found != units.end() ? found->second : 0;
}

/// Returns whether log4cplus reads the value as a value of the type.
template <class T>
bool isReadAs(bool (log4cplus::helpers::Properties::*in_get)(T&, const log4cplus::tstring&) const,
              const std::string& in_strValue, T& out_value)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("", in_strValue);
    return (properties.*in_get)(out_value, "");
}

bool isBool(const std::string& in_strValue)
{
    bool bValue = false;
    return isReadAs(&log4cplus::helpers::Properties::getBool, in_strValue, bValue);
}

bool isInteger(const std::string& in_strValue)
{
    int iValue = 0;
    return isReadAs(&log4cplus::helpers::Properties::getInt, in_strValue, iValue);
}

bool isNatural(const std::string& in_strValue)
{
    unsigned int uiValue = 0;
    return PropertyKind::parseNatural(in_strValue, uiValue);
}

bool isPositive(const std::string& in_strValue)
{
    int iValue = 0;
    // An empty text leaves the default.
    return in_strValue.empty() || PropertyKind::parsePositive(in_strValue, iValue);
}

bool isNumberOfBackups(const std::string& in_strValue)
{
    unsigned int uiValue = 0;
    return PropertyKind::parseNatural(in_strValue, uiValue) && uiValue > 0;
}

using ReadLevel = log4cplus::StringToLogLevelMethod;

/// Gives access to the functions that read the names of levels, which are private. Not in
/// `Log4cplusAccess.h`: an explicit instantiation, which may name private members, belongs in one
/// source.
template <std::vector<ReadLevel> log4cplus::LogLevelManager::*Member>
struct LevelReaders
{
    friend const std::vector<ReadLevel>&
    levelReadersOf(const log4cplus::LogLevelManager& in_manager)
    {
        return in_manager.*Member;
    }
};
const std::vector<ReadLevel>& levelReadersOf(const log4cplus::LogLevelManager& in_manager);
template struct LevelReaders<&log4cplus::LogLevelManager::fromStringMethods>;

/// Does as `LogLevelManager::fromString`, which reports a name that is none, and so would report it
/// twice.
bool isLevel(const std::string& in_strValue)
{
    const std::string strUpper = log4cplus::helpers::toUpper(in_strValue);
    const auto& readers = levelReadersOf(log4cplus::getLogLevelManager());
    return std::any_of(readers.begin(), readers.end(),
                       [&strUpper](ReadLevel in_read)
                       { return in_read(strUpper) != log4cplus::NOT_SET_LOG_LEVEL; });
}

bool isSize(const std::string& in_strValue)
{
    std::uint64_t uiBytes = 0;
    return PropertyKind::parseSize(in_strValue, uiBytes);
}

bool isBufferSize(const std::string& in_strValue)
{
    std::uint64_t uiBytes = 0;
    return PropertyKind::parseSize(in_strValue, uiBytes) && uiBytes <= s_uiLargestBuffer;
}

bool isSizeOfLog4cplus(const std::string& in_strValue)
{
    return isSize(in_strValue) && in_strValue.find_first_of("Gg") == std::string::npos;
}

bool isSchedule(const std::string& in_strValue)
{
    return RollSchedule::parse(in_strValue).has_value();
}

bool isCompression(const std::string& in_strValue) { return in_strValue == "gzip"; }

bool isMode(const std::string& in_strValue)
{
    mode_t uiMode = 0;
    return PropertyKind::parseMode(in_strValue, uiMode);
}

bool isLocale(const std::string& in_strValue)
try
{
    return log4cplus::spi::getLocaleFactoryRegistry().exists(in_strValue) ||
           !std::locale(in_strValue.c_str()).name().empty();
}
catch (const std::runtime_error&)
{
    return false;
}

bool isTextMode(const std::string& in_strValue)
{
    return isEqual(in_strValue, "TEXT") || isEqual(in_strValue, "BINARY");
}

} // namespace

bool PropertyKind::parseSize(std::string_view in_value, std::uint64_t& out_uiBytes)
{
    std::uint64_t uiNumber = 0;
    if (!takeNumber(in_value, uiNumber, 10))
        return false;
    in_value.remove_prefix(std::min(in_value.find_first_not_of(' '), in_value.size()));
    const std::uint64_t uiUnit = bytesIn(in_value);
    if (uiUnit == 0 || uiNumber > std::numeric_limits<std::int64_t>::max() / uiUnit)
        return false;
    out_uiBytes = uiNumber * uiUnit;
    return true;
}

bool PropertyKind::parseMode(std::string_view in_value, mode_t& out_uiMode)
{
    constexpr mode_t uiLeast = 0600;
    constexpr mode_t uiMost = 0777;
    for (const int iBase : {8, 10})
    {
        // A configuration reads a number with a leading 0 as octal, and writes it in decimal. The
        // octal numbers from 600 to 777 and the decimal ones from 384 to 511 are all different.
        std::string_view rest = in_value;
        if (mode_t uiMode = 0; takeNumber(rest, uiMode, iBase) && rest.empty() &&
                               uiMode >= uiLeast && uiMode <= uiMost)
        {
            out_uiMode = uiMode;
            return true;
        }
    }
    return false;
}

bool PropertyKind::parseNatural(const std::string& in_strValue, unsigned int& out_uiValue)
{
    // log4cplus reads a negative number as a large one.
    unsigned int uiValue = 0;
    if (in_strValue.find('-') != std::string::npos ||
        !isReadAs(&log4cplus::helpers::Properties::getUInt, in_strValue, uiValue))
        return false;
    out_uiValue = uiValue;
    return true;
}

bool PropertyKind::parsePositive(const std::string& in_strValue, int& out_iValue)
{
    ParameterValue value;
    value.initFromText(in_strValue.c_str(), ParameterValue::UNDEF_TYPE, true);
    if (value.getType() != ParameterValue::INT_TYPE || int(value) <= 0)
        return false;
    out_iValue = value;
    return true;
}

constexpr PropertyKind PropertyKind::s_text;
constexpr PropertyKind PropertyKind::s_bool{&isBool, "\"true\" or \"false\""};
constexpr PropertyKind PropertyKind::s_integer{&isInteger, "a number"};
constexpr PropertyKind PropertyKind::s_natural{&isNatural, "a number"};
constexpr PropertyKind PropertyKind::s_positive{&isPositive, "a number above 0"};
constexpr PropertyKind PropertyKind::s_seconds{&isNatural, "a number of seconds"};
constexpr PropertyKind PropertyKind::s_backups{&isNumberOfBackups, "a number of files, at least 1"};
constexpr PropertyKind PropertyKind::s_ndcLevels{&isNatural, "a number of levels"};
constexpr PropertyKind PropertyKind::s_messageLength{&isNatural,
                                                     "a number of bytes, or 0 for no limit"};
constexpr PropertyKind PropertyKind::s_level{&isLevel, "a level, such as WARN"};
constexpr PropertyKind PropertyKind::s_size{
    &isSize, "a number of bytes, or one with a unit, such as 500KB or 10MB"};
constexpr PropertyKind PropertyKind::s_bufferSize{
    &isBufferSize, "a number of bytes up to 64MB, or one with a unit, such as 500KB or 10MB"};
constexpr PropertyKind PropertyKind::s_sizeOfLog4cplus{
    &isSizeOfLog4cplus, "a number of bytes, or one with the unit KB or MB, such as 10MB"};
constexpr PropertyKind PropertyKind::s_schedule{
    &isSchedule, "MONTHLY, WEEKLY, DAILY, TWICE_DAILY, HOURLY or MINUTELY"};
constexpr PropertyKind PropertyKind::s_compression{&isCompression, "\"gzip\", or leave it out"};
constexpr PropertyKind PropertyKind::s_mode{
    &isMode, "the permissions of the file in octal, from 0600 to 0777"};
constexpr PropertyKind PropertyKind::s_locale{
    &isLocale, "a locale that \"locale -a\" lists, or DEFAULT, CLASSIC, GLOBAL or USER"};
constexpr PropertyKind PropertyKind::s_textMode{&isTextMode, "Text or Binary"};

} // namespace Velmora
