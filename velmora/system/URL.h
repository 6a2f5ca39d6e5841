// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>
#include <string_view>

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

    /// Returns a text with "***" in place of each secret, for a line of a log. The text is a URL,
    /// an argument of a command line or a message that holds one. Secrets are:
    /// - the password in `://user:password@`, up to the last "@": a password may hold any
    /// character;
    /// - what follows "=" behind a name with "pass" (except "passfile"), "pwd", "secret" or "token"
    ///   in any case, as in `?password=` and `PGPASSWORD=`, up to the end of the text;
    /// - the same behind a name in a query that is encoded with "%".
    /// A text that needs no masking is returned unchanged.
    [[nodiscard]] static std::string withoutSecrets(std::string_view in_text);
};

} // namespace Velmora
