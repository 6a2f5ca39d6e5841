// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <log4cplus/layout.h>

#include <string>

namespace Velmora
{

/// A layout that builds the text of a line in a string, so that an appender writes it at once.
///
/// Thread-safety: as any layout: the lock of its appender guards it.
/// Failure: throws `std::bad_alloc`.
class VELMORA_API TextLayout : public log4cplus::Layout
{
  public:
    using log4cplus::Layout::Layout;
    ~TextLayout() override;

    /// Appends the text of a line, with its end.
    virtual void append(std::string& inout_strText,
                        const log4cplus::spi::InternalLoggingEvent& in_event) = 0;

    /// Writes the text of a line, at once and without the formatting of the stream.
    void formatAndAppend(log4cplus::tostream& out_stream,
                         const log4cplus::spi::InternalLoggingEvent& in_event) final;

  private:
    /// The line; kept, so that the next one does not allocate.
    std::string m_strLine;
};

} // namespace Velmora
