// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/DateFormat.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

/// A part of a conversion pattern: what it writes, and how wide.
struct PatternField
{
    enum class Kind
    {
        literal,
        baseName,
        logger,
        date,
        environment,
        file,
        hostName,
        processId,
        location,
        line,
        message,
        function,
        newline,
        level,
        relativeTime,
        thread,
        otherThread,
        ndc,
        mdc
    };

    [[nodiscard]] bool hasWidth() const
    {
        return uiLeast != 0 || uiMost != std::numeric_limits<std::size_t>::max();
    }

    Kind kind = Kind::literal;
    /// In bytes. A shorter text is filled with blanks, a longer one loses its beginning or its end.
    std::size_t uiLeast = 0;
    std::size_t uiMost = std::numeric_limits<std::size_t>::max();
    bool bFillsAtEnd = false;
    bool bLosesEnd = false;
    /// The literal text, the name of the host, or the key of the environment or the MDC.
    std::string strText{};
    /// The number of components of a logger's name, or of levels of the NDC; all if it is not
    /// positive.
    int iPrecision = 0;
    std::optional<DateFormat> date{};
};

/// Reads a conversion pattern of log4cplus. A pattern without a field writes the message.
/// Reports what is wrong with it to log4cplus's log, with the place and what to write, and goes on
/// as log4cplus's own layout does.
///
/// Thread-safety: may be called on any thread.
std::vector<PatternField> readConversionPattern(std::string_view in_pattern, int in_iNdcLevels);

} // namespace Velmora
