// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/GatedGuard.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/NameIndex.h"

#include <atomic>
#include <thread>

namespace Velmora
{

/// Holds the lock for writing and records the thread that holds it. The value for assertions is
/// published before the lock is released, so that it is never older than the values that other
/// threads can read.
class GlobalConfigImpl::WriteLock
{
  public:
    explicit WriteLock(GlobalConfigImpl& inout_config)
        : m_guard(inout_config.m_mutex), m_config(inout_config)
    {
        if (!m_guard.isLocked())
            return;
        m_config.m_writer.store(std::this_thread::get_id(), std::memory_order_relaxed);
        m_config.m_pIndex->beginChange();
    }

    ~WriteLock()
    {
        m_config.publishAbortOnAssert();
        if (!m_guard.isLocked())
            return;
        m_config.m_pIndex->endChange();
        m_config.m_writer.store(std::thread::id(), std::memory_order_relaxed);
    }

    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

  private:
    GatedGuard<ACE_RW_Thread_Mutex, WriteLocking> m_guard;
    GlobalConfigImpl& m_config;
};

} // namespace Velmora
