// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstdint>
#include <string>

namespace Velmora
{

class Logger;

/// The part of a state machine that does not depend on its states and events: the name of the
/// initial state, and a logger. A template derives from it, runs the machine, and uses the first
/// three fields for that.
///
/// A copy is a machine that is not running: only the name of the initial state is copied.
///
/// Thread-safety: none. A machine belongs to one thread at a time.
class VELMORA_API StateMachineNoT
{
  public:
    /// Sets the name of the initial state to "StateMachineNoTUndefStateName".
    StateMachineNoT();
    StateMachineNoT(const StateMachineNoT& in_machine);

    /// Copies the name of the initial state, and stops the machine. The second field stays.
    StateMachineNoT& operator=(const StateMachineNoT& in_machine);

    virtual ~StateMachineNoT();

    virtual void setInitialStateName(const char* in_szName);

    /// Returns the logger "keswardin.infra.StateMachine".
    static const Logger& getDefaultLogger();

  protected:
    // Reserved for the template.
    std::uint32_t m_uiReserved = 0;
    std::string m_strReserved;
    void* m_pReserved = nullptr;

    std::string m_strInitialStateName;
};

/// The events that all state machines handle.
///
/// Thread-safety: may be called on any thread.
class VELMORA_API BasicEvent
{
  public:
    enum Type : int
    {
        eUNDEF = 0,
        eSTART = 1,
        eSTOP = 2,
        eKILL = 3,
        ePROXY_DTOR = 4
    };

    /// Returns the name of an event type, such as "eSTART", or "BasicEvent=???" if the value is no
    /// event type.
    [[nodiscard]] static const char* getTypeString(int in_iType);
};

} // namespace Velmora
