// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LevelChange.h"

#include "velmora/logging/OncePerProcess.h"

#include <chrono>
#include <thread>

namespace Velmora
{

namespace
{

/// This copy's number: used until `initialize`, and after it by all copies if this one is the
/// first.
constinit std::atomic<unsigned int> s_uiNumber{0};

} // namespace

constinit std::atomic<unsigned int>* LevelChange::s_pNumber = &s_uiNumber;

constinit thread_local bool LevelChange::s_bOnThisThread = false;

void LevelChange::waitALittle(int in_iTry) noexcept
{
    // A change takes a few microseconds, but the thread that makes it may have to wait for a
    // processor, and a thread of a lower real-time priority gets none from one that only yields.
    constexpr int iYields = 1000;
    if (in_iTry < iYields)
        std::this_thread::yield();
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void LevelChange::startAnewInChild() noexcept
{
    if (s_pNumber->load() % 2 != 0)
        s_pNumber->fetch_add(1);
}

void LevelChange::initialize()
{
    static OncePerProcess<std::atomic<unsigned int>> s_place("LevelChange");
    s_pNumber = s_place.fill(&s_uiNumber);
}

} // namespace Velmora
