// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/TextFormat.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace Velmora
{

namespace
{

constexpr unsigned long s_uiSmallestSize = 128;
constexpr unsigned long s_uiDefaultMaxSize = 4096;
/// The largest length that an int can hold, plus the terminator.
constexpr unsigned long s_uiLargestSize = 1UL + std::numeric_limits<int>::max();

/// Formats into a string of this size. Uses a copy of the arguments, because they can be read only
/// once.
[[gnu::format(printf, 3, 0)]] bool formatIntoSize(std::string& out_strText, unsigned long in_uiSize,
                                                  const char* in_szFormat, std::va_list in_args)
{
    out_strText.resize(in_uiSize);
    std::va_list args;
    va_copy(args, in_args);
    const int iLength = std::vsnprintf(out_strText.data(), in_uiSize, in_szFormat, args);
    va_end(args);
    if (iLength < 0 || static_cast<unsigned long>(iLength) >= in_uiSize)
        return false;
    out_strText.resize(static_cast<unsigned long>(iLength));
    return true;
}

} // namespace

bool vformat(std::string& out_strText, unsigned long in_uiMaxSize, const char* in_szFormat,
             std::va_list in_args)
{
    unsigned long uiSize = std::max<unsigned long>(out_strText.capacity(), s_uiSmallestSize);
    const unsigned long uiMaxSize = std::min(in_uiMaxSize, s_uiLargestSize);
    while (!formatIntoSize(out_strText, uiSize, in_szFormat, in_args))
    {
        if (uiSize > uiMaxSize / 2)
        {
            out_strText = "???";
            return false;
        }
        uiSize *= 2;
    }
    return true;
}

bool format(std::string& out_strText, unsigned long in_uiMaxSize, const char* in_szFormat, ...)
{
    std::va_list args;
    va_start(args, in_szFormat);
    const bool bFits = vformat(out_strText, in_uiMaxSize, in_szFormat, args);
    va_end(args);
    return bFits;
}

bool format(std::string& out_strText, const char* in_szFormat, ...)
{
    std::va_list args;
    va_start(args, in_szFormat);
    const bool bFits = vformat(out_strText, s_uiDefaultMaxSize, in_szFormat, args);
    va_end(args);
    return bFits;
}

} // namespace Velmora
