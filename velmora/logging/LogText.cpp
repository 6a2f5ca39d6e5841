// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogText.h"

#include "velmora/logging/PerThreadPool.h"
#include "velmora/logging/ReusableStream.h"

namespace Velmora
{

LogText::LogText()
    : m_pBuffer(PerThreadPool<ReusableStream>::take()), m_pStream(&m_pBuffer->stream()),
      m_pText(&m_pBuffer->text())
{
}

LogText::~LogText()
{
    if (m_pBuffer->reset())
        PerThreadPool<ReusableStream>::giveBack(m_pBuffer);
    else
        delete m_pBuffer;
}

} // namespace Velmora
