// SPDX-License-Identifier: BSD-2-Clause

#include "NewInvite.h"

#include "IgnoringCase.h"

#include <boost/algorithm/string/trim.hpp>

#include <charconv>
#include <functional>

namespace GatewayExample
{

namespace
{

constexpr std::string_view s_strLineEnd = "\r\n";
constexpr std::string_view s_strBlanks = " \t";
constexpr std::uint16_t s_uiSipPort = 5060;

/// Returns whether a text may have a parameter "tag". One that only looks so makes no difference,
/// since the stack reads it.
bool mayHaveTag(std::string_view in_strText)
{
    for (std::size_t ui = 0; ui + 3 <= in_strText.size(); ++ui)
        if (equalsIgnoringCase(in_strText.substr(ui, 3), "tag"))
            return true;
    return false;
}

std::string_view trimmed(std::string_view in_strText)
{
    const std::size_t uiBegin = in_strText.find_first_not_of(s_strBlanks);
    if (uiBegin == std::string_view::npos)
        return {};
    return in_strText.substr(uiBegin, in_strText.find_last_not_of(s_strBlanks) - uiBegin + 1);
}

/// Removes the text up to a separator, which is removed, too, and returns it.
std::string_view take(std::string_view& inout_strText, std::string_view in_strSeparator)
{
    const std::size_t uiEnd = inout_strText.find(in_strSeparator);
    const std::string_view strTaken = inout_strText.substr(0, uiEnd);
    inout_strText.remove_prefix(uiEnd == std::string_view::npos ? inout_strText.size()
                                                                : uiEnd + in_strSeparator.size());
    return strTaken;
}

bool isName(std::string_view in_strText, const char* in_szName, const char* in_szCompactName)
{
    return equalsIgnoringCase(in_strText, in_szName) ||
           equalsIgnoringCase(in_strText, in_szCompactName);
}

/// Calls a function with the name, the value and the whole of each line of the headers, while it
/// returns true. Returns false if it does not, or if a line has no name.
template <class Function>
bool forEachHeader(std::string_view in_strHeaders, Function in_function)
{
    while (!in_strHeaders.empty())
    {
        const std::string_view strLine = take(in_strHeaders, s_strLineEnd);
        if (strLine.empty())
            return true;
        const std::size_t uiColon = strLine.find(':');
        // A line that begins with a blank continues the one before it.
        if (s_strBlanks.find(strLine[0]) != std::string_view::npos ||
            uiColon == std::string_view::npos ||
            !in_function(trimmed(strLine.substr(0, uiColon)), trimmed(strLine.substr(uiColon + 1)),
                         strLine))
            return false;
    }
    return false;
}

/// Stores the value of a header that may come once only.
bool storeOnce(std::string_view& inout_strStored, std::string_view in_strValue)
{
    if (!inout_strStored.empty())
        return false;
    inout_strStored = in_strValue;
    return !in_strValue.empty();
}

} // namespace

std::optional<NewInvite> NewInvite::read(std::string_view in_strDatagram)
{
    const std::string_view strRequest = take(in_strDatagram, s_strLineEnd);
    if (!strRequest.starts_with("INVITE ") || !strRequest.ends_with(" SIP/2.0"))
        return std::nullopt;
    NewInvite invite;
    const auto readHeader = [&invite](auto... in_parts) { return invite.readHeader(in_parts...); };
    if (!forEachHeader(in_strDatagram, readHeader) || invite.m_vias.empty() ||
        invite.m_strFrom.empty() || invite.m_strTo.empty() || invite.m_strCallId.empty() ||
        invite.m_strCSeq.empty())
        return std::nullopt;
    return invite;
}

bool NewInvite::readHeader(std::string_view in_strName, std::string_view in_strValue,
                           std::string_view in_strLine)
{
    if (isName(in_strName, "Via", "v"))
    {
        m_vias.push_back(in_strLine);
        return m_vias.size() > 1 || readVia(in_strValue);
    }
    if (isName(in_strName, "From", "f"))
        return storeOnce(m_strFrom, in_strValue);
    // One with a tag belongs to a call.
    if (isName(in_strName, "To", "t"))
        return storeOnce(m_strTo, in_strValue) && !mayHaveTag(in_strValue);
    if (isName(in_strName, "Call-ID", "i"))
        return storeOnce(m_strCallId, in_strValue);
    if (equalsIgnoringCase(in_strName, "CSeq"))
        return storeOnce(m_strCSeq, in_strValue) && in_strValue.ends_with(" INVITE");
    return true;
}

/// Reads "SIP/2.0/UDP 10.0.0.1:5060;branch=z9hG4bK1;rport".
bool NewInvite::readVia(std::string_view in_strValue)
{
    constexpr std::string_view strTransport = "SIP/2.0/UDP ";
    if (!equalsIgnoringCase(in_strValue.substr(0, strTransport.size()), strTransport) ||
        in_strValue.find_first_of(",\"") != std::string_view::npos)
        return false;
    in_strValue.remove_prefix(strTransport.size());
    std::string_view strSentBy = trimmed(take(in_strValue, ";"));
    const std::size_t uiBracket = strSentBy.find(']');
    const std::size_t uiColon =
        strSentBy.find(':', uiBracket == std::string_view::npos ? 0 : uiBracket);
    m_strHost = strSentBy.substr(0, uiColon);
    m_uiPort = s_uiSipPort;
    if (uiColon != std::string_view::npos)
    {
        const char* const pEnd = strSentBy.data() + strSentBy.size();
        const auto [pRest, error] = std::from_chars(&strSentBy[uiColon] + 1, pEnd, m_uiPort);
        if (error != std::errc() || pRest != pEnd || m_uiPort == 0)
            return false;
    }
    bool bBranch = false;
    while (!in_strValue.empty())
    {
        const std::string_view strParameter = trimmed(take(in_strValue, ";"));
        const std::string_view strName = trimmed(strParameter.substr(0, strParameter.find('=')));
        if (equalsIgnoringCase(strName, "maddr") || equalsIgnoringCase(strName, "received"))
            return false;
        bBranch = bBranch || equalsIgnoringCase(strName, "branch");
        if (!equalsIgnoringCase(strName, "rport"))
            continue;
        if (strName.size() != strParameter.size())
            return false;
        m_pRportEnd = strName.data() + strName.size();
    }
    return bBranch && !m_strHost.empty();
}

SocketAddress NewInvite::destination(const SocketAddress& in_source) const
{
    SocketAddress destination = in_source;
    if (m_pRportEnd == nullptr)
        destination.setPort(m_uiPort);
    return destination;
}

std::size_t NewInvite::transaction() const
{
    return std::hash<std::string_view>()(m_vias.front()) ^
           std::hash<std::string_view>()(m_strCallId) * 31;
}

std::string NewInvite::refusal(const SocketAddress& in_source, std::string_view in_strTag,
                               std::string_view in_strServer,
                               std::chrono::seconds in_retryAfter) const
{
    std::string strText = "SIP/2.0 503 Service Unavailable\r\n";
    const auto add = [&strText](auto... in_parts) { ((strText += in_parts), ...) += s_strLineEnd; };
    std::string_view strVia = m_vias.front();
    if (m_pRportEnd != nullptr)
    {
        const auto uiEnd = static_cast<std::size_t>(m_pRportEnd - strVia.data());
        strText += strVia.substr(0, uiEnd);
        strText += '=' + std::to_string(in_source.port());
        strVia.remove_prefix(uiEnd);
    }
    std::string strReceived;
    if (m_pRportEnd != nullptr || in_source.hostText() != m_strHost)
    {
        strReceived = in_source.hostText();
        boost::algorithm::trim_if(strReceived,
                                  [](char in_c) { return in_c == '[' || in_c == ']'; });
        strReceived.insert(0, ";received=");
    }
    add(strVia, strReceived);
    for (std::size_t i = 1; i < m_vias.size(); ++i)
        add(m_vias[i]);
    add("From: ", m_strFrom);
    add("To: ", m_strTo, ";tag=", in_strTag);
    add("Call-ID: ", m_strCallId);
    add("CSeq: ", m_strCSeq);
    add("Retry-After: ", std::to_string(in_retryAfter.count()));
    add("Server: ", in_strServer);
    add("Content-Length: 0");
    return strText += s_strLineEnd;
}

bool isAckWithTag(std::string_view in_strDatagram, std::string_view in_strTagBegin)
{
    if (!in_strDatagram.starts_with("ACK "))
        return false;
    take(in_strDatagram, s_strLineEnd);
    bool bHasTag = false;
    const std::string strTag = "tag=" + std::string(in_strTagBegin);
    forEachHeader(in_strDatagram,
                  [&](std::string_view in_strName, std::string_view in_strValue, std::string_view)
                  {
                      bHasTag = bHasTag || (isName(in_strName, "To", "t") &&
                                            in_strValue.find(strTag) != std::string_view::npos);
                      return !bHasTag;
                  });
    return bHasTag;
}

} // namespace GatewayExample
