#include "SessionDescription.h"

#include <sofia-sip/sdp.h>
#include <sofia-sip/su_alloc.h>

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <sstream>

namespace
{

constexpr const char* s_szTelephoneEvent = "telephone-event";

/// The digits, star, hash and the letters A to D (RFC 4733).
constexpr const char* s_szTelephoneEvents = "0-15";

struct ParserFree
{
    void operator()(sdp_parser_t* in_pParser) const { sdp_parser_free(in_pParser); }
};

bool isTelephoneEvent(const RtpEncoding& in_encoding)
{
    return boost::iequals(in_encoding.strName, s_szTelephoneEvent);
}

bool isAudio(const sdp_media_t& in_media)
{
    return in_media.m_type == sdp_media_audio && in_media.m_port != 0 &&
           sdp_media_has_rtp(&in_media) != 0;
}

MediaLine lineOf(const sdp_media_t& in_media)
{
    MediaLine line{in_media.m_type_name, in_media.m_proto_name, "", false};
    for (const sdp_list_t* p = in_media.m_format; p != nullptr; p = p->l_next)
        line.strFormats += std::string(" ") + p->l_text;
    // An answer needs one format, also where it refuses the line.
    for (const sdp_rtpmap_t* p = in_media.m_rtpmaps; p != nullptr; p = p->rm_next)
        line.strFormats += " " + std::to_string(p->rm_pt);
    return line;
}

std::vector<RtpEncoding> common(const sdp_media_t& in_media,
                                const std::vector<std::string>& in_encodings)
{
    std::vector<RtpEncoding> encodings;
    for (const std::string& strName : in_encodings)
        for (const sdp_rtpmap_t* p = in_media.m_rtpmaps; p != nullptr; p = p->rm_next)
            if (p->rm_encoding != nullptr && boost::iequals(strName, p->rm_encoding))
            {
                encodings.push_back({p->rm_pt, strName, p->rm_rate});
                break;
            }
    return encodings;
}

} // namespace

Session agree(const std::string& in_strOffer, const std::vector<std::string>& in_encodings)
{
    const std::unique_ptr<sdp_parser_t, ParserFree> pParser(
        sdp_parse(nullptr, in_strOffer.data(), static_cast<issize_t>(in_strOffer.size()), 0));
    const sdp_session_t* const pOffer = sdp_session(pParser.get());
    if (pOffer == nullptr)
    {
        const char* const szError = sdp_parsing_error(pParser.get());
        throw BadSessionDescription(std::string("the session description cannot be read : ") +
                                    (szError != nullptr ? szError : "out of memory"));
    }
    Session session;
    for (const sdp_media_t* pMedia = pOffer->sdp_media; pMedia != nullptr; pMedia = pMedia->m_next)
    {
        MediaLine& line = session.lines.emplace_back(lineOf(*pMedia));
        const sdp_connection_t* const pConnection = sdp_media_connections(pMedia);
        if (session.uiRemotePort != 0 || !isAudio(*pMedia) || pConnection == nullptr ||
            pMedia->m_port > UINT16_MAX)
            continue;
        line.bAccepted = true;
        session.uiRemotePort = static_cast<std::uint16_t>(pMedia->m_port);
        session.strRemoteAddress = pConnection->c_address;
        session.encodings = common(*pMedia, in_encodings);
    }
    if (session.uiRemotePort == 0)
        throw BadSessionDescription("no audio over RTP is offered");
    if (std::all_of(session.encodings.begin(), session.encodings.end(), isTelephoneEvent))
        throw BadSessionDescription("no encoding of keswardin.rtp.encodingList is offered");
    return session;
}

Session offered(const std::vector<std::string>& in_encodings)
{
    static const std::array<RtpEncoding, 4> s_known{
        {{0, "PCMU", 8000}, {8, "PCMA", 8000}, {9, "G722", 8000}, {101, s_szTelephoneEvent, 8000}}};
    Session session;
    for (const std::string& strName : in_encodings)
        for (const RtpEncoding& known : s_known)
            if (boost::iequals(strName, known.strName))
                session.encodings.push_back(known);
    session.lines.push_back({"audio", "RTP/AVP", "", true});
    return session;
}

std::string describe(const Session& in_session, const std::string& in_strAddress,
                     std::uint16_t in_uiPort)
{
    const bool bIPv6 = in_strAddress.find(':') != std::string::npos;
    const std::string strAddress = (bIPv6 ? "IN IP6 " : "IN IP4 ") + in_strAddress;
    std::ostringstream text;
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
