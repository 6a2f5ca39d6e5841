// SPDX-License-Identifier: BSD-2-Clause

// Preloaded into the gateway. Makes calls of `sendmsg` and `recvfrom`, by which it sends and
// receives SIP, fail: the environment variables FAILS_SENDS and FAILS_RECEIVES have their numbers,
// such as ",2,4,". Each `write` of FAILS_WRITES bytes fails: a handler keeps a signal by one
// of a byte, and a thread wakes the loop by one of eight.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/// Returns whether the call with this number is to fail.
bool isToFail(const char* in_szVariable, int in_iNumber)
{
    const char* const szNumbers = std::getenv(in_szVariable);
    const std::string strNumber = ',' + std::to_string(in_iNumber) + ',';
    return szNumbers != nullptr && std::strstr(szNumbers, strNumber.c_str()) != nullptr;
}

} // namespace

extern "C" [[gnu::visibility("default")]] ssize_t sendmsg(int in_iSocket, const msghdr* in_pMessage,
                                                          int in_iFlags)
{
    static int s_iCalls = 0;
    static const auto s_pSend =
        reinterpret_cast<ssize_t (*)(int, const msghdr*, int)>(dlsym(RTLD_NEXT, "sendmsg"));
    if (isToFail("FAILS_SENDS", ++s_iCalls))
    {
        errno = EPERM;
        return -1;
    }
    return s_pSend(in_iSocket, in_pMessage, in_iFlags);
}

extern "C" [[gnu::visibility("default")]] ssize_t recvfrom(int in_iSocket, void* out_pData,
                                                           size_t in_uiSize, int in_iFlags,
                                                           sockaddr* out_pFrom,
                                                           socklen_t* inout_pFromSize)
{
    static int s_iCalls = 0;
    static const auto s_pReceive =
        reinterpret_cast<ssize_t (*)(int, void*, size_t, int, sockaddr*, socklen_t*)>(
            dlsym(RTLD_NEXT, "recvfrom"));
    // Those of RTP are not counted.
    if ((in_iFlags & MSG_DONTWAIT) != 0 && isToFail("FAILS_RECEIVES", ++s_iCalls))
    {
        errno = ENOMEM;
        return -1;
    }
    return s_pReceive(in_iSocket, out_pData, in_uiSize, in_iFlags, out_pFrom, inout_pFromSize);
}

extern "C" [[gnu::visibility("default")]] ssize_t write(int in_iFile, const void* in_pData,
                                                        size_t in_uiSize)
{
    static const auto s_pWrite =
        reinterpret_cast<ssize_t (*)(int, const void*, size_t)>(dlsym(RTLD_NEXT, "write"));
    const char* const szSize = std::getenv("FAILS_WRITES");
    if (szSize != nullptr && std::to_string(in_uiSize) == szSize)
    {
        errno = ENOSPC;
        return -1;
    }
    return s_pWrite(in_iFile, in_pData, in_uiSize);
}
