// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>
#include <vector>

namespace Velmora
{

class InputFile;

/// The error lines that the sources of `GlobalConfigImpl` share, on "keswardin.infra.GlobalConfig".
///
/// Thread-safety: may be called on any thread.
namespace GlobalConfigErrors
{

/// Logs the exception that is being handled and returns false, for operations that must not throw.
bool failed(const char* in_szWhat);

/// Returns the text "Unknown parameters:" with the lines that no source has completed.
std::string unknownParameters(const std::vector<std::string>& in_unresolved);

/// Logs the lines that no source has completed, and sets `out_bOK` to false if there are any.
void isUnresolvedVectorEmpty(const std::vector<std::string>& in_unresolved, bool& out_bOK);

/// Logs the system's error, if there is one.
void logReason(const char* in_szWhat, const std::string& in_strPath, const InputFile& in_file);

} // namespace GlobalConfigErrors

} // namespace Velmora
