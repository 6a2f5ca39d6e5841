// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace GatewayExample
{

/// Lets the SIP stack look up names of hosts while it lives, as the gateway starts. At other times
/// the stack accepts addresses only: it would look up a name in a message before it answers, and a
/// name server that is slow or silent would stop all calls. Where it follows a contact, it asks the
/// name server itself and does not wait.
///
/// Thread-safety: belongs to the thread of the event loop.
class NameLookup
{
  public:
    NameLookup();
    ~NameLookup();
    NameLookup(const NameLookup&) = delete;
    NameLookup& operator=(const NameLookup&) = delete;
};

} // namespace GatewayExample
