// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/BuildInfo.h"

#include "velmora/application/Lifetime.h"
#include "velmora/application/Singleton.h"
#include "velmora/application/VersionControl.h"

#include <ostream>

namespace Velmora
{

namespace
{

[[maybe_unused]] const BuildInfo* const __force_init_singleton__BuildInfo =
    (bringUpLibrary(), BuildInfo::getInstance());

} // namespace

BuildInfo::ToolInfo::ToolInfo(const char* in_szName, const char* in_szDescription,
                              const char* in_szVersion)
    : m_strName(in_szName), m_strDescription(in_szDescription)
{
    m_version.initFrom(in_szVersion);
}

std::ostream& BuildInfo::ToolInfo::write(std::ostream& out_stream) const
{
    out_stream << "Tool " << m_strName << ", Version ";
    return m_version.write(out_stream);
}

BuildInfo::BuildInfo()
    // The names of the tools are fixed texts. The build does not determine them or their versions.
    : m_strRevision(VersionControl::getRevision()),
      m_strBranch(VersionControl::getBranchName()), m_tools{{"gcc34", "C Compiler", ""},
                                                            {"g++34", "Linker", ""}}
{
}

BuildInfo* BuildInfo::getInstance()
{
    static BuildInfo* const pSingleton = registerSingleton("BuildInfo::Singleton", new BuildInfo);
    return pSingleton;
}

std::ostream& BuildInfo::write(std::ostream& out_stream) const
{
    writeVersionControl(out_stream);
    for (const ToolInfo& tool : m_tools)
    {
        out_stream << '\n';
        tool.write(out_stream);
    }
    return out_stream;
}

std::ostream& BuildInfo::writeVersionControl(std::ostream& out_stream) const
{
    return out_stream << "Branch " << m_strBranch << ", Revision " << m_strRevision;
}

} // namespace Velmora
