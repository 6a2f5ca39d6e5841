// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"

#include <string>

namespace Velmora
{

/// Gives each object of a class its own logger of type `T`, which the object form of the logging
/// macros uses.
///
/// Thread-safety: as for `T`.
template <class T>
class ObjectWithLogger
{
  public:
    explicit ObjectWithLogger(const std::string& in_strLoggerName) : m_logger(in_strLoggerName) {}
    explicit ObjectWithLogger(const Logger& in_logger) : m_logger(in_logger) {}

    [[nodiscard]] const T& getLogger() const { return m_logger; }
    [[nodiscard]] T& getLogger() { return m_logger; }

  protected:
    ~ObjectWithLogger() = default;
    ObjectWithLogger(const ObjectWithLogger&) = default;
    ObjectWithLogger& operator=(const ObjectWithLogger&) = default;

  private:
    T m_logger;
};

} // namespace Velmora
