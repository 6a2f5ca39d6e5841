// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/StateMachine.h"

#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(StateMachine)

namespace Velmora
{

StateMachineNoT::StateMachineNoT() : m_strInitialStateName("StateMachineNoTUndefStateName") {}

StateMachineNoT::StateMachineNoT(const StateMachineNoT& in_machine)
    : m_strInitialStateName(in_machine.m_strInitialStateName)
{
}

// An assignment to itself stops the machine, too, so there is no test for it.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
StateMachineNoT& StateMachineNoT::operator=(const StateMachineNoT& in_machine)
{
    m_strInitialStateName = in_machine.m_strInitialStateName;
    m_uiReserved = 0;
    m_pReserved = nullptr;
    return *this;
}

StateMachineNoT::~StateMachineNoT() = default;

void StateMachineNoT::setInitialStateName(const char* in_szName)
{
    m_strInitialStateName = in_szName;
}

const Logger& StateMachineNoT::getDefaultLogger() { return *fileScopeLogger(); }

const char* BasicEvent::getTypeString(int in_iType)
{
    switch (in_iType)
    {
    case eUNDEF:
        return "eUNDEF";
    case eSTART:
        return "eSTART";
    case eSTOP:
        return "eSTOP";
    case eKILL:
        return "eKILL";
    case ePROXY_DTOR:
        return "ePROXY_DTOR";
    default:
        return "BasicEvent=???";
    }
}

} // namespace Velmora
