// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/DottedRevision.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Velmora
{

/// Holds the revision and the branch that the library was built from, and a fixed list of tools.
/// The process has one object, even if this code is loaded several times.
///
/// Thread-safety: all operations may be called on any thread.
/// Ownership: the exit list owns the object and deletes it before the table of singletons.
class VELMORA_API BuildInfo
{
  public:
    /// A tool of the build. The version is empty if it is not known.
    class VELMORA_API ToolInfo
    {
      public:
        /// Stores the texts. The version stays empty if its text cannot be parsed.
        ToolInfo(const char* in_szName, const char* in_szDescription, const char* in_szVersion);

        /// Writes "Tool `name`, Version `version`" without a line end.
        std::ostream& write(std::ostream& out_stream) const;

      private:
        std::string m_strName;
        std::string m_strDescription;
        DottedRevision m_version;
    };

    /// Returns the object. Must not be called after the exit list has deleted it.
    static BuildInfo* getInstance();

    BuildInfo(const BuildInfo&) = delete;
    BuildInfo& operator=(const BuildInfo&) = delete;
    ~BuildInfo() = default;

    /// Writes the line of `writeVersionControl` and one line for each tool, without a line end
    /// after the last.
    std::ostream& write(std::ostream& out_stream) const;

    /// Writes "Branch `branch`, Revision `revision`" without a line end.
    std::ostream& writeVersionControl(std::ostream& out_stream) const;

  private:
    BuildInfo();

    std::string m_strRevision;
    std::string m_strBranch;
    std::vector<ToolInfo> m_tools;
};

} // namespace Velmora
