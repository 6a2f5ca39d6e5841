// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "StackCallback.h"
#include "StackPointer.h"
#include "WorkerThreads.h"

#include "velmora/logging/CallLogger.h"

#include <sofia-sip/nta.h>

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <string>

namespace GatewayExample
{

/// An INVITE whose call is about to begin. It enters the call and logs its first line, which opens
/// the file of the call. On a slow disk that takes long, so a thread does it.
///
/// Until then the transaction waits here: the SIP stack absorbs repetitions of the INVITE and
/// answers a CANCEL.
class PendingInvite : public Work
{
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Takes over an INVITE within the stack's callback for it. If the INVITE is not taken by a
    /// call, the destructor refuses it with 500. Calls `in_onOpened` when a thread has done the
    /// work.
    PendingInvite(nta_incoming_t* in_pInvite, const sip_t& in_sip, Time in_arrived,
                  std::function<void()> in_onOpened);
    /// Enters the call and logs the first line.
    void run() noexcept override;
    void done() override;

    /// Answers with 100 if that has not been done.
    void proceed(const std::string& in_strServer);

    [[nodiscard]] Time arrived() const { return m_arrived; }
    [[nodiscard]] const std::string& callId() const { return m_strCallId; }
    [[nodiscard]] bool isCancelled() const { return m_bCancelled; }

    // To be called after `run`.

    /// Logs that the gateway ends before the call has begun.
    void cutOff() const;
    /// Returns a logger that is in the call.
    ///
    /// Failure: throws the exception that `run` has met.
    [[nodiscard]] const Velmora::CallLogger& logger() const;
    [[nodiscard]] const sip_t& message() const;
    /// Returns the transaction, which is the caller's from now on.
    [[nodiscard]] StackPointer<nta_incoming_t> take();

  private:
    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] static FailureLine failureLine() { return EventLoop::failureLine(); }
    void handleAckOrCancel(const sip_t* in_pSip);
    void open();

    StackPointer<nta_incoming_t> m_pInvite;
    StackPointer<msg_t> m_pMessage;
    const std::string m_strCallId;
    const unsigned int m_uiCSeq;
    const Time m_arrived;
    std::function<void()> m_onOpened;
    bool m_bCancelled = false;
    // Set by `run`.
    std::optional<Velmora::CallLogger> m_logger;
    std::exception_ptr m_failure;
};

} // namespace GatewayExample
