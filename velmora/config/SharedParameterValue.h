// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterValue.h"

#include <atomic>
#include <utility>

namespace Velmora
{

/// Assigns and copies parameter values that one thread at a time writes and other threads read
/// under a `SequenceCount`.
namespace SharedParameterValue
{

/// Assigns a value. Only the calling thread may write.
inline void assign(ParameterValue& out_value, ParameterValue&& in_value) noexcept
{
    // Deallocates the former string at the end.
    ParameterValue value(std::move(in_value));
    const ParameterValue::Type type = out_value.m_type;
    const ParameterValue::Payload payload = out_value.m_payload;
    std::atomic_ref(out_value.m_type).store(value.m_type, std::memory_order_release);
    std::atomic_ref(out_value.m_payload).store(value.m_payload, std::memory_order_release);
    value.m_type = type;
    value.m_payload = payload;
}

/// A type and a payload, which belong together only if no other thread wrote while they were
/// copied. Not a `ParameterValue`, because a string's pointer is not owned and may be that of a
/// string that is deallocated already.
struct Copy
{
    ParameterValue::Type m_type = ParameterValue::UNDEF_TYPE;
    ParameterValue::Payload m_payload{.lLong = 0};
};

[[nodiscard]] inline Copy copy(const ParameterValue& in_value)
{
    // In C++20 there is no reference to an atomic constant. The value itself is none.
    auto& value = const_cast<ParameterValue&>(in_value);
    return {std::atomic_ref(value.m_type).load(std::memory_order_acquire),
            std::atomic_ref(value.m_payload).load(std::memory_order_acquire)};
}

} // namespace SharedParameterValue

} // namespace Velmora
