// SPDX-License-Identifier: BSD-2-Clause

#include "SessionOffer.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace GatewayExample
{

namespace
{

constexpr unsigned int s_uiLastPayloadType = 127;

bool isControl(char in_c) { return static_cast<unsigned char>(in_c) < 0x20 || in_c == 0x7F; }

bool hasControl(std::string_view in_strText)
{
    return std::any_of(in_strText.begin(), in_strText.end(), isControl);
}

/// Returns whether a line is "x=" and a value, as RFC 4566 calls a byte-string. Lines whose values
/// are used must be printable.
bool isWellFormed(std::string_view in_strLine)
{
    constexpr std::string_view strUsed = "cm";
    constexpr std::string_view strNoText("\0\r", 2);
    if (in_strLine.size() < 2 || in_strLine[1] != '=' || isControl(in_strLine[0]))
        return false;
    return strUsed.find(in_strLine[0]) != std::string_view::npos
               ? !hasControl(in_strLine)
               : in_strLine.find_first_of(strNoText) == std::string_view::npos;
}

/// Removes the first line of a text, and returns it without its end.
std::string_view takeLine(std::string_view& inout_strText)
{
    const std::size_t uiEnd = std::min(inout_strText.find('\n'), inout_strText.size());
    std::string_view strLine = inout_strText.substr(0, uiEnd);
    inout_strText.remove_prefix(std::min(uiEnd + 1, inout_strText.size()));
    if (strLine.ends_with('\r'))
        strLine.remove_suffix(1);
    return strLine;
}

/// Splits a text. Separators in a row count as one. Returns an empty part in front of a separator
/// that the text begins with, and behind one that it ends with.
std::vector<std::string_view> partsOf(std::string_view in_strText,
                                      std::string_view in_strSeparators)
{
    std::vector<std::string_view> parts;
    std::size_t uiBegin = 0;
    for (;;)
    {
        const std::size_t uiEnd = in_strText.find_first_of(in_strSeparators, uiBegin);
        parts.push_back(in_strText.substr(uiBegin, uiEnd - uiBegin));
        if (uiEnd == std::string_view::npos)
            return parts;
        uiBegin =
            std::min(in_strText.find_first_not_of(in_strSeparators, uiEnd), in_strText.size());
    }
}

/// Reads the number that a text begins with. The text may end after it, or continue with a
/// character of `in_strMayFollow`.
template <class Number>
bool readNumber(std::string_view in_strText, Number& out_number, std::string_view in_strMayFollow)
{
    const char* const pEnd = in_strText.data() + in_strText.size();
    const auto [pRest, error] = std::from_chars(in_strText.data(), pEnd, out_number);
    return error == std::errc() &&
           (pRest == pEnd || in_strMayFollow.find(*pRest) != std::string_view::npos);
}

/// Reads "audio 6000 RTP/AVP 0 8". The port may be followed by "/" and a number of ports.
OfferedMedia readMedia(std::string_view in_strValue)
{
    const std::vector<std::string_view> parts = partsOf(in_strValue, " ");
    OfferedMedia media;
    if (parts.size() < 4 || !readNumber(parts[1], media.uiPort, "/"))
        throw unreadable(in_strValue);
    media.line = {std::string(parts[0]), std::string(parts[2]), "", false};
    for (std::size_t ui = 3; ui < parts.size(); ++ui)
    {
        media.line.strFormats.append(1, ' ').append(parts[ui]);
        unsigned int uiType = 0;
        if (readNumber(parts[ui], uiType, "") && uiType <= s_uiLastPayloadType)
            media.payloadTypes.push_back(uiType);
    }
    return media;
}

/// Reads "IN IP4 10.0.0.1". The address may be followed by "/" and a time to live.
std::string readAddress(std::string_view in_strValue)
{
    const std::vector<std::string_view> parts = partsOf(in_strValue, " ");
    if (parts.size() != 3 || parts[2].empty())
        throw unreadable(in_strValue);
    return std::string(parts[2].substr(0, parts[2].find('/')));
}

/// Reads "rtpmap:97 PCMA/8000". Other attributes are ignored.
void readAttribute(std::string_view in_strValue, OfferedMedia& inout_media)
{
    constexpr std::string_view strRtpMap = "rtpmap:";
    if (!in_strValue.starts_with(strRtpMap))
        return;
    const std::vector<std::string_view> parts = partsOf(in_strValue.substr(strRtpMap.size()), " /");
    RtpEncoding encoding{};
    if (!readNumber(parts[0], encoding.uiPayloadType, ""))
        return;
    if (parts.size() < 3 || !readNumber(parts[2], encoding.uiRate, ""))
    {
        inout_media.badRtpMaps.emplace(encoding.uiPayloadType, in_strValue);
        return;
    }
    encoding.strName = parts[1];
    inout_media.rtpMaps.emplace(encoding.uiPayloadType, encoding);
}

} // namespace

BadSessionDescription unreadable(std::string_view in_strLine)
{
    std::string strLine(in_strLine);
    std::replace_if(strLine.begin(), strLine.end(), isControl, '?');
    return BadSessionDescription("the session description cannot be read : \"" + strLine + '"');
}

std::vector<OfferedMedia> readOffer(const std::string& in_strOffer)
{
    std::vector<OfferedMedia> streams;
    std::string strAddress;
    // Without the blank lines at the end, and without the end of the last line.
    std::string_view strRest =
        std::string_view(in_strOffer).substr(0, in_strOffer.find_last_not_of("\r\n") + 1);
    for (bool bFirst = true; !strRest.empty(); bFirst = false)
    {
        const std::string_view strLine = takeLine(strRest);
        if (!isWellFormed(strLine) || (bFirst && strLine != "v=0"))
            throw unreadable(strLine);
        const std::string_view strValue = strLine.substr(2);
        if (strLine[0] == 'm')
        {
            streams.push_back(readMedia(strValue));
            streams.back().strAddress = strAddress;
        }
        else if (strLine[0] == 'c')
            (streams.empty() ? strAddress : streams.back().strAddress) = readAddress(strValue);
        else if (strLine[0] == 'a' && !streams.empty())
            readAttribute(strValue, streams.back());
    }
    return streams;
}

} // namespace GatewayExample
