// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ConfigurationTurn.h"

#include "velmora/logging/Logger.h"
#include "velmora/logging/OncePerProcess.h"

#include <atomic>
#include <memory>
#include <thread>

namespace Velmora
{

namespace
{

/// The thread that has the turn; the default id if it is free.
using Owner = std::atomic<std::thread::id>;

/// How long a waiting thread sleeps between two attempts.
constexpr std::chrono::milliseconds s_pause(1);

/// Returns the owner of the turn, which all copies of the library share, since they configure the
/// same loggers. Never destroyed.
Owner& owner()
{
    static Owner& s_owner = []() -> Owner&
    {
        static OncePerProcess<Owner> s_place("ConfigurationTurn");
        if (Owner* const pFound = s_place.get())
            return *pFound;
        return *s_place.fill(new Owner);
    }();
    return s_owner;
}

[[maybe_unused]] const Owner& __force_init_owner__ = owner();

} // namespace

ConfigurationTurn::ConfigurationTurn(std::chrono::steady_clock::time_point in_end)
{
    while (true)
    {
        std::thread::id expected{};
        m_bTaken = owner().compare_exchange_strong(expected, std::this_thread::get_id());
        if (m_bTaken || std::chrono::steady_clock::now() >= in_end)
            return;
        std::this_thread::sleep_for(s_pause);
    }
}

ConfigurationTurn::~ConfigurationTurn()
{
    if (m_bTaken)
        owner().store(std::thread::id());
}

bool ConfigurationTurn::isTaken() { return owner().load() == std::this_thread::get_id(); }

void ConfigurationTurn::startAnewInChild()
{
    if (isTaken())
        return;
    owner().store(std::thread::id());
    std::construct_at(&Logger::sGetConfigMutex());
}

} // namespace Velmora
