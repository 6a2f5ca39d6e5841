// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Fallible.h"

#include <deque>
#include <limits>

namespace Velmora
{

/// Computes the minimum and the maximum of the numbers that are added. Ignores a NaN.
///
/// Thread-safety: belongs to one thread at a time, like all classes of this file.
class VELMORA_API MinMaxComputer
{
  public:
    /// Discards all numbers.
    void reset();

    void addData(double in_dValue);

    /// Returns the minimum. The result is invalid if no number was below the greatest finite
    /// double.
    [[nodiscard]] Fallible<double> getMin() const;

    /// Returns the maximum. The result is invalid if no number was above the lowest finite double.
    [[nodiscard]] Fallible<double> getMax() const;

  private:
    static constexpr double s_dGreatest = std::numeric_limits<double>::max();

    double m_dMin = s_dGreatest;
    double m_dMax = -s_dGreatest;
};

/// Keeps the last numbers that were added, as many as its window holds.
class VELMORA_API SlidingWindowStatisticComputer
{
  public:
    /// The window holds at least one number, even if `in_uiWindowSize` is 0.
    explicit SlidingWindowStatisticComputer(unsigned long in_uiWindowSize);

    /// Adds a number, and drops the oldest if the window is full.
    void addData(double in_dValue);

    /// Empties the window.
    void reset();

  protected:
    /// Returns the numbers, the oldest first.
    [[nodiscard]] const std::deque<double>& getData() const { return m_data; }

  private:
    std::deque<double> m_data;
    unsigned long m_uiWindowSize;
};

/// Computes the average of the last numbers that were added.
class VELMORA_API SlidingWindowAvgComputer : public SlidingWindowStatisticComputer
{
  public:
    explicit SlidingWindowAvgComputer(unsigned long in_uiWindowSize);

    void addData(double in_dValue);

    /// Returns the average of the numbers in the window, which need not be full. The result is
    /// invalid if the window is empty. The first call after `addData` adds up all numbers; later
    /// calls use that sum.
    [[nodiscard]] Fallible<double> getAvg() const;

  private:
    /// The sum of the numbers in the window, if `m_bSumValid`.
    mutable double m_dSum = 0;
    mutable bool m_bSumValid = true;
};

/// Computes the minimum and the maximum of all numbers, and the average of the last ones.
class VELMORA_API MinMaxAvgComputer : public MinMaxComputer, public SlidingWindowAvgComputer
{
  public:
    explicit MinMaxAvgComputer(unsigned long in_uiWindowSize);

    void addData(double in_dValue);

    /// Discards all numbers.
    void reset();
};

} // namespace Velmora
