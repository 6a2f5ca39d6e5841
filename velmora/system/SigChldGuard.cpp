#include "velmora/system/SigChldGuard.h"

#include <pthread.h>

#include <csignal>
#include <mutex>

namespace Velmora
{

namespace
{

extern "C" void doNothingOnSigChld(int) {}

/// What all guards share, and its life over a fork.
class SharedState
{
  public:
    static void enter()
    {
        const std::scoped_lock lock(s_mutex);
        if (s_uiNumGuards++ != 0)
            return;
        struct sigaction action = {};
        action.sa_handler = &doNothingOnSigChld;
        action.sa_flags = SA_RESTART;
        sigaction(SIGCHLD, &action, &s_former);
    }

    static void leave()
    {
        const std::scoped_lock lock(s_mutex);
        if (--s_uiNumGuards == 0)
            restore();
    }

    static void installForkHandlers()
    {
        pthread_atfork([] { s_mutex.lock(); }, [] { s_mutex.unlock(); }, &startAnewInChild);
    }

  private:
    static void restore() { sigaction(SIGCHLD, &s_former, nullptr); }

    /// The threads that hold guards do not exist in the child.
    static void startAnewInChild()
    {
        if (s_uiNumGuards != 0)
            restore();
        s_uiNumGuards = 0;
        s_mutex.unlock();
    }

    /// Guards what follows.
    static inline std::mutex s_mutex;
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
