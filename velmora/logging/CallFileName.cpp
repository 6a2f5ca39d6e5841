// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallFileName.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace Velmora
{

namespace
{

/// Begins an encoded id and each escaped byte in it, and encloses a directory's piece.
constexpr char s_cMark = '%';
constexpr std::string_view s_strDigits = "0123456789ABCDEF";
constexpr std::size_t s_uiMarksOfDirectory = 2;
/// The bytes of an encoded id that the name of one directory holds.
constexpr std::size_t s_uiPiece = NAME_MAX - s_uiMarksOfDirectory;

bool isControl(char in_c) { return static_cast<unsigned char>(in_c) < 0x20 || in_c == 0x7f; }

bool isEscaped(char in_c) { return in_c == s_cMark || in_c == '/' || isControl(in_c); }

std::string encode(std::string_view in_strId)
{
    std::string strEncoded(1, s_cMark);
    strEncoded.reserve(in_strId.size() + 16);
    for (const char c : in_strId)
    {
        if (!isEscaped(c))
        {
            strEncoded += c;
            continue;
        }
        const auto uiByte = static_cast<unsigned char>(c);
        strEncoded += s_cMark;
        strEncoded += s_strDigits[uiByte / 16];
        strEncoded += s_strDigits[uiByte % 16];
    }
    return strEncoded;
}

/// Returns the id that has been encoded so; no value if that cannot be read.
std::optional<std::string> decode(std::string_view in_strEncoded)
{
    if (!in_strEncoded.starts_with(s_cMark))
        return std::nullopt;
    std::string strId;
    for (std::size_t ui = 1; ui < in_strEncoded.size(); ++ui)
    {
        if (in_strEncoded[ui] != s_cMark)
        {
            strId += in_strEncoded[ui];
            continue;
        }
        if (in_strEncoded.size() - ui < 3)
            return std::nullopt;
        const std::size_t uiHigh = s_strDigits.find(in_strEncoded[ui + 1]);
        const std::size_t uiLow = s_strDigits.find(in_strEncoded[ui + 2]);
        if (uiHigh == std::string_view::npos || uiLow == std::string_view::npos)
            return std::nullopt;
        strId += static_cast<char>(uiHigh * 16 + uiLow);
        ui += 2;
    }
    return strId;
}

/// What follows the name of a file in that of a kept one. Each "0" stands for a digit.
constexpr std::string_view s_strKeptEnd = ".0000-00-00T000000Z";
/// In bytes, with the largest number.
constexpr std::size_t s_uiLongestKeptEnd = s_strKeptEnd.size() + 5;

bool isDigit(char in_c) { return in_c >= '0' && in_c <= '9'; }

/// Returns the length of the end by which a name is that of a kept file; 0 if it has none.
std::size_t lengthOfKeptEnd(std::string_view in_strName)
{
    const std::size_t uiDot = in_strName.rfind('.');
    if (uiDot == std::string_view::npos)
        return 0;
    const std::string_view strEnd = in_strName.substr(uiDot);
    const std::string_view strTime = strEnd.substr(0, s_strKeptEnd.size());
    if (!std::equal(strTime.begin(), strTime.end(), s_strKeptEnd.begin(), s_strKeptEnd.end(),
                    [](char in_c, char in_cForm)
                    { return in_cForm == '0' ? isDigit(in_c) : in_c == in_cForm; }))
        return 0;
    const std::string_view strNumber = strEnd.substr(strTime.size());
    const bool bIsNumber = strNumber.size() > 1 && strEnd.size() <= s_uiLongestKeptEnd &&
                           strNumber[0] == '-' && strNumber[1] != '0' &&
                           std::all_of(strNumber.begin() + 1, strNumber.end(), isDigit);
    return strNumber.empty() || bIsNumber ? strEnd.size() : 0;
}

std::string keptEnd(std::time_t in_changed, unsigned int in_uiNumber)
{
    // The first and the last second with a year of four digits.
    constexpr std::time_t first = -62167219200;
    constexpr std::time_t last = 253402300799;
    const std::time_t changed = std::clamp(in_changed, first, last);
    std::tm utc = {};
    gmtime_r(&changed, &utc);
    std::array<char, 128> text{};
    const int iLength =
        std::snprintf(text.data(), text.size(), ".%04d-%02d-%02dT%02d%02d%02dZ", utc.tm_year + 1900,
                      utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    std::string strEnd(text.data(), static_cast<std::size_t>(iLength));
    if (in_uiNumber != 0)
        strEnd.append(1, '-').append(std::to_string(in_uiNumber));
    return strEnd;
}

/// Returns whether a name can be that of a directory which holds a piece of an id.
bool isPiece(std::string_view in_strName)
{
    return in_strName.size() > s_uiMarksOfDirectory && in_strName.front() == s_cMark &&
           in_strName.back() == s_cMark;
}

/// Removes the last name from a path, and returns it.
std::string_view takeLastName(std::string_view& inout_strPath)
{
    const std::size_t uiSlash = inout_strPath.rfind('/');
    const bool bOnlyName = uiSlash == std::string_view::npos;
    const std::string_view strName = inout_strPath.substr(bOnlyName ? 0 : uiSlash + 1);
    inout_strPath = inout_strPath.substr(0, bOnlyName ? 0 : uiSlash);
    return strName;
}

/// Joins pieces to the text that they were cut from, given the directories' first. The last piece
/// is not checked.
std::string joined(const std::vector<std::string_view>& in_directories, std::string_view in_strLast)
{
    std::string strEncoded(1, s_cMark);
    for (const std::string_view strPiece : in_directories)
        strEncoded.append(strPiece.substr(1, strPiece.size() - s_uiMarksOfDirectory));
    return strEncoded.append(in_strLast.substr(1));
}

} // namespace

CallFileName::CallFileName(std::string_view in_strPrefix, std::string_view in_strSuffix)
    : m_strPrefix(in_strPrefix), m_strSuffix(in_strSuffix)
{
}

bool CallFileName::fits(std::string_view in_strId) const
{
    return m_strPrefix.size() + in_strId.size() + m_strSuffix.size() <= NAME_MAX;
}

bool CallFileName::isNamedAsDirectory(std::string_view in_strId) const
{
    // Kept files have a longer suffix, so their ids are cut although they are shorter.
    const std::size_t uiAround = m_strPrefix.size() + m_strSuffix.size();
    return in_strId.size() + 2 * uiAround + s_uiLongestKeptEnd > NAME_MAX &&
           isPiece(withPrefixAndSuffix(in_strId));
}

/// Returns where the name of a file would begin to end like that of a kept one; the end of the id
/// if that is not in the id.
std::size_t CallFileName::dotOfKeptEnd(std::string_view in_strId) const
{
    const std::string strEnd = std::string(in_strId).append(m_strSuffix);
    const std::size_t uiLength = lengthOfKeptEnd(strEnd);
    return uiLength == 0 ? in_strId.size() : std::min(strEnd.size() - uiLength, in_strId.size());
}

std::string CallFileName::encoded(std::string_view in_strId) const
{
    std::string strEncoded = encode(in_strId);
    if (const std::size_t uiDot = dotOfKeptEnd(strEncoded); uiDot != strEncoded.size())
        strEncoded.replace(uiDot, 1, "%2E");
    return strEncoded;
}

std::optional<std::string> CallFileName::decoded(std::string_view in_strEncoded) const
{
    std::optional<std::string> strId = decode(in_strEncoded);
    // Rejects a text that escapes a byte which need not be escaped.
    if (strId && encoded(*strId) != in_strEncoded)
        strId.reset();
    return strId;
}

std::string CallFileName::withPrefixAndSuffix(std::string_view in_strId) const
{
    return std::string(m_strPrefix).append(in_strId).append(m_strSuffix);
}

bool CallFileName::isPlain(std::string_view in_strCallId) const
{
    if (in_strCallId.empty() || in_strCallId.front() == '.' || !fits(in_strCallId) ||
        std::any_of(in_strCallId.begin(), in_strCallId.end(),
                    [](char in_c) { return in_c == '/' || isControl(in_c); }) ||
        isNamedAsDirectory(in_strCallId) || dotOfKeptEnd(in_strCallId) != in_strCallId.size())
        return false;
    // The decoded id is shorter than the encoded one, so the recursion ends.
    const std::optional<std::string> strOther = decoded(in_strCallId);
    return !strOther || isPlain(*strOther);
}

std::string CallFileName::nameOf(std::string_view in_strCallId) const
{
    const Name name = partsOf(in_strCallId);
    return name.strDirectory.empty() ? name.strFile : name.strDirectory + '/' + name.strFile;
}

CallFileName::Name CallFileName::partsOf(std::string_view in_strCallId) const
{
    if (isPlain(in_strCallId))
        return {std::string(), withPrefixAndSuffix(in_strCallId)};
    const std::string strEncoded = encoded(in_strCallId);
    return fits(strEncoded) ? Name{std::string(), withPrefixAndSuffix(strEncoded)}
                            : cut(strEncoded);
}

CallFileName::Name CallFileName::cut(std::string_view in_strEncoded) const
{
    Name name;
    // The first character of the rest is a placeholder for the mark of its piece.
    std::string_view strRest = in_strEncoded;
    do
    {
        const std::string_view strPiece = strRest.substr(1, s_uiPiece);
        if (!name.strDirectory.empty())
            name.strDirectory += '/';
        name.strDirectory.append(1, s_cMark).append(strPiece).append(1, s_cMark);
        strRest.remove_prefix(strPiece.size());
    } while (strRest.size() > 1 && !fits(strRest));
    name.strFile.append(m_strPrefix).append(1, s_cMark).append(strRest.substr(1));
    name.strFile.append(m_strSuffix);
    return name;
}

CallFileName::Name CallFileName::keptPartsOf(std::string_view in_strCallId, std::time_t in_changed,
                                             unsigned int in_uiNumber) const
{
    return CallFileName(m_strPrefix, m_strSuffix + keptEnd(in_changed, in_uiNumber))
        .partsOf(in_strCallId);
}

std::optional<std::string> CallFileName::callIdOf(std::string_view in_strPath) const
{
    if (const std::size_t uiKept = lengthOfKeptEnd(in_strPath); uiKept != 0)
        if (std::optional<std::string> strId =
                CallFileName(m_strPrefix, m_strSuffix + std::string(in_strPath.substr(
                                                            in_strPath.size() - uiKept)))
                    .callIdOfNotKept(in_strPath))
            return strId;
    return callIdOfNotKept(in_strPath);
}

std::optional<std::string> CallFileName::callIdOfNotKept(std::string_view in_strPath) const
{
    std::string_view strDirectories = in_strPath;
    std::string_view strLast = takeLastName(strDirectories);
    if (strLast.size() < m_strPrefix.size() + m_strSuffix.size() ||
        !strLast.starts_with(m_strPrefix) || !strLast.ends_with(m_strSuffix))
        return std::nullopt;
    strLast.remove_prefix(m_strPrefix.size());
    strLast.remove_suffix(m_strSuffix.size());
    std::vector<std::string_view> pieces;
    for (std::string_view strName = takeLastName(strDirectories); isPiece(strName);
         strName = takeLastName(strDirectories))
        pieces.insert(pieces.begin(), strName);
    // The outer directories may not belong to the id, so they are left out one by one.
    for (; !pieces.empty() && strLast.starts_with(s_cMark); pieces.erase(pieces.begin()))
        if (std::optional<std::string> strId = decoded(joined(pieces, strLast));
            strId && isNameOf(in_strPath, *strId))
            return strId;
    if (isNameOf(in_strPath, strLast))
        return std::string(strLast);
    std::optional<std::string> strId = decoded(strLast);
    return strId && isNameOf(in_strPath, *strId) ? strId : std::nullopt;
}

bool CallFileName::isNameOf(std::string_view in_strPath, std::string_view in_strCallId) const
{
    const std::string strName = nameOf(in_strCallId);
    if (!in_strPath.ends_with(strName))
        return false;
    const std::string_view strBefore = in_strPath.substr(0, in_strPath.size() - strName.size());
    return strBefore.empty() || strBefore.back() == '/';
}

} // namespace Velmora
