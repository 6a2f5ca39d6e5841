// SPDX-License-Identifier: BSD-2-Clause

#include "IPAddress.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <string_view>

#include <arpa/inet.h>

namespace GatewayExample
{

namespace
{

constexpr const char* s_szIPv4Addresses = "/proc/net/fib_trie";
constexpr const char* s_szIPv6Addresses = "/proc/net/if_inet6";

using Bytes = std::array<std::uint8_t, 16>;

bool isSet(const char* in_szFile)
{
    int iValue = 0;
    std::ifstream(in_szFile) >> iValue;
    return iValue != 0;
}

bool haveSamePrefix(const Bytes& in_one, const Bytes& in_other, unsigned int in_uiBits)
{
    for (unsigned int uiBit = 0; uiBit < in_uiBits; ++uiBit)
        if (((in_one[uiBit / 8] ^ in_other[uiBit / 8]) & (0x80U >> uiBit % 8)) != 0)
            return false;
    return true;
}

/// Reads the kernel's routing table, in which an address of this machine, or a whole net of them
/// such as 127.0.0.0, is written as
///
///     |-- 127.0.0.1
///        /32 host LOCAL
bool isListedIPv4(const Bytes& in_address)
{
    std::ifstream file(s_szIPv4Addresses);
    if (!file)
        return true;
    Bytes net{};
    for (std::string strLine; std::getline(file, strLine);)
    {
        constexpr std::string_view strLeaf = "|-- ";
        const std::size_t uiLeaf = strLine.find(strLeaf);
        if (uiLeaf != std::string::npos)
            inet_pton(AF_INET, strLine.substr(uiLeaf + strLeaf.size()).c_str(), net.data());
        std::istringstream words(strLine);
        char cSlash = 0;
        unsigned int uiBits = 0;
        std::string strScope;
        std::string strType;
        if (words >> cSlash >> uiBits >> strScope >> strType && cSlash == '/' && uiBits <= 32 &&
            strType == "LOCAL" && haveSamePrefix(net, in_address, uiBits))
            return true;
    }
    return false;
}

/// Reads the kernel's list of IPv6 addresses, each of which begins a line with 32 digits.
bool isListedIPv6(const Bytes& in_address)
{
    std::ifstream file(s_szIPv6Addresses);
    if (!file)
        return true;
    for (std::string strLine; std::getline(file, strLine);)
    {
        Bytes listed{};
        for (std::size_t i = 0; i < listed.size() && 2 * i + 2 <= strLine.size(); ++i)
            std::from_chars(&strLine[2 * i], &strLine[2 * i] + 2, listed[i], 16);
        if (listed == in_address)
            return true;
    }
    return false;
}

} // namespace

std::optional<IPAddress> IPAddress::parse(const std::string& in_strText)
{
    IPAddress address;
    address.m_bIPv6 = in_strText.find(':') != std::string::npos;
    if (inet_pton(address.m_bIPv6 ? AF_INET6 : AF_INET, in_strText.c_str(),
                  address.m_bytes.data()) != 1)
        return std::nullopt;
    return address;
}

bool IPAddress::isWildcard() const
{
    return std::ranges::all_of(m_bytes, [](std::uint8_t in_uiByte) { return in_uiByte == 0; });
}

bool IPAddress::isUsableHere() const
{
    if (isWildcard())
        return true;
    if (m_bIPv6)
        return isSet("/proc/sys/net/ipv6/ip_nonlocal_bind") || isListedIPv6(m_bytes);
    return isSet("/proc/sys/net/ipv4/ip_nonlocal_bind") || isListedIPv4(m_bytes);
}

} // namespace GatewayExample
