// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/LineBuffer.h"

#include <string_view>

namespace Velmora
{

/// Appends what is between the quotes of a string of JSON (RFC 8259). It is well-formed UTF-8: a
/// byte that does not belong to it becomes the text "\xff", as in `EscapedText`. Characters that
/// end a line, control a terminal or turn the direction of text are written by their code points.
///
/// Thread-safety: may be called on any thread.
/// Failure: throws `std::bad_alloc`; a part may have been appended.
void appendJsonText(LineBuffer& inout_json, std::string_view in_text);

} // namespace Velmora
