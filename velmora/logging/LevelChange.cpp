// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LevelChange.h"

#include "velmora/logging/OncePerProcess.h"

namespace Velmora
{

namespace
{

/// This copy's number: used until `initialize`, and after it by all copies if this one is the
/// first.
constinit std::atomic<unsigned int> s_uiNumber{0};

} // namespace

constinit std::atomic<unsigned int>* LevelChange::s_pNumber = &s_uiNumber;

void LevelChange::initialize()
{
    static OncePerProcess<std::atomic<unsigned int>> s_place("LevelChange");
    s_pNumber = s_place.fill(&s_uiNumber);
}

} // namespace Velmora
