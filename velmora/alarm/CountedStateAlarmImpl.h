#pragma once

#include "velmora/alarm/AlarmImpl.h"

#include <cstdint>

namespace Velmora
{

/// An alarm that several sources share: it goes on with the first request for on, and off with the
/// last request for off. Each call of `setState` is one request, whatever the state is.
///
/// Behind a handle of the registry only the first request for on and the first for off arrive, as
/// the handle drops requests for the state that the alarm has.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety: none, see `Alarm`.
/// Failure: more requests for off than for on fail an assertion and change nothing.
class VELMORA_API CountedStateAlarmImpl : public virtual AlarmImpl
{
  public:
    explicit CountedStateAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~CountedStateAlarmImpl() override;

    void setState(State in_state) override;

  private:
    /// How many more requests for on than for off there were.
    std::uint32_t m_uiNumOn = 0;
};

} // namespace Velmora
