// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmJournal.h"

#include "velmora/alarm/AggregateSystemOverloadAlarm.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/CountedStateAlarmImpl.h"
#include "velmora/alarm/MaskableAlarmImpl.h"
#include "velmora/alarm/SystemOutOfServiceAlarm.h"
#include "velmora/alarm/SystemOverloadAlarmImpl.h"
#include "velmora/application/ApplicationImpl.h"

#include "tests/support/Alarms.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using State = AlarmJournal::State;
using Shelving = AlarmJournal::Shelving;

constexpr const char* s_szLogger = "admin.alarm";

AlarmRegistry& registry() { return AlarmRegistry::getInstance(); }

LimitedObjPtr<Alarm> add(Alarm* in_pAlarm) { return registry().addAlarm(in_pAlarm, false); }

LimitedObjPtr<Alarm> add(const std::string& in_strId) { return add(new NamedAlarm(in_strId)); }

const char* nameOf(State in_state)
{
    switch (in_state)
    {
    case State::off:
        return "off";
    case State::on:
        return "on";
    case State::outOfService:
        return "out of service";
    case State::removed:
        return "removed";
    }
    return "?";
}

std::vector<std::string> textsOf(const std::vector<AlarmJournal::Change>& in_changes)
{
    std::vector<std::string> texts;
    for (const AlarmJournal::Change& change : in_changes)
        texts.push_back(change.strId + " " + nameOf(change.state));
    return texts;
}

std::vector<std::string> textsOf(const std::vector<AlarmJournal::Entry>& in_alarms)
{
    std::vector<std::string> texts;
    for (const AlarmJournal::Entry& alarm : in_alarms)
        texts.push_back(alarm.strId + " " + nameOf(alarm.state) +
                        (alarm.shelving == Shelving::no ? "" : " shelved"));
    return texts;
}

/// An alarm that keeps its state and calls no observer.
class SilentAlarm : public NamedAlarm<>
{
  public:
    using NamedAlarm<>::NamedAlarm;
    void addObserver(LimitedObjPtr<Observer>) override {}
    void removeObserver(LimitedObjPtr<Observer>) override {}
};

/// An alarm whose functions throw while the test says so.
class FragileAlarm : public NamedAlarm<>
{
  public:
    using NamedAlarm<>::NamedAlarm;
    [[nodiscard]] State getState() const override
    {
        failIf(m_bStateFails);
        return NamedAlarm<>::getState();
    }
    void addObserver(LimitedObjPtr<Observer> in_pObserver) override
    {
        failIf(m_bObserversFail);
        NamedAlarm<>::addObserver(in_pObserver);
    }
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override
    {
        NamedAlarm<>::removeObserver(in_pObserver);
        failIf(m_bObserversFail);
    }

    bool m_bStateFails = false;
    bool m_bObserversFail = false;

  private:
    static void failIf(bool in_bFails)
    {
        if (in_bFails)
            throw std::runtime_error("as the test asks");
    }
};

/// An alarm whose description is a member.
class DescribedAlarm : public NamedAlarm<>
{
  public:
    using NamedAlarm<>::NamedAlarm;
    std::ostream& writeDescription(std::ostream& out_stream) const override
    {
        if (m_bThrows)
            throw std::runtime_error("no text");
        return out_stream << m_strText;
    }

    std::string m_strText = "first";
    bool m_bThrows = false;
};

/// Has a journal whose clocks stand still until the test moves them.
class AlarmJournalFixture : public testing::Test
{
  protected:
    ~AlarmJournalFixture() override { registry().clear(); }

    /// Makes the journal. Alarms that are shelved by themselves need 4 changes within 10 s.
    AlarmJournal& make() { return make(options()); }
    AlarmJournal& make(const AlarmJournal::Options& in_options)
    {
        m_journal.emplace(in_options, clocks());
        return *m_journal;
    }

    static AlarmJournal::Options options()
    {
        AlarmJournal::Options options;
        options.uiFlapChanges = 3;
        options.flapTime = 10s;
        options.calmTime = 60s;
        return options;
    }

    AlarmJournal::Clocks clocks()
    {
        return {[this] { return m_wall; }, [this] { return m_monotonic; }};
    }

    void pass(std::chrono::milliseconds in_time)
    {
        m_wall += in_time;
        m_monotonic += in_time;
    }

    /// Changes an alarm a number of times, without time passing. It is off before and, after an
    /// even number, off again.
    static void toggle(LimitedObjPtr<Alarm> in_pAlarm, int in_iChanges)
    {
        for (int iChange = 0; iChange < in_iChanges; ++iChange)
            in_pAlarm->setState(in_pAlarm->getState() == Alarm::ALARM_ON ? Alarm::ALARM_OFF
                                                                         : Alarm::ALARM_ON);
    }

