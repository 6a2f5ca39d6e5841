// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/nta.h>
#include <sofia-sip/su_wait.h>

#include <cstdarg>
#include <type_traits>

namespace GatewayExample
{

/// How an object logs an exception of one of its callbacks: at ERROR, as "what : the cause".
struct FailureLine
{
    /// Null for standard error.
    const Velmora::Logger* pLogger;
    const char* szWhat;
};

/// Passes an object to the SIP stack as the context of its callbacks, which the stack declares as a
/// pointer to a different incomplete type for each kind of callback.
template <class Receiver>
class StackContext
{
  public:
    explicit StackContext(Receiver* in_pReceiver) : m_pReceiver(in_pReceiver) {}

    template <class Magic>
    operator Magic*() const // NOLINT(google-explicit-constructor): used as an argument.
    {
        return reinterpret_cast<Magic*>(m_pReceiver);
    }

  private:
    Receiver* m_pReceiver;
};

/// The functions that the SIP stack, its event loop and its log call. Each of them calls `Handle`,
/// a member function of the object that was passed as `StackContext`:
///
///     nta_leg_tcreate(pAgent, StackCallback<&Leg::handleRequest>::request, StackContext(this), ...
///
/// An exception must not pass through the stack, which is C code. An exception of `Handle` is
/// caught here, and nowhere else. It is logged once, as the object's `failureLine()` describes.
/// Then the object's `callbackFailed()` is called if it has one, and the stack gets a result with
/// which it continues.
template <auto Handle>
class StackCallback
{
  public:
    /// A request (`nta_request_f`). `Handle` gets the transaction and the request, and returns the
    /// status of the final answer, or 0 if it has answered or will. After an exception it is 500.
    static int request(nta_leg_magic_t* in_pContext, nta_leg_t*, nta_incoming_t* in_pRequest,
                       const sip_t* in_pSip) noexcept
    {
        int iStatus = 500;
        run(in_pContext, [&](auto& inout_receiver)
            { iStatus = (inout_receiver.*Handle)(in_pRequest, *in_pSip); });
        return iStatus;
    }

    /// An ACK or a CANCEL (`nta_ack_cancel_f`). `Handle` gets the request, or null if no ACK
    /// arrives in time.
    static int ackOrCancel(nta_incoming_magic_t* in_pContext, nta_incoming_t*,
                           const sip_t* in_pSip) noexcept
    {
        run(in_pContext, [&](auto& inout_receiver) { (inout_receiver.*Handle)(in_pSip); });
        return 0;
    }

    /// An answer (`nta_response_f`). `Handle` gets the answer, or null if none arrives in time.
    static int answer(nta_outgoing_magic_t* in_pContext, nta_outgoing_t*,
                      const sip_t* in_pSip) noexcept
    {
        run(in_pContext, [&](auto& inout_receiver) { (inout_receiver.*Handle)(in_pSip); });
        return 0;
    }

    /// The end of a timer (`su_timer_f`).
    static void timer(su_root_magic_t*, su_timer_t*, su_timer_arg_t* in_pContext) noexcept
    {
        run(in_pContext, [](auto& inout_receiver) { (inout_receiver.*Handle)(); });
    }

    /// An event at a descriptor (`su_wakeup_f`).
    static int descriptor(su_root_magic_t*, su_wait_t*, su_wakeup_arg_t* in_pContext) noexcept
    {
        run(in_pContext, [](auto& inout_receiver) { (inout_receiver.*Handle)(); });
        return 0;
    }

    /// A line of the stack's log (`su_logger_f`). `Handle` gets a format as of `printf` and its
    /// arguments.
    static void logLine(void* in_pContext, const char* in_szFormat, va_list in_arguments) noexcept
    {
        run(in_pContext,
            [&](auto& inout_receiver) { (inout_receiver.*Handle)(in_szFormat, in_arguments); });
    }

  private:
    template <class Result, class Object, class... Arguments>
    static Object* receiverOf(Result (Object::*)(Arguments...));
    using Receiver = std::remove_pointer_t<decltype(receiverOf(Handle))>;

    /// Calls a function with the receiver.
    template <class Magic, class Function>
    static void run(Magic* in_pContext, Function in_function) noexcept
    {
        Receiver& receiver = *reinterpret_cast<Receiver*>(in_pContext);
        const FailureLine line = receiver.failureLine();
        if (Velmora::withoutThrowing(line.pLogger, line.szWhat, [&] { in_function(receiver); }))
            return;
        if constexpr (requires { receiver.callbackFailed(); })
            Velmora::withoutThrowing(line.pLogger, line.szWhat, [&] { receiver.callbackFailed(); });
    }
};

} // namespace GatewayExample
