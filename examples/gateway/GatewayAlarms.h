// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/Alarm.h"
#include "velmora/alarm/AlarmJournal.h"

namespace GatewayExample
{

/// The alarms of the gateway, beside those of its load monitors and of the library, and the journal
/// of them all:
///
/// | Alarm | Is on |
/// |---|---|
/// | system.out-of-service | from the construction of this object until `enterService`, and after
/// `leaveService` | | gateway.disk | while lines of the log, files of calls or the metrics cannot
/// be written | | gateway.address | while an address of the gateway is not one of this machine |
class GatewayAlarms
{
  public:
    GatewayAlarms();

    void enterService() { m_pOutOfService->reset(); }
    void leaveService() { m_pOutOfService->set(); }
    void setDisk(bool in_bFails) { set(m_pDisk, in_bFails); }
    void setAddress(bool in_bIsLost) { set(m_pAddress, in_bIsLost); }

    [[nodiscard]] Velmora::AlarmJournal& journal() { return m_journal; }
    [[nodiscard]] const Velmora::AlarmJournal& journal() const { return m_journal; }

  private:
    using Handle = Velmora::LimitedObjPtr<Velmora::Alarm>;

    static void set(const Handle& in_pAlarm, bool in_bOn)
    {
        in_pAlarm->setState(in_bOn ? Velmora::Alarm::ALARM_ON : Velmora::Alarm::ALARM_OFF);
    }

    // Owned by the registry of alarms.
    Handle m_pOutOfService;
    Handle m_pDisk;
    Handle m_pAddress;
    Velmora::AlarmJournal m_journal;
};

} // namespace GatewayExample