    AlarmJournal::Entry entry(const std::string& in_strId)
    {
        for (const AlarmJournal::Entry& alarm : m_journal->alarms())
            if (alarm.strId == in_strId)
                return alarm;
        throw std::out_of_range(in_strId);
    }

    AlarmJournal::WallTime m_wall{std::chrono::seconds(1795402800)};
    AlarmJournal::MonotonicTime m_monotonic{1000s};
    std::optional<AlarmJournal> m_journal;
};

using AlarmJournalAlarms = AlarmJournalFixture;
using AlarmJournalRemoval = AlarmJournalFixture;
using AlarmJournalShelving = AlarmJournalFixture;
using AlarmJournalOutOfService = AlarmJournalFixture;
using AlarmJournalReaders = AlarmJournalFixture;
using AlarmJournalOutput = AlarmJournalFixture;

} // namespace

// What it sees

TEST_F(AlarmJournalAlarms, ThatAreOnWhenItIsMadeAreInIt)
{
    add("off");
    add("on")->set();
    const AlarmJournal& journal = make();
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("off off", "on on"));
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("on on"));
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("on on"));
    EXPECT_EQ(m_wall, entry("on").since);
    EXPECT_EQ(1U, entry("on").ulTimesOn);
}

TEST_F(AlarmJournalAlarms, ThatAreAddedLaterAreInIt)
{
    const AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("a off"));
    pAlarm->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalAlarms, ThatAreOnWhenTheyAreAddedAreOn)
{
    const AlarmJournal& journal = make();
    auto* const pAlarm = new NamedAlarm("a");
    pAlarm->set();
    add(pAlarm);
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalAlarms, HaveTheirTimesAndCounts)
{
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    make();
    pass(5s);
    toggle(pAlarm, 3);
    pass(1500ms);
    const AlarmJournal::Entry alarm = entry("a");
    EXPECT_EQ("a", alarm.strId);
    EXPECT_EQ("description of a", alarm.strText);
    EXPECT_EQ(m_wall - 1500ms, alarm.since);
    EXPECT_EQ(1500ms, alarm.duration);
    EXPECT_EQ(2U, alarm.ulTimesOn);
    EXPECT_EQ(3U, alarm.ulChanges);
    EXPECT_EQ(Shelving::no, alarm.shelving);
}

TEST_F(AlarmJournalAlarms, KeepTheirDurationWhenTheWallClockIsSet)
{
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    make();
    pAlarm->set();
    pass(10s);
    m_wall -= 1h;
    EXPECT_EQ(10s, entry("a").duration);
}

TEST_F(AlarmJournalAlarms, HaveTheirOwnSeverityNotThatOfTheHandle)
{
    make();
    add(new NamedAlarm("a", Alarm::WARN_SEVERITY));
    EXPECT_EQ(Alarm::WARN_SEVERITY, entry("a").severity);
}

TEST_F(AlarmJournalAlarms, HaveTheTextOfTheTimeWhenTheyWentOn)
{
    make();
    auto* const pAlarm = new DescribedAlarm("a");
    const LimitedObjPtr<Alarm> pHandle = add(pAlarm);
    EXPECT_EQ("first", entry("a").strText);
    pAlarm->m_strText = "second";
    pHandle->set();
    EXPECT_EQ("second", entry("a").strText);
    pAlarm->m_strText = "third";
    pHandle->reset();
    EXPECT_EQ("second", entry("a").strText);
}

TEST_F(AlarmJournalAlarms, KeepTheirTextWhenTheyCannotWriteIt)
{
    const CapturedLog log;
    make();
    auto* const pAlarm = new DescribedAlarm("a");
    const LimitedObjPtr<Alarm> pHandle = add(pAlarm);
    pAlarm->m_bThrows = true;
    pHandle->set();
    EXPECT_EQ("first", entry("a").strText);
    EXPECT_EQ(State::on, entry("a").state);
    EXPECT_EQ(1U, log.lines().size()) << "that of the alarm";
}

TEST_F(AlarmJournalAlarms, ThatCannotBeObservedAreTriedAgainByThePoll)
{
    AlarmJournal& journal = make();
    auto* const pAlarm = new FragileAlarm("a");
    pAlarm->m_bObserversFail = true;
    const CapturedLog log;
    add(pAlarm);
    const LogLine lost = errorLine(
        s_szLogger,
        "cannot stop observing alarm [a] : as the test asks ; if it outlives the journal, the "
        "process may crash");
    EXPECT_THAT(
        log.lines(),
        ElementsAre(errorLine(s_szLogger, "cannot read alarm [a] : as the test asks ; the "
                                          "journal lacks its last change until the next poll "
                                          "can read it"),
                    lost));
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("a removed"));
    pAlarm->m_bObserversFail = false;
    journal.poll();
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("a off"));
    pAlarm->set();
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("a on"));
    pAlarm->m_bObserversFail = true;
    log4cplus::Logger::getRoot().setLogLevel(ERROR_LOG_LEVEL);
    registry().clear();
    EXPECT_EQ(lost, log.lines().back());
}

