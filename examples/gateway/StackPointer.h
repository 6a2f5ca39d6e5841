// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sofia-sip/msg.h>
#include <sofia-sip/nta.h>

#include <memory>

namespace GatewayExample
{

/// Destroys the objects of the SIP stack that belong to the program. Of a message there may be
/// other owners.
struct StackDestroy
{
    void operator()(nta_agent_t* in_pAgent) const { nta_agent_destroy(in_pAgent); }
    void operator()(nta_leg_t* in_pDialog) const { nta_leg_destroy(in_pDialog); }
    void operator()(nta_incoming_t* in_pRequest) const { nta_incoming_destroy(in_pRequest); }
    void operator()(nta_outgoing_t* in_pRequest) const { nta_outgoing_destroy(in_pRequest); }
    void operator()(msg_t* in_pMessage) const { msg_destroy(in_pMessage); }
};

/// Owns an object of the SIP stack.
template <class T>
using StackPointer = std::unique_ptr<T, StackDestroy>;

} // namespace GatewayExample
