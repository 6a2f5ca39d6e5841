// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/VelmoraTree.h"

#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace Velmora::Test
{

VelmoraTree::VelmoraTree()
{
    const HelperResult result = runHelper(VELMORA_SOURCE_DIRECTORY "/scripts/python-tree",
                                          {root(), VELMORA_PYTHON_PACKAGE_DIRECTORY});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
}

void VelmoraTree::use() const { setenv("VELMORA", root().c_str(), 1); }

void VelmoraTree::addModule(const std::string& in_strFile, const std::string& in_strText) const
{
    // The file may be a link to one of the build.
    removeModule(in_strFile);
    m_directory.write("lib/" + in_strFile, in_strText);
}

void VelmoraTree::removeModule(const std::string& in_strFile) const
{
    std::filesystem::remove(m_directory.file("lib/" + in_strFile));
}

} // namespace Velmora::Test