TEST_F(AlarmJournalAlarms, WhoseStateCannotBeReadAreReadAgainByThePoll)
{
    AlarmJournal& journal = make();
    // Its own lines are off, as they need the state, too.
    auto* const pAlarm = new FragileAlarm("a", Alarm::INFO_SEVERITY);
    add(pAlarm);
    pAlarm->m_bStateFails = true;
    const CapturedLog log(ERROR_LOG_LEVEL);
    pAlarm->AlarmImpl::setState(Alarm::ALARM_ON);
    EXPECT_EQ(errorLine(s_szLogger,
                        "cannot read alarm [a] : as the test asks ; the journal lacks its "
                        "last change until the next poll can read it"),
              log.lines().back());
    pAlarm->m_bStateFails = false;
    journal.poll();
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalAlarms, OfTheSystemAreSeenAlthoughTheRegistryDoesNotPassThemOn)
{
    const AlarmJournal& journal = make();
    NamedAlarm<SystemOverloadAlarmImpl> direct("direct");
    direct.set();
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("system.overload on"));
    direct.reset();
    const LimitedObjPtr<Alarm> pSource = add(new NamedAlarm<SystemOverloadAlarmImpl>("source"));
    pSource->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("source on", "system.overload on"));
    pSource->reset();
    EXPECT_THAT(textsOf(journal.activeAlarms()), IsEmpty());
    EXPECT_EQ(2U, entry("system.overload").ulTimesOn);
}

TEST_F(AlarmJournalAlarms, ThatAreMaskedAreOff)
{
    const AlarmJournal& journal = make();
    auto* const pMasked = new NamedAlarm<MaskableAlarmImpl>("masked");
    const LimitedObjPtr<Alarm> pHandle = add(pMasked);
    const LimitedObjPtr<Alarm> pMask = add("mask");
    pMasked->addAlarm(*pMask);
    pHandle->set();
    pMask->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("mask on"));
    pMask->reset();
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("masked on"));
}

TEST_F(AlarmJournalAlarms, AreSeenWhenTheyAreCalledDirectly)
{
    const AlarmJournal& journal = make();
    auto* const pAlarm = new NamedAlarm<CountedStateAlarmImpl>("a");
    add(pAlarm);
    pAlarm->set();
    pAlarm->set();
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("a on"));
    pAlarm->reset();
    pAlarm->reset();
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("a on", "a off"));
}

TEST_F(AlarmJournalAlarms, ThatCallNoObserversAreSeenThroughTheirHandles)
{
    const AlarmJournal& journal = make();
    add(new SilentAlarm("a"))->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalAlarms, ThatCallNoObserversAreSeenByAPoll)
{
    AlarmJournal& journal = make();
    auto* const pAlarm = new SilentAlarm("a");
    add(pAlarm);
    pAlarm->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()), IsEmpty());
    const std::uint64_t ulBefore = journal.changeCount();
    EXPECT_LT(ulBefore, journal.poll());
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalAlarms, ReportTheStateOfTheirClass)
{
    const AlarmJournal& journal = make();
    auto* const pAlarm = new LyingAlarm<AlarmImpl>("a");
    const LimitedObjPtr<Alarm> pHandle = add(pAlarm);
    pHandle->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()), IsEmpty());
    pAlarm->m_reported = Alarm::ALARM_ON;
    pHandle->reset();
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalAlarms, HaveABoundedHistory)
{
    AlarmJournal::Options options;
    options.uiHistoryOfAll = 3;
    options.uiHistoryOfEach = 2;
    const AlarmJournal& journal = make(options);
    const LimitedObjPtr<Alarm> pFirst = add("first");
    const LimitedObjPtr<Alarm> pSecond = add("second");
    toggle(pFirst, 3);
    pass(1s);
    pSecond->set();
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("first off", "first on", "second on"));
    EXPECT_THAT(textsOf(journal.history("first")), ElementsAre("first off", "first on"));
    EXPECT_THAT(textsOf(journal.history("unknown")), IsEmpty());
    EXPECT_EQ(m_wall, journal.history().back().time);
    EXPECT_EQ(m_monotonic, journal.history().back().monotonicTime);
}

TEST_F(AlarmJournalAlarms, MayHaveNoHistory)
{
    AlarmJournal::Options options;
    options.uiHistoryOfAll = 0;
    options.uiHistoryOfEach = 0;
    options.uiFlapChanges = 0;
    const AlarmJournal& journal = make(options);
    toggle(add("a"), 50);
    EXPECT_THAT(journal.history(), IsEmpty());
    EXPECT_THAT(journal.history("a"), IsEmpty());
    EXPECT_EQ(50U, entry("a").ulChanges);
    EXPECT_EQ(Shelving::no, entry("a").shelving);
}

