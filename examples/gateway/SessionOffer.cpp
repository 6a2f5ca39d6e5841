// SPDX-License-Identifier: BSD-2-Clause

#include "SessionOffer.h"

#include <boost/algorithm/string/split.hpp>

#include <algorithm>
#include <charconv>
#include <sstream>
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

std::vector<std::string> partsOf(std::string_view in_strText, std::string_view in_strSeparators)
{
    std::vector<std::string> parts;
    const auto isSeparator = [in_strSeparators](char in_c)
    { return in_strSeparators.find(in_c) != std::string_view::npos; };
    boost::split(parts, in_strText, isSeparator, boost::token_compress_on);
    return parts;
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
    const std::vector<std::string> parts = partsOf(in_strValue, " ");
    OfferedMedia media;
    if (parts.size() < 4 || !readNumber(parts[1], media.uiPort, "/"))
        throw unreadable(in_strValue);
    media.line = {parts[0], parts[2], "", false};
    for (std::size_t ui = 3; ui < parts.size(); ++ui)
    {
        media.line.strFormats += ' ' + parts[ui];
        unsigned int uiType = 0;
        if (readNumber(parts[ui], uiType, "") && uiType <= s_uiLastPayloadType)
            media.payloadTypes.push_back(uiType);
    }
    return media;
}

/// Reads "IN IP4 10.0.0.1". The address may be followed by "/" and a time to live.
std::string readAddress(std::string_view in_strValue)
{
    const std::vector<std::string> parts = partsOf(in_strValue, " ");
    if (parts.size() != 3 || parts[2].empty())
        throw unreadable(in_strValue);
    return parts[2].substr(0, parts[2].find('/'));
}

/// Reads "rtpmap:97 PCMA/8000". Other attributes are ignored.
void readAttribute(std::string_view in_strValue, OfferedMedia& inout_media)
{
    constexpr std::string_view strRtpMap = "rtpmap:";
    if (!in_strValue.starts_with(strRtpMap))
        return;
    const std::vector<std::string> parts = partsOf(in_strValue.substr(strRtpMap.size()), " /");
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
    std::istringstream text(in_strOffer.substr(0, in_strOffer.find_last_not_of("\r\n") + 1));
    // Makes `getline` throw if a line does not fit in memory, because it would otherwise look like
    // the end of the offer.
    text.exceptions(std::ios_base::badbit);
    bool bFirst = true;
    for (std::string strLine; std::getline(text, strLine); bFirst = false)
    {
        if (strLine.ends_with('\r'))
            strLine.pop_back();
        if (!isWellFormed(strLine) || (bFirst && strLine != "v=0"))
            throw unreadable(strLine);
        const std::string_view strValue = std::string_view(strLine).substr(2);
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
