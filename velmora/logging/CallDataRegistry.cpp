// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallDataRegistry.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(CallData)

namespace Velmora
{

CallData::~CallData() = default;

CallDataRegistry::~CallDataRegistry() = default;

CallDataRegistry::CallDataHandle::CallDataHandle(const char* in_szCallId) : m_strCallId(in_szCallId)
{
}

CallDataRegistry::CallDataHandle::CallDataHandle(const CallDataHandle& in_handle)
    : m_strCallId(in_handle.m_strCallId), m_pCallData(in_handle.m_pCallData)
{
    if (m_pCallData != nullptr)
        addReference();
}

CallDataRegistry::CallDataHandle::CallDataHandle(CallDataHandle&& in_handle) noexcept
    : m_strCallId(std::move(in_handle.m_strCallId)),
      m_pCallData(std::exchange(in_handle.m_pCallData, nullptr))
{
    in_handle.m_strCallId.clear();
}

CallDataRegistry::CallDataHandle&
CallDataRegistry::CallDataHandle::operator=(const CallDataHandle& in_handle)
{
    if (this == &in_handle)
        return *this;
    // Reserved first: if there is no memory for the id, the handle keeps its call.
    m_strCallId.reserve(in_handle.m_strCallId.size());
    letGo();
    m_strCallId = in_handle.m_strCallId;
    if (in_handle.m_pCallData != nullptr)
        addReference();
    m_pCallData = in_handle.m_pCallData;
    return *this;
}

CallDataRegistry::CallDataHandle&
CallDataRegistry::CallDataHandle::operator=(CallDataHandle&& in_handle) noexcept
{
    if (this == &in_handle)
        return *this;
    letGo();
    // Swapped, so that the other handle can reuse this string's memory for its next call.
    m_strCallId.swap(in_handle.m_strCallId);
    in_handle.m_strCallId.clear();
    m_pCallData = std::exchange(in_handle.m_pCallData, nullptr);
    return *this;
}

CallDataRegistry::CallDataHandle::~CallDataHandle() { letGo(); }

void CallDataRegistry::CallDataHandle::releaseObject()
{
    if (isNull())
        return;
    letGo();
    m_strCallId.clear();
}

LimitedObjPtr<CallData> CallDataRegistry::CallDataHandle::operator->() const
{
    VELMORA_FILE_ASSERT_TEXT(m_pCallData != nullptr, "! this->m_pCallData.isNull()");
    return m_pCallData;
}

} // namespace Velmora
