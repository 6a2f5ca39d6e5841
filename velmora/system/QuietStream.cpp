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
        // The stream takes the mask before it throws.
    }
}

} // namespace Velmora
