// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/StateMachine.h"

#include "velmora/logging/LogMacros.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

namespace Velmora::Test
{

namespace
{

constexpr const char* s_szNoName = "StateMachineNoTUndefStateName";

/// Exposes the fields, as a template that runs a machine sees them.
class Machine : public StateMachineNoT
{
  public:
    using StateMachineNoT::m_pReserved;
    using StateMachineNoT::m_strInitialStateName;
    using StateMachineNoT::m_strReserved;
    using StateMachineNoT::m_uiReserved;

    Machine() = default;
    Machine(const Machine&) = default;
    Machine& operator=(const Machine&) = default;

    /// Sets the fields as in a machine that is running.
    void fill()
    {
        m_uiReserved = 3;
        m_strReserved = "state";
        m_pReserved = this;
        setInitialStateName("idle");
    }
};

} // namespace

TEST(StateMachine, DoesNotRunAtFirstAndItsInitialStateHasNoName)
{
    const Machine machine;
    EXPECT_EQ(0U, machine.m_uiReserved);
    EXPECT_EQ("", machine.m_strReserved);
    EXPECT_EQ(nullptr, machine.m_pReserved);
    EXPECT_EQ(s_szNoName, machine.m_strInitialStateName);
}

TEST(StateMachine, TakesTheNameOfItsInitialState)
{
    Machine machine;
    std::string strName = "idle";
    machine.setInitialStateName(strName.c_str());
    strName = "gone";
    EXPECT_EQ("idle", machine.m_strInitialStateName);
    machine.setInitialStateName("");
    EXPECT_EQ("", machine.m_strInitialStateName);
}

TEST(StateMachine, ACopyHasTheNameAndDoesNotRun)
{
    Machine machine;
    machine.fill();
    const Machine copy(machine);
    EXPECT_EQ(0U, copy.m_uiReserved);
    EXPECT_EQ("", copy.m_strReserved);
    EXPECT_EQ(nullptr, copy.m_pReserved);
    EXPECT_EQ("idle", copy.m_strInitialStateName);
    EXPECT_EQ(3U, machine.m_uiReserved);
}

TEST(StateMachine, AnAssignmentTakesTheNameStopsAndKeepsTheSecondField)
{
    Machine source;
    source.fill();
    source.setInitialStateName("ringing");
    source.m_strReserved = "of source";
    Machine machine;
    machine.fill();
    EXPECT_EQ(&machine, &(machine = source));
    EXPECT_EQ(0U, machine.m_uiReserved);
    EXPECT_EQ("state", machine.m_strReserved);
    EXPECT_EQ(nullptr, machine.m_pReserved);
    EXPECT_EQ("ringing", machine.m_strInitialStateName);
}

TEST(StateMachine, AnAssignmentToItselfKeepsTheNameAndStops)
{
    Machine machine;
    machine.fill();
    const Machine& same = machine;
    machine = same;
    EXPECT_EQ("idle", machine.m_strInitialStateName);
    EXPECT_EQ("state", machine.m_strReserved);
    EXPECT_EQ(0U, machine.m_uiReserved);
    EXPECT_EQ(nullptr, machine.m_pReserved);
}

TEST(StateMachine, HasItsFieldsInTheOrderThatTemplatesExpect)
{
    const Machine machine;
    const auto* const pBegin = reinterpret_cast<const char*>(&machine);
    const auto offset = [pBegin](const auto& in_field)
    { return reinterpret_cast<const char*>(&in_field) - pBegin; };
    EXPECT_EQ(8, offset(machine.m_uiReserved));
    EXPECT_EQ(16, offset(machine.m_strReserved));
    EXPECT_EQ(48, offset(machine.m_pReserved));
    EXPECT_EQ(56, offset(machine.m_strInitialStateName));
    EXPECT_EQ(sizeof(std::uint32_t), sizeof machine.m_uiReserved);
}

TEST(StateMachine, ItsLoggerIsThatOfItsSourceFile)
{
    const CapturedLog log;
    VELMORA_LOG(StateMachineNoT::getDefaultLogger(), INFO_LOG_LEVEL, "started");
    EXPECT_THAT(log.lines(),
                testing::ElementsAre(infoLine("keswardin.infra.StateMachine", "started")));
    EXPECT_EQ(&StateMachineNoT::getDefaultLogger(), &StateMachineNoT::getDefaultLogger());
}

TEST(BasicEvent, EachTypeHasItsName)
{
    EXPECT_STREQ("eUNDEF", BasicEvent::getTypeString(0));
    EXPECT_STREQ("eSTART", BasicEvent::getTypeString(1));
    EXPECT_STREQ("eSTOP", BasicEvent::getTypeString(2));
    EXPECT_STREQ("eKILL", BasicEvent::getTypeString(3));
    EXPECT_STREQ("ePROXY_DTOR", BasicEvent::getTypeString(4));
}

TEST(BasicEvent, WhatIsNoTypeHasNoName)
{
    for (const int iType : {5, -1, INT_MAX, INT_MIN})
        EXPECT_STREQ("BasicEvent=???", BasicEvent::getTypeString(iType)) << iType;
}

} // namespace Velmora::Test
