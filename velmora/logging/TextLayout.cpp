// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/TextLayout.h"

#include "velmora/logging/LogText.h"
#include "velmora/logging/PerThreadPool.h"

#include <ostream>

namespace Velmora
{

TextLayout::~TextLayout() = default;

void TextLayout::formatAndAppend(log4cplus::tostream& out_stream,
                                 const log4cplus::spi::InternalLoggingEvent& in_event)
{
    m_strLine.clear();
    append(m_strLine, in_event);
    out_stream.write(m_strLine.data(), static_cast<std::streamsize>(m_strLine.size()));
    if (m_strLine.capacity() > PerThreadPool<LogText>::s_uiLongestText) [[unlikely]]
        std::string().swap(m_strLine);
}

} // namespace Velmora
