// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/BuildInfo.h"

#include "tests/support/TextOf.h"
#include "velmora/application/SingletonRegistry.h"
#include "velmora/application/VersionControl.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

namespace Velmora::Test
{

TEST(VersionControl, ReturnsTheRevisionThatTheLibraryWasBuiltFrom)
{
    EXPECT_STREQ(VersionControl::getRevision(), "17669?");
}

TEST(VersionControl, ReturnsTheBranchThatTheLibraryWasBuiltFrom)
{
    EXPECT_STREQ(VersionControl::getBranchName(), "branches/team/orrin/velmora-2.1-linux");
}

TEST(BuildInfo, IsOneObject)
{
    EXPECT_NE(BuildInfo::getInstance(), nullptr);
    EXPECT_EQ(BuildInfo::getInstance(), BuildInfo::getInstance());
}

TEST(BuildInfo, IsInTheRegistryBeforeItIsAskedFor)
{
    void* const pRegistered = SingletonRegistry::getInstance()->find("BuildInfo::Singleton");

    ASSERT_NE(pRegistered, nullptr);
    EXPECT_EQ(pRegistered, BuildInfo::getInstance());
}

TEST(BuildInfo, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic_v<BuildInfo>);
    EXPECT_FALSE(std::is_polymorphic_v<BuildInfo::ToolInfo>);
}

TEST(BuildInfo, WritesBranchAndRevision)
{
    std::ostringstream stream;

    EXPECT_EQ(&BuildInfo::getInstance()->writeVersionControl(stream), &stream);

    EXPECT_EQ(stream.str(), "Branch branches/team/orrin/velmora-2.1-linux, Revision 17669?");
}

TEST(BuildInfo, WritesTheToolsBehindBranchAndRevisionWithoutALineEndAtTheEnd)
{
    EXPECT_EQ(written(*BuildInfo::getInstance()),
              "Branch branches/team/orrin/velmora-2.1-linux, Revision 17669?\n"
              "Tool gcc34, Version \n"
              "Tool g++34, Version ");
}

TEST(BuildInfo, WritesAToolWithoutItsDescription)
{
    const BuildInfo::ToolInfo tool("ld", "Linker", "2.40.1");

    EXPECT_EQ(written(tool), "Tool ld, Version 2.40.1");
}

TEST(BuildInfo, WritesAToolWithoutAVersionUpToTheBlank)
{
    EXPECT_EQ(written(BuildInfo::ToolInfo("ld", "Linker", "")), "Tool ld, Version ");
}

TEST(BuildInfo, LeavesAVersionEmptyThatCannotBeRead)
{
    EXPECT_EQ(written(BuildInfo::ToolInfo("ld", "Linker", "2.x")), "Tool ld, Version ");
}

} // namespace Velmora::Test
