// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>

namespace Velmora::Test
{

/// The exception that a `Fragile` throws.
class Broken : public std::runtime_error
{
  public:
    Broken() : std::runtime_error("broken") {}
};

/// Counts down to the step that fails. Initially not armed.
class Countdown
{
  public:
    /// Makes the step with this number fail, counted from 1 from now on.
    static void arm(int in_iSteps) { s_iSteps = in_iSteps; }
    static void disarm() { s_iSteps = 0; }
    static void step()
    {
        if (s_iSteps > 0 && --s_iSteps == 0)
            throw Broken();
    }

  private:
    static inline int s_iSteps = 0;
};

/// How a `Fragile` is moved: by a step that may fail, like a copy, or by an operation that never
/// fails.
enum class Moves
{
    AS_COPIES,
    SAFELY
};

/// A number. Each of its constructions, copies, comparisons and hashes is a step of the countdown.
/// Counts its living objects.
template <Moves moves>
class Fragile
{
  public:
    Fragile() : Fragile(0) {}
    Fragile(int in_iValue) : m_iValue(in_iValue)
    {
        Countdown::step();
        ++s_iLive;
    }
    Fragile(const Fragile& in_fragile) : Fragile(in_fragile.m_iValue) {}
    // NOLINTNEXTLINE(bugprone-exception-escape): throws only where it is not declared not to.
    Fragile(Fragile&& in_fragile) noexcept(moves == Moves::SAFELY) : m_iValue(in_fragile.m_iValue)
    {
        if constexpr (moves == Moves::AS_COPIES)
            Countdown::step();
        in_fragile.m_iValue = -1;
        ++s_iLive;
    }
    Fragile& operator=(const Fragile& in_fragile)
    {
        Countdown::step();
        m_iValue = in_fragile.m_iValue;
        return *this;
    }
    ~Fragile() { --s_iLive; }

    [[nodiscard]] int value() const { return m_iValue; }

    friend bool operator==(const Fragile& in_left,
                           const Fragile& in_right) noexcept(moves == Moves::SAFELY)
    {
        if constexpr (moves == Moves::AS_COPIES)
            Countdown::step();
        return in_left.m_iValue == in_right.m_iValue;
    }

    static inline int s_iLive = 0;

  private:
    int m_iValue;
};

template <Moves moves>
struct FragileHash
{
    std::size_t operator()(const Fragile<moves>& in_key) const noexcept(moves == Moves::SAFELY)
    {
        if constexpr (moves == Moves::AS_COPIES)
            Countdown::step();
        return static_cast<std::size_t>(in_key.value());
    }
};

/// Repeats `in_work` with the countdown armed at its first step, its second and so on, until it
/// succeeds. `in_before` prepares each attempt. `in_afterFailure` checks the state after each
/// failure. Returns the number of failures.
inline int failAtEveryStep(const std::function<void()>& in_before,
                           const std::function<void()>& in_work,
                           const std::function<void()>& in_afterFailure)
{
    for (int iFailures = 0;; ++iFailures)
    {
        in_before();
        Countdown::arm(iFailures + 1);
        try
        {
            in_work();
            Countdown::disarm();
            return iFailures;
        }
        catch (const Broken&)
        {
            Countdown::disarm();
            in_afterFailure();
        }
    }
}

} // namespace Velmora::Test
