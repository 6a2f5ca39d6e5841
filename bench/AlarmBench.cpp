// SPDX-License-Identifier: BSD-2-Clause

// Alarms: a request for the state that the alarm already has, on and off through a handle of the
// registry, the same with a journal, and the look-up of a handle. Each beside the least work that
// it must do.

#include "bench/AllocationCount.h"
#include "bench/ComparedState.h"
#include "bench/Opaque.h"

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/AlarmJournal.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Guard_T.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <log4cplus/nullappender.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace Velmora;
using Bench::opaque;

namespace
{

constexpr const char* s_szId = "gateway.trunk.17.loss-of-signal";

class TrunkAlarm : public AlarmImpl
{
  public:
    explicit TrunkAlarm(std::string in_strId) : m_strId(std::move(in_strId)) {}
    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << m_strId;
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override { return out_stream; }

  private:
    std::string m_strId;
};

// A request for the state that the alarm already has.

/// Counts requests. If this file had one class of alarms only, the compiler would assume that each
/// alarm is of that class, and omit the virtual call that other callers make.
class CountingAlarm : public TrunkAlarm
{
  public:
    using TrunkAlarm::TrunkAlarm;
    void setState(State in_state) override
    {
        ++m_iRequests;
        TrunkAlarm::setState(in_state);
    }

  private:
    int m_iRequests = 0;
};

void sameStateOurs(benchmark::State& out_state)
{
    TrunkAlarm trunk(s_szId);
    CountingAlarm counting(s_szId);
    bool bCounts = false;
    Alarm& alarm = opaque(bCounts) ? static_cast<Alarm&>(counting) : trunk;
    Bench::measureTiny(out_state, [&alarm]() VELMORA_BENCH_INLINE
                       { opaque(alarm).setState(Alarm::ALARM_OFF); });
}

void sameStateComparison(benchmark::State& out_state)
{
    Bench::ComparedState& state = Bench::comparedState();
    Bench::measureTiny(out_state, [&state]() VELMORA_BENCH_INLINE { opaque(state).setState(0); });
}

// On and off.

/// Gives the logger of alarms one appender, which discards its lines.
class NullLog
{
  public:
    NullLog()
    {
        m_logger.setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
        m_logger.setAdditivity(false);
        m_logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    }
    ~NullLog() { m_logger.removeAllAppenders(); }
    NullLog(const NullLog&) = delete;
    NullLog& operator=(const NullLog&) = delete;

  private:
    log4cplus::Logger m_logger = log4cplus::Logger::getInstance("admin.alarm");
};

void turnOnAndOff(benchmark::State& out_state)
{
    const NullLog log;
    Alarm& handle = *AlarmRegistry::getInstance().addAlarm(new TrunkAlarm(s_szId), false);
    {
        const Bench::AllocationCount allocations(out_state);
        for ([[maybe_unused]] const auto turn : out_state)
        {
            opaque(handle).set();
            opaque(handle).reset();
        }
    }
    AlarmRegistry::getInstance().clear();
}

void onOffOurs(benchmark::State& out_state) { turnOnAndOff(out_state); }

void onOffJournaled(benchmark::State& out_state)
{
    AlarmJournal::Options options;
    // The alarm would be shelved.
    options.uiFlapChanges = 0;
    const AlarmJournal journal(options);
    turnOnAndOff(out_state);
}

void onOffLinesAndLocks(benchmark::State& out_state)
{
    using Guard = ACE_Guard<ACE_Recursive_Thread_Mutex>;
    const NullLog log;
    const Logger logger("admin.alarm");
    const std::string strId = s_szId;
    ACE_Recursive_Thread_Mutex mutex;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] const auto turn : out_state)
    {
        {
            const Guard guard(opaque(mutex));
            VELMORA_LOG(logger, ERROR_LOG_LEVEL, "Alarm [" << strId << "] : ALARM_ON");
        }
        {
            const Guard guard(opaque(mutex));
            VELMORA_LOG(logger, INFO_LOG_LEVEL, "Alarm [" << strId << "] : ALARM_OFF");
        }
    }
}

// The look-up of a handle.

constexpr std::size_t s_uiAlarms = 10000;

/// Returns the ids of all alarms, in the order in which they are added.
std::vector<std::string> makeIds()
{
    std::vector<std::string> ids;
    for (std::size_t uiAlarm = 0; uiAlarm < s_uiAlarms; ++uiAlarm)
        ids.push_back("gateway.trunk." + std::to_string(uiAlarm) + ".loss-of-signal");
    return ids;
}

/// Returns the ids in the order in which they are looked up, a different one.
std::vector<std::string> inOtherOrder(std::vector<std::string> in_ids)
{
    std::shuffle(in_ids.begin(), in_ids.end(), std::mt19937(1));
    return in_ids;
}

template <class LookUp>
void lookUpAll(benchmark::State& out_state, LookUp in_lookUp)
{
    const std::vector<std::string> ids = inOtherOrder(makeIds());
    std::size_t uiNext = 0;
    for ([[maybe_unused]] const auto turn : out_state)
    {
        benchmark::DoNotOptimize(in_lookUp(ids[uiNext]));
        if (++uiNext == ids.size())
            uiNext = 0;
    }
}

void lookUpOurs(benchmark::State& out_state)
{
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    for (const std::string& strId : makeIds())
        registry.addAlarm(new TrunkAlarm(strId), false);
    lookUpAll(out_state,
              [&registry](const std::string& in_strId) { return registry.getAlarm(in_strId); });
    registry.clear();
}

void lookUpStandard(benchmark::State& out_state)
{
    ACE_Recursive_Thread_Mutex mutex;
    std::unordered_map<std::string, TrunkAlarm> alarms;
    for (const std::string& strId : makeIds())
        alarms.try_emplace(strId, strId);
    lookUpAll(out_state,
              [&](const std::string& in_strId) -> Alarm*
              {
                  const ACE_Guard<ACE_Recursive_Thread_Mutex> guard(mutex);
                  const auto found = alarms.find(in_strId);
                  return found == alarms.end() ? nullptr : &found->second;
              });
}

} // namespace

BENCHMARK(sameStateOurs)->Name("alarmSameState/ours");
BENCHMARK(sameStateComparison)->Name("alarmSameState/comparison");

BENCHMARK(onOffOurs)->Name("alarmOnOff/ours");
BENCHMARK(onOffLinesAndLocks)->Name("alarmOnOff/linesAndLocks");

BENCHMARK(onOffJournaled)->Name("alarmJournaled/ours");
BENCHMARK(onOffOurs)->Name("alarmJournaled/alone");

BENCHMARK(lookUpOurs)->Name("alarmLookUp/ours");
BENCHMARK(lookUpStandard)->Name("alarmLookUp/std");

BENCHMARK_MAIN();
