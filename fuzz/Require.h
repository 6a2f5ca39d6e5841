// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

namespace Velmora::Fuzz
{

/// Ends the process, which libFuzzer then reports, if a condition does not hold. Prints what is
/// wrong and with which text.
inline void require(bool in_bCondition, const char* in_szWhat, const std::string& in_strText)
{
    if (in_bCondition)
        return;
    std::cerr << in_szWhat << ": \"" << in_strText << "\"\n";
    std::abort();
}

} // namespace Velmora::Fuzz
