// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Functions on the text of URLs.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API URL
{
  public:
    /// Decodes a part of a URL: '+' becomes a blank, and '%' with two hexadecimal digits becomes
    /// the byte with that value. Any other '%' stays. Never fails. Both strings may be the same.
    static void decode(const std::string& in_strEncoded, std::string& out_strDecoded);
};

} // namespace Velmora
