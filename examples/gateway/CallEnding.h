// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "WorkerThreads.h"

#include "velmora/logging/CallLogger.h"

#include <functional>
#include <utility>

namespace GatewayExample
{

/// The end of a call's file. The last logger that leaves a call writes the rest of the file and
/// closes it, which takes long on a slow disk, so a thread does it.
class CallEnding : public Work
{
  public:
    /// Enters the call of the logger.
    explicit CallEnding(const Velmora::CallLogger& in_logger)
        : Work(Haste::LATER), m_logger(in_logger)
    {
    }

    /// Sets what is called some time after a thread has left the call.
    void onDone(std::function<void()> in_action) { m_onDone = std::move(in_action); }

    [[nodiscard]] const Velmora::CallLogger& logger() const { return m_logger; }

    /// Leaves the call. The library logs what fails.
    void run() noexcept override { m_logger.callEnd(); }
    void done() override
    {
        // The action may destroy this object.
        const auto action = std::exchange(m_onDone, nullptr);
        action();
    }

  private:
    Velmora::CallLogger m_logger;
    std::function<void()> m_onDone;
};

} // namespace GatewayExample
