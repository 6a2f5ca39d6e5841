// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"

#include <cstdint>

namespace Velmora
{

/// An alarm that several sources share. It goes on with the first request for on, and off when each
/// request for on has been matched by one for off. Each call of `setState` is one request, whatever
/// the current state is.
///
/// Through a handle of the registry only the first request for on and the first for off arrive, as
/// the handle drops requests for the state that the alarm has.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety: none, see `Alarm`.
/// Failure: a request for off without a matching request for on fails an assertion and changes
/// nothing.
class VELMORA_API CountedStateAlarmImpl : public virtual AlarmImpl
{
  public:
    explicit CountedStateAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~CountedStateAlarmImpl() override;

    void setState(State in_state) override;

  private:
    /// The number of requests for on that no request for off has matched.
    std::uint32_t m_uiNumOn = 0;
};

} // namespace Velmora
