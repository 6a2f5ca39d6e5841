// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/NameLookup.h"

#include <gtest/gtest.h>

#include <sofia-sip/su_addrinfo.h>

namespace Velmora::Test
{

namespace
{

/// Returns the result of the stack's look-up.
int lookUp(const char* in_szHost)
{
    su_addrinfo_t* pAddresses = nullptr;
    const int iResult = su_getaddrinfo(in_szHost, "5060", nullptr, &pAddresses);
    if (iResult == 0)
        su_freeaddrinfo(pAddresses);
    return iResult;
}

} // namespace

TEST(GatewayNameLookup, OfAnAddressIsAlwaysDone) { EXPECT_EQ(0, lookUp("127.0.0.1")); }

TEST(GatewayNameLookup, OfANameIsDoneWhileItIsAllowedOnly)
{
    EXPECT_EQ(EAI_NONAME, lookUp("localhost"));
    {
        const GatewayExample::NameLookup lookup;
        EXPECT_EQ(0, lookUp("localhost"));
    }
    EXPECT_EQ(EAI_NONAME, lookUp("localhost"));
}

} // namespace Velmora::Test
