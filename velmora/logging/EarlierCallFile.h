// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/CallFileName.h"
#include "velmora/logging/OwnedDescriptor.h"

#include <ctime>
#include <string>

namespace Velmora
{

/// Keeps the file of an earlier call when its id comes again, by renaming it as
/// `CallFileName::keptPartsOf` describes. Nothing is overwritten, even if several processes keep
/// files of the same id.
///
/// No directory is searched. The links of other users are not followed: `TrustedOpen` describes the
/// rule. A file that is itself a link is renamed and not followed. Anything else than a file or a
/// link keeps its name.
///
/// Thread-safety: none.
class EarlierCallFile
{
  public:
    /// The directory of the calls is that without the pieces of an id.
    EarlierCallFile(std::string in_strDirectory, CallFileName in_names, std::string in_strCallId);

    /// Renames the file if there is one. Costs one system call if there is none.
    /// Failure: returns false.
    [[nodiscard]] bool keep();

    /// Returns the new path; empty if no file was renamed.
    [[nodiscard]] const std::string& getPath() const { return m_strPath; }
    /// Returns why the file could not be renamed.
    [[nodiscard]] const std::string& getProblem() const { return m_strProblem; }

  private:
    [[nodiscard]] bool keepChangedAt(const CallFileName::Name& in_name, std::time_t in_changed);
    [[nodiscard]] OwnedDescriptor openDirectory(const std::string& in_strBelow);
    bool fail(int in_iError);

    std::string m_strDirectory;
    CallFileName m_names;
    std::string m_strCallId;
    std::string m_strPath;
    std::string m_strProblem;
};

} // namespace Velmora
