// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/SigChldGuard.h"

#include "velmora/application/GatedGuard.h"

#include <ace/Thread_Mutex.h>

#include <pthread.h>

#include <csignal>

namespace Velmora
{

namespace
{

extern "C" void doNothingOnSigChld(int) {}

/// The state that all guards share, and its handling across a fork.
class SharedState
{
  public:
    static void enter()
    {
        const GatedGuard<ACE_Thread_Mutex> guard(mutex());
        if (s_uiNumGuards++ != 0)
            return;
        struct sigaction action = {};
        action.sa_handler = &doNothingOnSigChld;
        // System calls of other threads must not fail because a command ends.
        action.sa_flags = SA_RESTART;
        sigaction(SIGCHLD, &action, &s_former);
    }

    static void leave()
    {
        const GatedGuard<ACE_Thread_Mutex> guard(mutex());
        if (--s_uiNumGuards == 0)
            restore();
    }

    static void installForkHandlers() { pthread_atfork(nullptr, nullptr, &startAnewInChild); }

  private:
    static void restore() { sigaction(SIGCHLD, &s_former, nullptr); }

    /// The threads with guards do not exist in the child.
    static void startAnewInChild()
    {
        if (s_uiNumGuards != 0)
            restore();
        s_uiNumGuards = 0;
    }

    /// Guards `s_uiNumGuards` and `s_former`. Nothing else runs while it is held. Never destroyed.
    static ACE_Thread_Mutex& mutex()
    {
        static ACE_Thread_Mutex& s_mutex = *new ACE_Thread_Mutex;
        return s_mutex;
    }
    static inline unsigned int s_uiNumGuards = 0;
    static inline struct sigaction s_former = {};
};

} // namespace

SigChldGuard::SigChldGuard()
{
    static const bool s_bInstalled = (SharedState::installForkHandlers(), true);
    static_cast<void>(s_bInstalled);
    SharedState::enter();
}

SigChldGuard::~SigChldGuard() { SharedState::leave(); }

} // namespace Velmora
