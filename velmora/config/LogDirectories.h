// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>
#include <vector>

namespace Velmora
{

class ParameterTrie;

/// The directories into which a configuration of logging lets lines be written.
namespace LogDirectories
{

struct Problem
{
    /// The parameter that names the file or the directory.
    std::string strName;
    /// What is wrong and what to do; continues a sentence that begins with name and value.
    std::string strText;
    /// Whether logging cannot be configured: files of calls need their directory.
    bool bFatal = false;
};

/// Returns the files of appenders whose directory is missing, unless the appender makes it, or is
/// not writable for this process, and the same for the directory of the files of calls, which is
/// always made. Writes nothing.
///
/// Failure: throws `std::bad_alloc`.
[[nodiscard]] std::vector<Problem> problemsOf(const ParameterTrie& in_logging);

} // namespace LogDirectories

} // namespace Velmora