TEST_F(AlarmJournalAlarms, AreInEachOfSeveralJournals)
{
    const AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    {
        const AlarmJournal other;
        pAlarm->set();
        EXPECT_THAT(textsOf(other.activeAlarms()), ElementsAre("a on"));
    }
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
    pAlarm->reset();
    EXPECT_THAT(textsOf(journal.activeAlarms()), IsEmpty());
}

TEST_F(AlarmJournalAlarms, OutliveItWithoutBeingObserved)
{
    auto* const pAlarm = new NamedAlarm("a");
    const LimitedObjPtr<Alarm> pHandle = add(pAlarm);
    make();
    pHandle->set();
    m_journal.reset();
    pHandle->reset();
    pAlarm->set();
    EXPECT_EQ(Alarm::ALARM_ON, pHandle->getState());
}

// Alarms that the registry removes

TEST_F(AlarmJournalRemoval, TakesAnAlarmFromTheListThatIsOn)
{
    const AlarmJournal& journal = make();
    add("off");
    add("on")->set();
    pass(5s);
    registry().clear();
    EXPECT_THAT(textsOf(journal.activeAlarms()), IsEmpty());
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("off removed", "on removed"));
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("on on", "on removed"));
    EXPECT_EQ(m_wall, entry("on").since);
    EXPECT_EQ(2U, journal.summary().ulChanges);
}

TEST_F(AlarmJournalRemoval, LetsAnAlarmWithTheSameIdContinue)
{
    const AlarmJournal& journal = make();
    add("a")->set();
    registry().clear();
    const LimitedObjPtr<Alarm> pNew = add("a");
    EXPECT_EQ(State::off, entry("a").state);
    pNew->set();
    EXPECT_EQ(2U, entry("a").ulTimesOn);
    EXPECT_THAT(textsOf(journal.history("a")), ElementsAre("a on", "a removed", "a on"));
}

TEST_F(AlarmJournalRemoval, MayBeFollowedByTheNextAlarmInAnObserver)
{
    const AlarmJournal& journal = make();
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    const LimitedObjPtr<Alarm> pOld = add("a");
    pOld->addObserver(&observer);
    changes.m_onChange = []
    {
        registry().clear();
        add("a")->set();
        registry().clear();
        add("a");
    };
    pOld->set();
    EXPECT_THAT(textsOf(journal.alarms()), ElementsAre("a off"));
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("a on", "a removed", "a on", "a removed"));
    registry().setAlarm("a");
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on"));
}

TEST_F(AlarmJournalRemoval, MayHappenTwiceInAnObserver)
{
    AlarmJournal::Options options;
    options.uiRemovedAlarms = 0;
    const AlarmJournal& journal = make(options);
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    const LimitedObjPtr<Alarm> pOld = add("a");
    pOld->addObserver(&observer);
    changes.m_onChange = []
    {
        registry().clear();
        add("a")->set();
        registry().clear();
    };
    pOld->set();
    EXPECT_THAT(journal.alarms(), IsEmpty());
}

TEST_F(AlarmJournalRemoval, KeepsTheLastAlarmsAndThoseThatAnOperatorHasShelved)
{
    AlarmJournal::Options options;
    options.uiRemovedAlarms = 2;
    AlarmJournal& journal = make(options);
    for (const char* const szId : {"shelved", "1", "2", "3"})
    {
        add(szId);
        journal.shelve("shelved");
        registry().clear();
    }
    EXPECT_THAT(textsOf(journal.alarms()),
                ElementsAre("2 removed", "3 removed", "shelved removed shelved"));
    add("shelved");
    EXPECT_EQ(Shelving::byOperator, entry("shelved").shelving);
}

TEST_F(AlarmJournalRemoval, UnshelvesAnAlarmThatFlaps)
{
    make();
    toggle(add("a"), 4);
    const CapturedLog log;
    registry().clear();
    EXPECT_THAT(log.lines(), ElementsAre(infoLine(
                                 s_szLogger, "alarm [a] is no longer shelved, as it is no longer "
                                             "in the registry : it is removed and has changed 0 "
                                             "time(s) while it was shelved")));
    EXPECT_EQ(Shelving::no, entry("a").shelving);
    toggle(add("a"), 3);
    EXPECT_EQ(Shelving::no, entry("a").shelving) << "it has not flapped since it was added";
}

// Shelving

