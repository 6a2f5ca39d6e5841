#include "SessionDescription.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <sstream>
#include <string_view>
#include <utility>

namespace GatewayExample
{

namespace
{

constexpr const char* s_szTelephoneEvent = "telephone-event";

/// The events for the digits, star, hash and the letters A to D (RFC 4733).
constexpr const char* s_szTelephoneEvents = "0-15";

/// The payload types that need no "a=rtpmap" (RFC 3551, 6).
const std::array<RtpEncoding, 7> s_staticPayloadTypes{{{0, "PCMU", 8000},
                                                       {3, "GSM", 8000},
                                                       {4, "G723", 8000},
                                                       {8, "PCMA", 8000},
                                                       {9, "G722", 8000},
                                                       {15, "G728", 8000},
                                                       {18, "G729", 8000}}};

/// The payload type that this end proposes for telephone events.
constexpr unsigned int s_uiTelephoneEventType = 101;

constexpr unsigned int s_uiLastPayloadType = 127;

/// One stream of an offer.
struct OfferedMedia
{
    MediaLine line;
    unsigned int uiPort = 0;
    std::string strAddress;
    std::vector<unsigned int> payloadTypes;
    std::map<unsigned int, RtpEncoding> rtpMaps;
};

bool isControl(char in_c) { return static_cast<unsigned char>(in_c) < 0x20 || in_c == 0x7F; }

/// Replaces control bytes, because the text comes from the network and goes to the log.
BadSessionDescription unreadable(std::string_view in_strLine)
{
    std::string strLine(in_strLine);
    std::replace_if(strLine.begin(), strLine.end(), isControl, '?');
    return BadSessionDescription("the session description cannot be read : \"" + strLine + '"');
}

bool isTelephoneEvent(const RtpEncoding& in_encoding)
{
    return boost::iequals(in_encoding.strName, s_szTelephoneEvent);
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
    if (parts.size() < 3 || !readNumber(parts[0], encoding.uiPayloadType, "") ||
        !readNumber(parts[2], encoding.uiRate, ""))
        throw unreadable(in_strValue);
    encoding.strName = parts[1];
    inout_media.rtpMaps.emplace(encoding.uiPayloadType, encoding);
}

std::vector<OfferedMedia> readOffer(const std::string& in_strOffer)
{
    std::vector<OfferedMedia> streams;
    std::string strAddress;
    std::istringstream text(in_strOffer);
    // Makes `getline` throw if a line does not fit in memory, because it would otherwise look like
    // the end of the offer.
    text.exceptions(std::ios_base::badbit);
    bool bFirst = true;
    for (std::string strLine; std::getline(text, strLine); bFirst = false)
    {
        if (strLine.ends_with('\r'))
            strLine.pop_back();
        if (strLine.size() < 2 || strLine[1] != '=' ||
            std::any_of(strLine.begin(), strLine.end(), isControl) || (bFirst && strLine != "v=0"))
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

bool isAudio(const OfferedMedia& in_media)
{
    return in_media.line.strType == "audio" && in_media.line.strTransport == "RTP/AVP" &&
           in_media.uiPort != 0 && in_media.uiPort <= UINT16_MAX && !in_media.strAddress.empty();
}

const RtpEncoding* encodingOf(const OfferedMedia& in_media, unsigned int in_uiPayloadType)
{
    const auto mapped = in_media.rtpMaps.find(in_uiPayloadType);
    if (mapped != in_media.rtpMaps.end())
        return &mapped->second;
    const auto* const pStatic =
        std::find_if(s_staticPayloadTypes.begin(), s_staticPayloadTypes.end(),
                     [in_uiPayloadType](const RtpEncoding& in_encoding)
                     { return in_encoding.uiPayloadType == in_uiPayloadType; });
    return pStatic != s_staticPayloadTypes.end() ? pStatic : nullptr;
}

std::vector<RtpEncoding> commonEncodings(const OfferedMedia& in_media,
                                         const std::vector<std::string>& in_encodings)
{
    std::vector<RtpEncoding> encodings;
    for (const std::string& strName : in_encodings)
        for (const unsigned int uiPayloadType : in_media.payloadTypes)
        {
            const RtpEncoding* const pOffered = encodingOf(in_media, uiPayloadType);
            if (pOffered == nullptr || !boost::iequals(strName, pOffered->strName))
                continue;
            encodings.push_back({uiPayloadType, strName, pOffered->uiRate});
            break;
        }
    return encodings;
}

} // namespace

Session negotiate(const std::string& in_strOffer, const std::vector<std::string>& in_encodings)
{
    Session session;
    for (const OfferedMedia& media : readOffer(in_strOffer))
    {
        MediaLine& line = session.lines.emplace_back(media.line);
        if (session.uiRemotePort != 0 || !isAudio(media))
            continue;
        line.bAccepted = true;
        session.uiRemotePort = static_cast<std::uint16_t>(media.uiPort);
        session.strRemoteAddress = media.strAddress;
        session.encodings = commonEncodings(media, in_encodings);
    }
    if (session.uiRemotePort == 0)
        throw BadSessionDescription("no audio over RTP is offered");
    if (std::all_of(session.encodings.begin(), session.encodings.end(), isTelephoneEvent))
        throw BadSessionDescription("no encoding of keswardin.rtp.encodingList is offered");
    return session;
}

Session makeOffer(const std::vector<std::string>& in_encodings)
{
    Session session;
    for (const std::string& strName : in_encodings)
    {
        for (const RtpEncoding& known : s_staticPayloadTypes)
            if (boost::iequals(strName, known.strName))
                session.encodings.push_back(known);
        if (boost::iequals(strName, s_szTelephoneEvent))
            session.encodings.push_back({s_uiTelephoneEventType, s_szTelephoneEvent, 8000});
    }
    session.lines.push_back({"audio", "RTP/AVP", "", true});
    return session;
}

std::string describe(const Session& in_session, const std::string& in_strAddress,
                     std::uint16_t in_uiPort)
{
    const bool bIPv6 = in_strAddress.find(':') != std::string::npos;
    const std::string strAddress = (bIPv6 ? "IN IP6 " : "IN IP4 ") + in_strAddress;
    std::ostringstream text;
    // Makes the stream throw if memory runs out, because it would otherwise truncate the
    // description.
    text.exceptions(std::ios_base::badbit);
    text << "v=0\r\no=- " << in_uiPort << " 1 " << strAddress << "\r\ns=-\r\nc=" << strAddress
         << "\r\nt=0 0\r\n";
    for (const MediaLine& line : in_session.lines)
    {
        text << "m=" << line.strType << ' ' << (line.bAccepted ? in_uiPort : 0) << ' '
             << line.strTransport;
        if (!line.bAccepted)
        {
            text << line.strFormats << "\r\n";
            continue;
        }
        for (const RtpEncoding& encoding : in_session.encodings)
            text << ' ' << encoding.uiPayloadType;
        text << "\r\n";
        for (const RtpEncoding& encoding : in_session.encodings)
        {
            text << "a=rtpmap:" << encoding.uiPayloadType << ' ' << encoding.strName << '/'
                 << encoding.uiRate << "\r\n";
            if (isTelephoneEvent(encoding))
                text << "a=fmtp:" << encoding.uiPayloadType << ' ' << s_szTelephoneEvents << "\r\n";
        }
    }
    return text.str();
}

std::string namesOf(const std::vector<RtpEncoding>& in_encodings)
{
    std::string strNames;
    for (const RtpEncoding& encoding : in_encodings)
        strNames += (strNames.empty() ? "" : ",") + encoding.strName;
    return strNames;
}

} // namespace GatewayExample
