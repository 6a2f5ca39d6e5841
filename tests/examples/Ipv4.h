// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace Velmora::Test
{

/// Throws `std::system_error` with `errno` and a text if something was not done.
inline void require(bool in_bDone, const char* in_szWhat)
{
    if (!in_bDone)
        throw std::system_error(errno, std::generic_category(), in_szWhat);
}

/// Returns the address of a socket for a text such as "127.0.0.1".
inline sockaddr_in socketAddress(const std::string& in_strAddress, std::uint16_t in_uiPort)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(in_uiPort);
    require(inet_aton(in_strAddress.c_str(), &address.sin_addr) != 0, "inet_aton");
    return address;
}

} // namespace Velmora::Test
