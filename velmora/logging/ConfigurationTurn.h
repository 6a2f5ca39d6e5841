// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <chrono>

namespace Velmora
{

/// The turn to change the logging configuration, which one thread of the process has at a time. It
/// is not a mutex, because it is held while appenders are made: these are foreign code and may take
/// long. A thread that waits for the turn gives up at a time limit.
///
/// Thread-safety: may be used on any thread.
class ConfigurationTurn
{
  public:
    /// Takes the turn. Waits for it until `in_end` at most.
    explicit ConfigurationTurn(std::chrono::steady_clock::time_point in_end);
    ~ConfigurationTurn();
    ConfigurationTurn(const ConfigurationTurn&) = delete;
    ConfigurationTurn& operator=(const ConfigurationTurn&) = delete;

    /// Returns whether this object has the turn. If not, another thread had it until the time
    /// limit.
    explicit operator bool() const { return m_bTaken; }

    /// Returns whether the calling thread has the turn.
    [[nodiscard]] static bool isTaken();

    /// Called in the child of a fork. Frees the turn and reinitializes the mutex of
    /// `Logger::sGetConfigMutex`, unless the calling thread has the turn: the thread that had them
    /// does not exist in the child.
    static void startAnewInChild();

  private:
    bool m_bTaken = false;
};

} // namespace Velmora
