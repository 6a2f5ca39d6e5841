// SPDX-License-Identifier: BSD-2-Clause

#include "SessionDescription.h"

#include "BadSessionDescription.h"
#include "IgnoringCase.h"
#include "SessionOffer.h"

#include <algorithm>
#include <array>
#include <string>

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

bool isTelephoneEvent(const RtpEncoding& in_encoding)
{
    return equalsIgnoringCase(in_encoding.strName, s_szTelephoneEvent);
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
    if (in_media.badRtpMaps.contains(in_uiPayloadType))
        return nullptr;
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
            if (pOffered == nullptr || !equalsIgnoringCase(strName, pOffered->strName))
                continue;
            encodings.push_back({uiPayloadType, strName, pOffered->uiRate});
            break;
        }
    return encodings;
}

/// Returns why a stream cannot be used.
BadSessionDescription notUsable(const OfferedMedia& in_media)
{
    for (const unsigned int uiPayloadType : in_media.payloadTypes)
        if (const auto bad = in_media.badRtpMaps.find(uiPayloadType);
            bad != in_media.badRtpMaps.end())
            return unreadable(bad->second);
    return BadSessionDescription("no encoding of keswardin.rtp.encodingList is offered");
}

void appendAttributes(const RtpEncoding& in_encoding, std::string& inout_strText)
{
    const std::string strType = std::to_string(in_encoding.uiPayloadType);
    inout_strText += "a=rtpmap:" + strType + ' ' + in_encoding.strName + '/' +
                     std::to_string(in_encoding.uiRate) + "\r\n";
    if (isTelephoneEvent(in_encoding))
        inout_strText += "a=fmtp:" + strType + ' ' + s_szTelephoneEvents + "\r\n";
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
        if (std::all_of(session.encodings.begin(), session.encodings.end(), isTelephoneEvent))
            throw notUsable(media);
    }
    if (session.uiRemotePort == 0)
        throw BadSessionDescription("no audio over RTP is offered");
    return session;
}

Session makeOffer(const std::vector<std::string>& in_encodings)
{
    Session session;
    for (const std::string& strName : in_encodings)
    {
        for (const RtpEncoding& known : s_staticPayloadTypes)
            if (equalsIgnoringCase(strName, known.strName))
                session.encodings.push_back(known);
        if (equalsIgnoringCase(strName, s_szTelephoneEvent))
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
    const std::string strPort = std::to_string(in_uiPort);
    std::string strText = "v=0\r\no=- " + strPort + " 1 " + strAddress +
                          "\r\ns=-\r\nc=" + strAddress + "\r\nt=0 0\r\n";
    for (const MediaLine& line : in_session.lines)
    {
        strText.append("m=")
            .append(line.strType)
            .append(1, ' ')
            .append(line.bAccepted ? strPort : "0");
        strText.append(1, ' ').append(line.strTransport);
        if (!line.bAccepted)
        {
            strText.append(line.strFormats).append("\r\n");
            continue;
        }
        for (const RtpEncoding& encoding : in_session.encodings)
            strText.append(1, ' ').append(std::to_string(encoding.uiPayloadType));
        strText.append("\r\n");
        for (const RtpEncoding& encoding : in_session.encodings)
            appendAttributes(encoding, strText);
    }
    return strText;
}

bool isKnownEncoding(const std::string& in_strName)
{
    const auto hasName = [&in_strName](const RtpEncoding& in_encoding)
    { return equalsIgnoringCase(in_strName, in_encoding.strName); };
    return equalsIgnoringCase(in_strName, s_szTelephoneEvent) ||
           std::ranges::any_of(s_staticPayloadTypes, hasName);
}

std::string knownEncodings()
{
    return namesOf({s_staticPayloadTypes.begin(), s_staticPayloadTypes.end()}) + ',' +
           s_szTelephoneEvent;
}

std::string namesOf(const std::vector<RtpEncoding>& in_encodings)
{
    std::string strNames;
    for (const RtpEncoding& encoding : in_encodings)
        strNames += (strNames.empty() ? "" : ",") + encoding.strName;
    return strNames;
}

} // namespace GatewayExample
