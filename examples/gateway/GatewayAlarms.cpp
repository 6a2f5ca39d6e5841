// SPDX-License-Identifier: BSD-2-Clause

#include "GatewayAlarms.h"

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/SystemOutOfServiceAlarm.h"

using namespace Velmora;

namespace GatewayExample
{

namespace
{

/// Starts and stops are intended, as a rule.
class OutOfServiceAlarm : public SystemOutOfServiceAlarm
{
  public:
    // Inlined into the place that allocates it, g++ 12 warns of bounds that are kept.
    [[gnu::noinline]] OutOfServiceAlarm() : AlarmImpl(INFO_SEVERITY) {}
};

/// An alarm of which an operator reads all in the inventory of the journal.
class DescribedAlarm : public AlarmImpl
{
  public:
    explicit DescribedAlarm(const AlarmJournal::Description& in_description)
        : AlarmImpl(in_description.severity), m_description(in_description)
    {
    }

    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << m_description.strId;
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override
    {
        return out_stream << m_description.strCause;
    }

  private:
    const AlarmJournal::Description m_description;
};

const AlarmJournal::Description& disk()
{
    static const AlarmJournal::Description s_disk{
        .strId = "gateway.disk",
        .severity = Alarm::ERROR_SEVERITY,
        .strCause = "Lines of the log, files of calls or the file of metrics cannot be written.",
        .strAction =
            "Look in the log, or on standard error, for the file and the reason. Make room "
            "on the disk (df -h, df -i), or correct the owner of the directory. Calls go "
            "on."};
    return s_disk;
}

const AlarmJournal::Description& address()
{
    static const AlarmJournal::Description s_address{
        .strId = "gateway.address",
        .severity = Alarm::ERROR_SEVERITY,
        .strCause = "An address at which SIP or RTP is received is not an address of this machine.",
        .strAction =
            "Bring the interface up that had the address (ip address), or configure another "
            "address and restart the gateway. Callers cannot reach it until then."};
    return s_address;
}

const AlarmJournal::Description s_overloads[] = {
    {.strId = "system.overload.calls",
     .severity = Alarm::WARN_SEVERITY,
     .strCause =
         "The calls at once have reached gateway.calls.monitor.setAlarmThreshold. New calls "
         "are refused with 503.",
     .strAction =
         "None, if it goes off by itself. Otherwise spread the calls over more gateways, or "
         "raise the threshold if the machine has room."},
    {.strId = "system.overload.loop",
     .severity = Alarm::WARN_SEVERITY,
     .strCause = "More SIP comes than the gateway can handle: it waits longer than "
                 "gateway.overload.queueKB or gateway.overload.timerLateMs allow. New calls are "
                 "refused with 503.",
     .strAction =
         "None, if it goes off by itself. Otherwise spread the calls over more gateways. If few "
         "calls come, look what delays the gateway: other programs (top), the disk (iostat -x)."},
    {.strId = "system.overload.files",
     .severity = Alarm::WARN_SEVERITY,
     .strCause = "Files of calls open too slowly: a call has waited for its file longer than "
                 "gateway.overload.fileLateMs allows. New calls are refused with 503.",
     .strAction = "Look what delays the disk of the call files (iostat -x; df -h; the log of the "
                  "system). If it is slow but well, as a network file system is, raise "
                  "gateway.calls.fileThreads. Without call files the gateway needs no disk."},
    {.strId = "system.overload.cpu",
     .severity = Alarm::WARN_SEVERITY,
     .strCause = "The load of the processors has reached "
                 "keswardin.system.cpu.monitor.setAlarmThreshold.",
     .strAction = "Find what uses the processors (top). No call is refused for this."}};

LimitedObjPtr<Alarm> add(Alarm* in_pAlarm)
{
    constexpr bool bAllowDuplicate = true;
    return AlarmRegistry::getInstance().addAlarm(in_pAlarm, bAllowDuplicate);
}

} // namespace

GatewayAlarms::GatewayAlarms()
    : m_pOutOfService(add(new OutOfServiceAlarm)), m_pDisk(add(new DescribedAlarm(disk()))),
      m_pAddress(add(new DescribedAlarm(address())))
{
    m_journal.describe(disk());
    m_journal.describe(address());
    for (const AlarmJournal::Description& overload : s_overloads)
        m_journal.describe(overload);
}

} // namespace GatewayExample
