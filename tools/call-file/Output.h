// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "CallFiles.h"

#include <string>
#include <string_view>

namespace CallFileTool
{

/// How files are written.
enum class Form
{
    /// A line with the path.
    path,
    /// A line with the time of the last change, the size in bytes, the id and the path, with tabs
    /// between them.
    table,
    /// A line with an object of JSON.
    json,
    /// The path as it is, and a NUL behind it.
    raw
};

/// Appends a file to the output. All forms but `Form::raw` are text without control bytes, in which
/// ids and names are escaped: a caller chooses its Call-ID, and a terminal obeys control bytes.
void append(std::string& inout_strOutput, const CallFile& in_file, Form in_form);

/// Returns a text from outside as one that can be written to a terminal.
std::string escaped(std::string_view in_text);

} // namespace CallFileTool
