#pragma once

#include "velmora/Export.h"

#include <cstdint>
#include <string>

namespace Velmora
{

class Logger;

/// What all state machines share, whatever their states and events: the name of the initial state,
/// and a logger. A template derives from it, which drives the machine and keeps what it needs for
/// that in the first three fields.
///
/// A copy is a machine that does not run: only the name of the initial state is copied.
///
/// Thread-safety: none; a machine belongs to one thread at a time.
class VELMORA_API StateMachineNoT
{
  public:
    /// The initial state is "StateMachineNoTUndefStateName" until it is named.
    StateMachineNoT();
    StateMachineNoT(const StateMachineNoT& in_machine);

    /// Takes the name of the initial state over, and stops running; the second field stays.
    StateMachineNoT& operator=(const StateMachineNoT& in_machine);

    virtual ~StateMachineNoT();

    virtual void setInitialStateName(const char* in_szName);

    /// The logger "keswardin.infra.StateMachine".
    static const Logger& getDefaultLogger();

  protected:
    // Reserved for the template.
    std::uint32_t m_uiReserved = 0;
    std::string m_strReserved;
    void* m_pReserved = nullptr;

    std::string m_strInitialStateName;
};

/// The events that every state machine knows.
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

    /// The name of a type, as in "eSTART"; "BasicEvent=???" for what is none.
    [[nodiscard]] static const char* getTypeString(int in_iType);
};

} // namespace Velmora
