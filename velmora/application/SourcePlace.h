// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>

namespace Velmora
{

/// Returns the end of a message about a place in a source file: " file=" and the file unless it is
/// null, " line=" and the line unless it is negative. The line number does not depend on the
/// locale.
inline std::string textOfSourcePlace(const char* in_szFile, int in_iLine)
{
    std::string strText;
    if (in_szFile != nullptr)
        strText.append(" file=").append(in_szFile);
    if (in_iLine >= 0)
        strText.append(" line=").append(std::to_string(in_iLine));
    return strText;
}

} // namespace Velmora
