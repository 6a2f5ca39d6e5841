#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Work on the text of URLs.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API URL
{
  public:
    /// Decodes a part of a URL: '+' stands for a blank, '%' and two hexadecimal digits for the byte
    /// that they spell. Any other '%' stands for itself. Cannot fail.
    static void decode(const std::string& in_strEncoded, std::string& out_strDecoded);
};

} // namespace Velmora
