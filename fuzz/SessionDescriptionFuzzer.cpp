// SPDX-License-Identifier: BSD-2-Clause

// Answers the input as the session description of a caller, as the example gateway does.

#include "fuzz/Require.h"

#include "examples/gateway/SessionDescription.h"

#include "examples/gateway/BadSessionDescription.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using GatewayExample::BadSessionDescription;
using GatewayExample::describe;
using GatewayExample::namesOf;
using GatewayExample::negotiate;
using GatewayExample::Session;
using Velmora::Fuzz::require;

namespace
{

const std::vector<std::string> s_encodings{"PCMU", "PCMA", "telephone-event"};

bool isControl(char in_c) { return static_cast<unsigned char>(in_c) < 0x20 || in_c == 0x7F; }

std::size_t countLines(const std::string& in_strText, const std::string& in_strBegin)
{
    std::size_t uiCount = 0;
    for (std::size_t uiAt = in_strText.find(in_strBegin); uiAt != std::string::npos;
         uiAt = in_strText.find(in_strBegin, uiAt + 1))
        ++uiCount;
    return uiCount;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    const std::string strOffer(reinterpret_cast<const char*>(in_pData), in_uiSize);
    try
    {
        const Session session = negotiate(strOffer, s_encodings);
        const std::string strAnswer = describe(session, "127.0.0.1", 20000);
        require(countLines(strAnswer, "\nm=") == session.lines.size(),
                "an answer has other lines than its offer", strOffer);
        const Session again = negotiate(strAnswer, s_encodings);
        require(again.uiRemotePort == 20000 &&
                    namesOf(again.encodings) == namesOf(session.encodings),
                "an answer says something else than was agreed", strOffer);
    }
    catch (const BadSessionDescription& error)
    {
        const std::string strReason = error.what();
        require(!strReason.empty(), "the reason is empty", strOffer);
        require(std::none_of(strReason.begin(), strReason.end(), isControl),
                "the reason has a control byte", strOffer);
    }
    return 0;
}