TEST_F(AlarmJournalShelving, ByAnOperatorCountsWithoutAnnouncing)
{
    AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    EXPECT_TRUE(journal.shelve("a"));
    EXPECT_FALSE(journal.shelve("a"));
    EXPECT_FALSE(journal.shelve("unknown"));
    const std::uint64_t ulBefore = journal.changeCount();
    pAlarm->set();
    EXPECT_EQ(ulBefore, journal.changeCount());
    EXPECT_THAT(textsOf(journal.activeAlarms()), ElementsAre("a on shelved"));
    EXPECT_EQ(Shelving::byOperator, entry("a").shelving);
    EXPECT_EQ(1U, entry("a").ulChanges);
    EXPECT_EQ(1U, journal.summary().ulChanges);
    EXPECT_THAT(journal.history(), IsEmpty());
    EXPECT_THAT(textsOf(journal.history("a")), ElementsAre("a on"));
}

TEST_F(AlarmJournalShelving, ByAnOperatorEndsByAnOperatorOnly)
{
    AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    EXPECT_FALSE(journal.unshelve("a"));
    journal.shelve("a");
    toggle(pAlarm, 7);
    pass(24h);
    journal.poll();
    EXPECT_EQ(Shelving::byOperator, entry("a").shelving);
    const std::uint64_t ulBefore = journal.changeCount();
    EXPECT_TRUE(journal.unshelve("a"));
    EXPECT_FALSE(journal.unshelve("a"));
    EXPECT_LT(ulBefore, journal.changeCount());
    EXPECT_EQ(Shelving::no, entry("a").shelving);
    pAlarm->reset();
    EXPECT_THAT(textsOf(journal.history()), ElementsAre("a off"));
}

TEST_F(AlarmJournalShelving, ByAnOperatorIsLogged)
{
    AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    const CapturedLog log(WARN_LOG_LEVEL);
    journal.shelve("a");
    EXPECT_THAT(log.lines(), ElementsAre(warnLine(
                                 s_szLogger, "alarm [a] is shelved, as an operator has requested "
                                             ": its changes are counted, but not announced. "
                                             "Unshelve it when its cause is repaired")));
    toggle(pAlarm, 3);
    const CapturedLog later;
    journal.unshelve("a");
    EXPECT_THAT(later.lines(),
                ElementsAre(infoLine(
                    s_szLogger, "alarm [a] is no longer shelved, as an operator has requested : "
                                "it is on and has changed 3 time(s) while it was shelved")));
}

TEST_F(AlarmJournalShelving, HappensByItselfWhenAnAlarmChangesTooOften)
{
    const AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    toggle(pAlarm, 3);
    EXPECT_EQ(Shelving::no, entry("a").shelving);
    const CapturedLog log;
    pass(10s);
    toggle(pAlarm, 1);
    EXPECT_EQ(Shelving::flapping, entry("a").shelving);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(infoLine(s_szLogger, "Alarm [a] : ALARM_OFF"),
                    warnLine(s_szLogger,
                             "alarm [a] is shelved, as it has changed more than 3 time(s) "
                             "within 10 s : its changes are counted, but not announced until "
                             "it has not changed for 60 s. Find out what makes it flap, or "
                             "change the thresholds of what sets it")));
    const std::uint64_t ulBefore = journal.changeCount();
    toggle(pAlarm, 5);
    EXPECT_EQ(ulBefore, journal.changeCount());
    EXPECT_EQ(9U, entry("a").ulChanges);
    EXPECT_EQ(4U, journal.history().size());
}

TEST_F(AlarmJournalShelving, NeedsTheChangesWithinTheTime)
{
    make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    for (int iChange = 0; iChange < 20; ++iChange)
    {
        toggle(pAlarm, 1);
        pass(3334ms);
    }
    EXPECT_EQ(Shelving::no, entry("a").shelving);
}

TEST_F(AlarmJournalShelving, EndsByAPollWhenTheAlarmHasCalmedDown)
{
    AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    toggle(pAlarm, 4);
    pass(30s);
    toggle(pAlarm, 1);
    pass(59999ms);
    journal.poll();
    EXPECT_EQ(Shelving::flapping, entry("a").shelving);
    pass(1ms);
    const std::uint64_t ulBefore = journal.changeCount();
    const CapturedLog log;
    EXPECT_LT(ulBefore, journal.poll());
    EXPECT_EQ(Shelving::no, entry("a").shelving);
    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(
                    s_szLogger, "alarm [a] is no longer shelved, as it has not changed for 60 s "
                                ": it is on and has changed 1 time(s) while it was shelved")));
    toggle(pAlarm, 1);
    EXPECT_EQ(Shelving::no, entry("a").shelving);
}

