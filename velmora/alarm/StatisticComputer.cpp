// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/StatisticComputer.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(StatisticComputer)

namespace Velmora
{

void MinMaxComputer::reset() { *this = MinMaxComputer(); }

void MinMaxComputer::addData(double in_dValue)
{
    // Comparisons with a NaN are false, so a NaN is ignored. `std::min` and `std::max` could
    // return it.
    if (m_dMin > in_dValue)
        m_dMin = in_dValue;
    if (in_dValue > m_dMax)
        m_dMax = in_dValue;
}

Fallible<double> MinMaxComputer::getMin() const
{
    return m_dMin < s_dGreatest ? Fallible<double>(m_dMin) : Fallible<double>();
}

Fallible<double> MinMaxComputer::getMax() const
{
    return m_dMax > -s_dGreatest ? Fallible<double>(m_dMax) : Fallible<double>();
}

SlidingWindowStatisticComputer::SlidingWindowStatisticComputer(unsigned long in_uiWindowSize)
    : m_uiWindowSize(in_uiWindowSize)
{
}

void SlidingWindowStatisticComputer::addData(double in_dValue)
{
    const unsigned long uiDequeSize = m_data.size();
    VELMORA_FILE_ASSERT(uiDequeSize <= m_uiWindowSize);
    // A window of size 0 holds one number.
    if (uiDequeSize >= m_uiWindowSize && !m_data.empty())
        m_data.pop_front();
    m_data.push_back(in_dValue);
}

void SlidingWindowStatisticComputer::reset() { m_data.clear(); }

SlidingWindowAvgComputer::SlidingWindowAvgComputer(unsigned long in_uiWindowSize)
    : SlidingWindowStatisticComputer(in_uiWindowSize)
{
}

void SlidingWindowAvgComputer::addData(double in_dValue)
{
    SlidingWindowStatisticComputer::addData(in_dValue);
    m_bSumValid = false;
}

Fallible<double> SlidingWindowAvgComputer::getAvg() const
{
    if (getData().empty())
        return {};
    if (!m_bSumValid)
    {
        // Added up from scratch: a running sum would accumulate rounding errors, and would stay
        // infinite or NaN after such a number has left the window.
        m_dSum = 0;
        for (const double dValue : getData())
            m_dSum += dValue;
        m_bSumValid = true;
    }
    return m_dSum / static_cast<double>(getData().size());
}

MinMaxAvgComputer::MinMaxAvgComputer(unsigned long in_uiWindowSize)
    : SlidingWindowAvgComputer(in_uiWindowSize)
{
}

void MinMaxAvgComputer::addData(double in_dValue)
{
    MinMaxComputer::addData(in_dValue);
    SlidingWindowAvgComputer::addData(in_dValue);
}

void MinMaxAvgComputer::reset()
{
    MinMaxComputer::reset();
    SlidingWindowAvgComputer::reset();
}

} // namespace Velmora
