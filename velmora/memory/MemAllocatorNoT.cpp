// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemAllocatorNoT.h"

#include "velmora/logging/LogMacros.h"

namespace Velmora
{

MemAllocatorNoT::MemAllocatorNoT(const Logger& in_logger, bool in_bReportLeaks)
    : ObjectWithLogger<Logger>(in_logger), m_bReportLeaks(in_bReportLeaks)
{
    VELMORA_TRACE_SCOPE(MemAllocatorNoT::MemAllocatorNoT);
}

MemAllocatorNoT::~MemAllocatorNoT() { VELMORA_TRACE_SCOPE(MemAllocatorNoT::~MemAllocatorNoT); }

} // namespace Velmora