TEST_F(AlarmJournalShelving, EndsByTheNextChangeWhenTheAlarmHasCalmedDown)
{
    const AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    toggle(pAlarm, 4);
    pass(60s);
    const CapturedLog log;
    toggle(pAlarm, 1);
    EXPECT_EQ(Shelving::no, entry("a").shelving);
    EXPECT_EQ(5U, journal.history().size());
    EXPECT_THAT(
        log.lines(),
        ElementsAre(errorLine(s_szLogger, "Alarm [a] : ALARM_ON"),
                    infoLine(s_szLogger,
                             "alarm [a] is no longer shelved, as it has not changed for 60 s "
                             ": it is on and has changed 0 time(s) while it was shelved")));
}

TEST_F(AlarmJournalShelving, MayBeEndedByAnOperatorWhoThenSeesWhetherItStillFlaps)
{
    AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    toggle(pAlarm, 4);
    EXPECT_TRUE(journal.unshelve("a"));
    toggle(pAlarm, 3);
    EXPECT_EQ(Shelving::no, entry("a").shelving);
    toggle(pAlarm, 1);
    EXPECT_EQ(Shelving::flapping, entry("a").shelving);
}

TEST_F(AlarmJournalShelving, MayBeTakenOverByAnOperator)
{
    AlarmJournal& journal = make();
    toggle(add("a"), 4);
    EXPECT_TRUE(journal.shelve("a"));
    pass(1h);
    journal.poll();
    EXPECT_EQ(Shelving::byOperator, entry("a").shelving);
}

TEST_F(AlarmJournalShelving, HasSensibleDefaults)
{
    const AlarmJournal journal;
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    toggle(pAlarm, 10);
    EXPECT_EQ(Shelving::no, journal.alarms().front().shelving);
    toggle(pAlarm, 1);
    EXPECT_EQ(Shelving::flapping, journal.alarms().front().shelving);
}

TEST_F(AlarmJournalShelving, WritesPartsOfASecond)
{
    AlarmJournal::Options options;
    options.uiFlapChanges = 1;
    options.flapTime = 1500ms;
    make(options);
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    const CapturedLog log(WARN_LOG_LEVEL);
    toggle(pAlarm, 2);
    ASSERT_EQ(2U, log.lines().size());
    EXPECT_THAT(log.lines().back().strText,
                testing::HasSubstr("more than 1 time(s) within 1500 ms : "));
}

// The alarm that logs nothing itself

TEST_F(AlarmJournalOutOfService, IsAStateOfItsOwnAndLogged)
{
    const AlarmJournal& journal = make();
    auto* const pAlarm = new SystemOutOfServiceAlarm;
    add(pAlarm);
    const CapturedLog log;
    pAlarm->set();
    EXPECT_THAT(textsOf(journal.activeAlarms()),
                ElementsAre("system.out-of-service out of service"));
    pAlarm->reset();
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "Alarm [system.out-of-service] : ALARM_ON"),
                            infoLine(s_szLogger, "Alarm [system.out-of-service] : ALARM_OFF")));
}

TEST_F(AlarmJournalOutOfService, IsLoggedOnceByTwoJournals)
{
    std::optional<AlarmJournal> first(std::in_place);
    const AlarmJournal second;
    const LimitedObjPtr<Alarm> pAlarm = add(new SystemOutOfServiceAlarm);
    const CapturedLog log;
    pAlarm->set();
    EXPECT_EQ(1U, log.lines().size());
    first.reset();
    pAlarm->reset();
    EXPECT_EQ(2U, log.lines().size());
}

