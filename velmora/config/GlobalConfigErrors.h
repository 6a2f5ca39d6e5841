// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>
#include <vector>

namespace Velmora
{

class InputFile;
class LoadProblems;
class ReadingContext;
class TagSubstitution;
class UnresolvedLines;

/// The error lines that the sources of `GlobalConfigImpl` share, on "keswardin.infra.GlobalConfig".
/// They are kept in a `LoadProblems`.
///
/// Thread-safety: may be called on any thread.
namespace GlobalConfigErrors
{

/// Logs the exception that is being handled and returns false, for operations that must not throw.
bool failed(const char* in_szWhat);

/// Does the same for an operation on one parameter.
bool failedFor(const char* in_szWhat, const char* in_szName);

/// Returns the text "Unknown parameters:" with the lines that no source has completed.
std::string unknownParameters(const std::vector<std::string>& in_unresolved);

/// Logs the lines that no source has completed, with the place of each, and sets `out_bOK` to false
/// if there are any.
void isUnresolvedVectorEmpty(const UnresolvedLines& in_unresolved, const TagSubstitution& in_tags,
                             bool& out_bOK);

/// Returns the system's error with the whole path, if the path is relative; an empty text if there
/// is no error.
std::string reason(const std::string& in_strPath, const InputFile& in_file);

/// Logs the system's error, if there is one, with the whole path, if the path is relative.
void logReason(const char* in_szWhat, const std::string& in_strPath, const InputFile& in_file,
               LoadProblems& inout_problems);

} // namespace GlobalConfigErrors

} // namespace Velmora
