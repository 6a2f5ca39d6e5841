// SPDX-License-Identifier: BSD-2-Clause

#include "NameLookup.h"

#include <sofia-sip/su_addrinfo.h>

#include <dlfcn.h>

namespace GatewayExample
{

namespace
{

bool s_bAllowed = false;

} // namespace

NameLookup::NameLookup() { s_bAllowed = true; }

NameLookup::~NameLookup() { s_bAllowed = false; }

} // namespace GatewayExample

// The SIP stack calls this function instead of its own one.
extern "C" [[gnu::visibility("default")]] int su_getaddrinfo(const char* in_szNode,
                                                             const char* in_szService,
                                                             const su_addrinfo_t* in_pHints,
                                                             su_addrinfo_t** out_pResult)
{
    static const auto s_pOriginal =
        reinterpret_cast<decltype(&su_getaddrinfo)>(dlsym(RTLD_NEXT, "su_getaddrinfo"));
    su_addrinfo_t hints = in_pHints != nullptr ? *in_pHints : su_addrinfo_t{};
    if (!GatewayExample::s_bAllowed)
        hints.ai_flags |= AI_NUMERICHOST;
    return s_pOriginal(in_szNode, in_szService, &hints, out_pResult);
}
