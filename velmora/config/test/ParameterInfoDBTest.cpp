// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterInfoDB.h"

#include "velmora/config/ParamDefs.h"
#include "velmora/config/ParamDefsTable.h"

#include <gtest/gtest.h>

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

#include <cerrno>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// The result of a look-up in a static constructor of a program.
const bool s_bKnownInStaticConstructor = []
{
    ParameterInfo info;
    return ParameterInfoDB::getInstance().retrieve("keswardin.run.mode", info);
}();

} // namespace

TEST(ParameterInfoDB, IsOneForTheProcess)
{
    EXPECT_EQ(&ParameterInfoDB::getInstance(), &ParameterInfoDB::getInstance());
}

TEST(ParameterInfoDB, IsTheTableOfAllParameters)
{
    EXPECT_NE(nullptr, dynamic_cast<const ParamDefs*>(&ParameterInfoDB::getInstance()));
    std::vector<ParameterInfoWithName> infos;
    EXPECT_TRUE(ParameterInfoDB::getInstance().retrieve(".", infos));
    EXPECT_EQ(std::size(s_paramDefsTable), infos.size());
}

TEST(ParameterInfoDB, IsThereBeforeTheConstructorsOfAProgram)
{
    EXPECT_TRUE(s_bKnownInStaticConstructor);
}

TEST(ParameterInfoDB, IsOnTheExitListOnce)
{
    const auto* const pDefs = dynamic_cast<const ParamDefs*>(&ParameterInfoDB::getInstance());
    ASSERT_NE(nullptr, pDefs);
    errno = 0;
    EXPECT_EQ(-1, ACE_Object_Manager::at_exit(const_cast<ParamDefs*>(pDefs)));
    EXPECT_EQ(EEXIST, errno);
}

TEST(ParameterInfoDB, LeavesOtherTablesToTheirMakers)
{
    const auto pDefs = std::make_unique<ParamDefs>(std::vector<ParameterRow>());
    ACE_Cleanup* const pEntry = pDefs.get();
    EXPECT_EQ(0, ACE_Object_Manager::at_exit(pEntry)) << "it was not there";
    EXPECT_NE(0, ACE_Object_Manager::instance()->remove_at_exit(pEntry));
}

TEST(ParameterInfoDB, CannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<ParamDefs>);
    EXPECT_FALSE(std::is_copy_assignable_v<ParamDefs>);
}

} // namespace Velmora::Test