TEST_F(AlarmJournalOutOfService, IsNotLoggedWhileItIsShelved)
{
    AlarmJournal& journal = make();
    const LimitedObjPtr<Alarm> pAlarm = add(new SystemOutOfServiceAlarm);
    journal.shelve("system.out-of-service");
    const CapturedLog log;
    pAlarm->set();
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Inventory

TEST_F(AlarmJournalReaders, DescribeEachAlarmThatTheLibraryMakes)
{
    class Program : public ApplicationImpl
    {
      public:
        Program() : ApplicationImpl("program") {}
        void run() override {}
    };
    const AlarmJournal& journal = make();
    const Program program;
    AggregateSystemOverloadAlarm::sGetRegistryInstance();
    add(new SystemOutOfServiceAlarm);
    EXPECT_THAT(textsOf(journal.alarms()),
                ElementsAre("system.configuration.error off", "system.out-of-service off",
                            "system.overload off"));
    ASSERT_EQ(3U, journal.inventory().size());
    for (const AlarmJournal::Description& description : journal.inventory())
    {
        EXPECT_TRUE(description.bDescribed) << description.strId;
        EXPECT_FALSE(description.strCause.empty()) << description.strId;
        EXPECT_FALSE(description.strAction.empty()) << description.strId;
        EXPECT_EQ(entry(description.strId).severity, description.severity) << description.strId;
    }
}

TEST_F(AlarmJournalReaders, GiveTheDescriptionsOfTheProgram)
{
    AlarmJournal& journal = make();
    journal.describe({"a", Alarm::INFO_SEVERITY, "old", "old"});
    const std::uint64_t ulBefore = journal.changeCount();
    journal.describe({"a", Alarm::WARN_SEVERITY, "cause", "action"});
    EXPECT_LT(ulBefore, journal.changeCount());
    const AlarmJournal::Description first = journal.inventory().front();
    EXPECT_EQ("a", first.strId);
    EXPECT_EQ(Alarm::WARN_SEVERITY, first.severity);
    EXPECT_EQ("cause", first.strCause);
    EXPECT_EQ("action", first.strAction);
    EXPECT_EQ(4U, journal.inventory().size());
}

TEST_F(AlarmJournalReaders, ShowWhatIsKnownOfAnAlarmWithoutADescription)
{
    const AlarmJournal& journal = make();
    add(new NamedAlarm("a", Alarm::WARN_SEVERITY));
    const AlarmJournal::Description first = journal.inventory().front();
    EXPECT_EQ("a", first.strId);
    EXPECT_EQ(Alarm::WARN_SEVERITY, first.severity);
    EXPECT_EQ("description of a", first.strCause);
    EXPECT_EQ("", first.strAction);
    EXPECT_FALSE(first.bDescribed);
    registry().clear();
    EXPECT_EQ(3U, journal.inventory().size());
}

// Readers

TEST_F(AlarmJournalReaders, CountTheAlarmsOfEachSeverity)
{
    AlarmJournal& journal = make();
    add(new NamedAlarm("1", Alarm::WARN_SEVERITY));
    add(new NamedAlarm("2", Alarm::WARN_SEVERITY))->set();
    add(new NamedAlarm("3", Alarm::WARN_SEVERITY))->set();
    add(new NamedAlarm("4", Alarm::ERROR_SEVERITY))->set();
    journal.shelve("4");
    const AlarmJournal::Summary summary = journal.summary();
    ASSERT_EQ(2U, summary.counts.size());
    EXPECT_EQ(Alarm::ERROR_SEVERITY, summary.counts[0].severity);
    EXPECT_EQ(0U, summary.counts[0].uiOn);
    EXPECT_EQ(0U, summary.counts[0].uiOff);
    EXPECT_EQ(1U, summary.counts[0].uiShelved);
    EXPECT_EQ(Alarm::WARN_SEVERITY, summary.counts[1].severity);
    EXPECT_EQ(2U, summary.counts[1].uiOn);
    EXPECT_EQ(1U, summary.counts[1].uiOff);
    EXPECT_EQ(0U, summary.counts[1].uiShelved);
    EXPECT_EQ(3U, summary.ulChanges);
}

TEST_F(AlarmJournalReaders, SeeThatSomethingHasChanged)
{
    AlarmJournal& journal = make();
    std::uint64_t ulBefore = journal.changeCount();
    const auto grows = [&]
    {
        const std::uint64_t ulLast = std::exchange(ulBefore, journal.changeCount());
        return ulBefore > ulLast;
    };
    EXPECT_FALSE(grows());
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    EXPECT_TRUE(grows());
    pAlarm->set();
    EXPECT_TRUE(grows());
    pAlarm->set();
    EXPECT_EQ(ulBefore, journal.poll());
    EXPECT_FALSE(grows());
    journal.shelve("a");
    EXPECT_TRUE(grows());
    registry().clear();
    EXPECT_TRUE(grows());
    EXPECT_EQ(ulBefore, journal.content().ulChangeCount);
}

TEST_F(AlarmJournalReaders, AreUsedByObserversAndAppenders)
{
    AlarmJournal& journal = make();
    const CapturedLog log;
    std::vector<std::string> texts;
    const auto read = [&]
    {
        for (const AlarmJournal::Entry& alarm : journal.activeAlarms())
            texts.push_back(alarm.strId);
        static_cast<void>(journal.content());
        journal.poll();
    };
    AlarmChanges changes;
    changes.m_onChange = read;
    AlarmChanges::OfAlarm observer(changes, "observer");
    const CallbackAppender appender([&read](const std::string&) { read(); }, s_szLogger);
    const LimitedObjPtr<Alarm> pAlarm = add("a");
    pAlarm->addObserver(&observer);
    pAlarm->set();
    EXPECT_THAT(texts, ElementsAre("a", "a"));
    journal.shelve("a");
    EXPECT_EQ(3U, texts.size());
}

TEST_F(AlarmJournalReaders, UseTheClocksOfTheSystemByDefault)
{
    const auto wall = std::chrono::system_clock::now();
    const auto monotonic = std::chrono::steady_clock::now();
    const AlarmJournal journal;
    add("a")->set();
    EXPECT_LE(wall, journal.content().time);
    EXPECT_LE(wall, journal.history().front().time);
    EXPECT_LE(monotonic, journal.history().front().monotonicTime);
    EXPECT_GE(std::chrono::system_clock::now(), journal.history().front().time);
    EXPECT_GE(std::chrono::steady_clock::now(), journal.history().front().monotonicTime);
}

// Output

TEST_F(AlarmJournalOutput, IsTextForPeople)
{
    AlarmJournal& journal = make();
    journal.describe({"a\n", Alarm::WARN_SEVERITY, "cause\x1b", "action\xff"});
    m_wall += 42ms;
    const LimitedObjPtr<Alarm> pAlarm = add(new NamedAlarm("a\n", Alarm::WARN_SEVERITY));
    pAlarm->set();
    add("b");
    add("c")->set();
    journal.shelve("c");
    pass(61s);
    std::ostringstream text;
    journal.writeText(text);
    const std::string strInventory = text.str().substr(text.str().find("ERROR system"));
    EXPECT_EQ("Alarms at 2026-11-23T03:01:01.042Z, after 2 change(s)\n"
              "ERROR : 0 on, 1 off, 1 shelved\n"
              "WARN : 1 on, 0 off, 0 shelved\n"
              "\n"
              "Alarms that are on or shelved\n"
              "WARN a\\n : on since 2026-11-23T03:00:00.042Z, 61 s, on 1 time(s), changed 1 "
              "time(s)\n"
              "    description of a\\n\n"
              "    What to do : action\\xff\n"
              "ERROR c : on since 2026-11-23T03:00:00.042Z, 61 s, on 1 time(s), changed 1 time(s), "
              "shelved : operator\n"
              "    description of c\n"
              "    What to do : not described\n"
              "\n"
              "Last changes\n"
              "2026-11-23T03:00:00.042Z a\\n : on\n"
              "2026-11-23T03:00:00.042Z c : on\n"
              "\n"
              "Alarms that can go on\n"
              "WARN a\\n : cause\\x1b\n"
              "    What to do : action\\xff\n"
              "ERROR b : description of b\n"
              "    What to do : not described\n"
              "ERROR c : description of c\n"
              "    What to do : not described\n" +
                  strInventory,
              text.str());
}

TEST_F(AlarmJournalOutput, IsJsonForPrograms)
{
    AlarmJournal& journal = make();
    journal.describe({"a\"", Alarm::WARN_SEVERITY, "cause\x1b", "action\xff"});
    m_wall += 42ms;
    add(new NamedAlarm("a\"", Alarm::WARN_SEVERITY))->set();
    add(new NamedAlarm("b", static_cast<Alarm::Severity>(12345)));
    pass(61s);
    std::ostringstream text;
    journal.writeJson(text);
    std::string strJson = text.str();
    const std::size_t uiLibrary = strJson.find(",{\"id\":\"system.configuration.error\"");
    ASSERT_NE(std::string::npos, uiLibrary);
    EXPECT_EQ("]}\n", strJson.substr(strJson.size() - 3));
    EXPECT_EQ(
        R"({"time":"2026-11-23T03:01:01.042Z","changes":1,)"
        R"("summary":[{"severity":"WARN","on":1,"off":0,"shelved":0},)"
        R"({"severity":"12345","on":0,"off":1,"shelved":0}],)"
        R"("alarms":[{"id":"a\"","severity":"WARN","state":"on",)"
        R"("since":"2026-11-23T03:00:00.042Z","duration_ms":61000,"times_on":1,"changes":1,)"
        R"("shelved":"no","text":"description of a\""},)"
        R"({"id":"b","severity":"12345","state":"off",)"
        R"("since":"2026-11-23T03:00:00.042Z","duration_ms":61000,"times_on":0,"changes":0,)"
        R"("shelved":"no","text":"description of b"}],)"
        R"("history":[{"time":"2026-11-23T03:00:00.042Z","id":"a\"","state":"on"}],)"
        R"("inventory":[{"id":"a\"","severity":"WARN","cause":"cause\u001b","action":"action\\xff",)"
        R"("described":true},)"
        R"({"id":"b","severity":"12345","cause":"description of b","action":"","described":false})",
        strJson.substr(0, uiLibrary));
}

TEST_F(AlarmJournalOutput, HasAWordForEachState)
{
    AlarmJournal& journal = make();
    add("removed")->set();
    registry().clear();
    toggle(add("flapping"), 4);
    add("shelved");
    journal.shelve("shelved");
    add(new SystemOutOfServiceAlarm)->set();
    std::ostringstream text;
    journal.writeJson(text);
    for (const char* const szWords :
         {"\"state\":\"removed\"", "\"state\":\"off\"", "\"state\":\"out-of-service\"",
          "\"shelved\":\"flapping\"", "\"shelved\":\"operator\""})
        EXPECT_THAT(text.str(), testing::HasSubstr(szWords));
}

} // namespace Velmora::Test
