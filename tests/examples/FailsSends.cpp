// SPDX-License-Identifier: BSD-2-Clause

// Preloaded into the gateway. Makes calls of `sendmsg`, by which it sends SIP, fail with EPERM: the
// environment variable FAILS_SENDS has their numbers, such as ",2,4,".

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <sys/socket.h>

extern "C" [[gnu::visibility("default")]] ssize_t sendmsg(int in_iSocket, const msghdr* in_pMessage,
                                                          int in_iFlags)
{
    static int s_iCalls = 0;
    static const auto s_pSend =
        reinterpret_cast<ssize_t (*)(int, const msghdr*, int)>(dlsym(RTLD_NEXT, "sendmsg"));
    const char* const szNumbers = std::getenv("FAILS_SENDS");
    const std::string strNumber = ',' + std::to_string(++s_iCalls) + ',';
    if (szNumbers != nullptr && std::strstr(szNumbers, strNumber.c_str()) != nullptr)
    {
        errno = EPERM;
        return -1;
    }
    return s_pSend(in_iSocket, in_pMessage, in_iFlags);
}
