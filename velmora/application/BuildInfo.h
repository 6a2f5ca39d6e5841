#pragma once

#include "velmora/application/DottedRevision.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Velmora
{

/// What is known about the build of the library itself: the revision and the branch that it was
/// built from, and the tools. There is one object in the process, however many copies of this code
/// are loaded.
///
/// Thread-safety: all operations may be called on any thread.
/// Ownership: the exit list's, which deletes it before the table of singletons.
class VELMORA_API BuildInfo
{
  public:
    /// A tool that the library was built with. One whose version is not known has an empty one.
    class VELMORA_API ToolInfo
    {
      public:
        /// A version text that cannot be read leaves the version empty.
        ToolInfo(const char* in_szName, const char* in_szDescription, const char* in_szVersion);

        /// Writes "Tool `name`, Version `version`", without a line end.
        std::ostream& write(std::ostream& out_stream) const;

      private:
        std::string m_strName;
        std::string m_strDescription;
        DottedRevision m_version;
    };

    /// Once the exit list has deleted the object, it must not be called.
    static BuildInfo* getInstance();

    BuildInfo(const BuildInfo&) = delete;
    BuildInfo& operator=(const BuildInfo&) = delete;
    ~BuildInfo() = default;

    /// Writes the line of `writeVersionControl`, then a line for each tool, without a line end
    /// behind the last.
    std::ostream& write(std::ostream& out_stream) const;

    /// Writes "Branch `branch`, Revision `revision`", without a line end.
    std::ostream& writeVersionControl(std::ostream& out_stream) const;

  private:
    BuildInfo();

    std::string m_strRevision;
    std::string m_strBranch;
    std::vector<ToolInfo> m_tools;
};

} // namespace Velmora
