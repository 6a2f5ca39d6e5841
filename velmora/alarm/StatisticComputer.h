#pragma once

#include "velmora/Export.h"
#include "velmora/application/Fallible.h"

#include <deque>
#include <limits>

namespace Velmora
{

/// The least and the greatest of the numbers that it was given. A NaN is ignored.
///
/// Thread-safety: belongs to one thread at a time, as all computers.
class VELMORA_API MinMaxComputer
{
  public:
    /// Forgets all numbers.
    void reset();

    void addData(double in_dValue);

    /// The least number; invalid if there was none below the greatest finite double.
    [[nodiscard]] Fallible<double> getMin() const;

    /// The greatest number; invalid if there was none above the least finite double.
    [[nodiscard]] Fallible<double> getMax() const;

  private:
    static constexpr double s_dGreatest = std::numeric_limits<double>::max();

    double m_dMin = s_dGreatest;
    double m_dMax = -s_dGreatest;
};

/// The last numbers that it was given, as many as its window holds.
class VELMORA_API SlidingWindowStatisticComputer
{
  public:
    /// A window holds at least one number.
    explicit SlidingWindowStatisticComputer(unsigned long in_uiWindowSize);

    /// Adds a number, and drops the oldest if the window is full.
    void addData(double in_dValue);

    /// Empties the window.
    void reset();

  protected:
    /// The numbers, the oldest in front.
    [[nodiscard]] const std::deque<double>& getData() const { return m_data; }

  private:
    std::deque<double> m_data;
    unsigned long m_uiWindowSize;
};

/// The average of the last numbers that it was given.
class VELMORA_API SlidingWindowAvgComputer : public SlidingWindowStatisticComputer
{
  public:
    explicit SlidingWindowAvgComputer(unsigned long in_uiWindowSize);

    void addData(double in_dValue);

    /// The average of what the window holds, which need not be full; invalid if it is empty. The
    /// first call after `addData` adds all numbers up, later ones do not.
    [[nodiscard]] Fallible<double> getAvg() const;

  private:
    mutable double m_dSum = 0;
    mutable bool m_bSumValid = true;
};

/// The least and the greatest of all numbers, and the average of the last ones.
class VELMORA_API MinMaxAvgComputer : public MinMaxComputer, public SlidingWindowAvgComputer
{
  public:
    explicit MinMaxAvgComputer(unsigned long in_uiWindowSize);

    void addData(double in_dValue);

    /// Forgets all numbers.
    void reset();
};

} // namespace Velmora
