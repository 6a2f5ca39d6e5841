// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/SigChldGuard.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"

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
        const GatedGuard<GatedMutex> guard(s_mutex);
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
        const GatedGuard<GatedMutex> guard(s_mutex);
        if (--s_uiNumGuards == 0)
            restore();
    }

    static void installForkHandlers() { pthread_atfork(nullptr, nullptr, &startAnewInChild); }

  private:
    static void restore() VELMORA_REQUIRES(s_mutex) { sigaction(SIGCHLD, &s_former, nullptr); }

    /// The threads with guards do not exist in the child.
    static void startAnewInChild() VELMORA_NO_THREAD_SAFETY_ANALYSIS
    {
        if (s_uiNumGuards != 0)
            restore();
        s_uiNumGuards = 0;
    }

    /// Nothing else runs while it is held. Never destroyed.
    static inline GatedMutex& s_mutex = *new GatedMutex;
    static inline unsigned int s_uiNumGuards VELMORA_GUARDED_BY(s_mutex) = 0;
    static inline struct sigaction s_former VELMORA_GUARDED_BY(s_mutex) = {};
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
