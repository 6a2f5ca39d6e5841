// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <chrono>
#include <thread>

namespace Velmora::Test
{

/// Polls a condition until it is true or the limit is over. Returns whether it became true.
template <class Condition>
[[nodiscard]] bool waitUntil(Condition in_condition,
                             std::chrono::steady_clock::duration in_limit = std::chrono::minutes(2))
{
    const auto deadline = std::chrono::steady_clock::now() + in_limit;
    while (!in_condition())
    {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace Velmora::Test
