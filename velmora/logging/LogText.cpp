// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogText.h"

#include "velmora/logging/PerThreadPool.h"

namespace Velmora
{

LogText::LogText() : m_pStream(PerThreadPool<LogStream>::take()) {}

LogText::~LogText()
{
    if (m_pStream->reset()) [[likely]]
        PerThreadPool<LogStream>::giveBack(m_pStream);
    else
        delete m_pStream;
}

} // namespace Velmora
