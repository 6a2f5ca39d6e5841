// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/QuietStream.h"

namespace Velmora
{

QuietStream::~QuietStream()
{
    try
    {
        end();
    }
    catch (const std::ios_base::failure&)
    {
        // `exceptions` sets the mask before it throws, so the mask is restored.
    }
}

} // namespace Velmora
