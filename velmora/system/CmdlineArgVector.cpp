// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/CmdlineArgVector.h"

#include <ostream>

namespace Velmora
{

std::ostream& operator<<(std::ostream& out_stream, const CmdlineArgVector& in_args)
{
    const char* szSeparator = "";
    for (const char* const szArg : in_args)
    {
        out_stream << szSeparator << szArg;
        szSeparator = " ";
    }
    return out_stream;
}

} // namespace Velmora
