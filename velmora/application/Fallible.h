// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <utility>

namespace Velmora
{

/// The part of `Fallible` that does not depend on the type: the report of a read without a value.
class VELMORA_API FallibleBase
{
  public:
    /// Fails an assertion with the text "Fallible object used in invalid state".
    static void assertUsedInInvalidStateErr(const char* in_szFile, unsigned int in_uiLine);
};

/// Holds a value or nothing. Reading an object without a value is a programming error: an assertion
/// fails, and the read returns whatever the value field holds.
///
/// Thread-safety: belongs to one thread at a time.
template <class T>
class Fallible : public FallibleBase
{
  public:
    /// Constructs an object without a value.
    Fallible() = default;

    /// Constructs an object with a value.
    Fallible(const T& in_value) : m_state(s_cValid), m_value(in_value) {}
    Fallible(T&& in_value) : m_state(s_cValid), m_value(std::move(in_value)) {}

    Fallible& operator=(const T& in_value)
    {
        m_value = in_value;
        m_state = s_cValid;
        return *this;
    }
    Fallible& operator=(T&& in_value)
    {
        m_value = std::move(in_value);
        m_state = s_cValid;
        return *this;
    }

    /// Returns whether there is a value.
    [[nodiscard]] bool isValid() const { return m_state == s_cValid; }

    /// Returns the value. Fails an assertion if there is none.
    const T& get() const
    {
        if (m_state != s_cValid) [[unlikely]]
            assertUsedInInvalidStateErr(__FILE__, __LINE__);
        return m_value;
    }
    operator const T&() const { return get(); }

  private:
    static constexpr unsigned char s_cValid = 1;

    unsigned char m_state = 0;
    T m_value{};
};

} // namespace Velmora
