// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/memory/ThreadCacheSlots.h"

#include <cstddef>

namespace Velmora
{

class Magazine;
class ThreadCache;

/// The part of an allocator that does not depend on the lock and the number of size classes.
class VELMORA_API MemAllocatorNoT : public ObjectWithLogger<Logger>
{
  public:
    MemAllocatorNoT(const Logger& in_logger, bool in_bReportLeaks);
    ~MemAllocatorNoT();
    MemAllocatorNoT(const MemAllocatorNoT&) = delete;
    MemAllocatorNoT& operator=(const MemAllocatorNoT&) = delete;

  protected:
    /// Takes back a magazine of one size class. A function pointer stands for a virtual function,
    /// as the classes have none.
    using TakeBack = void (*)(MemAllocatorNoT&, std::size_t in_uiClass, Magazine&);

    // These two are defined in ThreadCache.cpp, with the slots that they take and release.

    /// Lets threads cache chunks. Called when the allocator is completely constructed.
    void openCaches(TakeBack in_takeBack);

    /// Takes back all chunks that threads cache.
    void closeCaches();

    [[nodiscard]] bool isReportingLeaks() const { return m_bReportLeaks; }
    [[nodiscard]] std::size_t getCacheSlot() const { return m_uiCacheSlot; }

  private:
    friend class ThreadCaches;

    bool m_bReportLeaks;
    std::size_t m_uiCacheSlot = ThreadCacheSlots::s_uiNone;
    TakeBack m_takeBack = nullptr;
    ThreadCache* m_pFirstCache = nullptr;
};

} // namespace Velmora
