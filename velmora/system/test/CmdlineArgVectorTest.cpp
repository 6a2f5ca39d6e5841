// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/CmdlineArgVector.h"

#include "tests/support/TextOf.h"

#include <gtest/gtest.h>

#include <string>

using namespace Velmora;
using namespace Velmora::Test;

TEST(CmdlineArgVector, IsWrittenWithOneBlankBetweenArguments)
{
    EXPECT_EQ("gateway --help port=5060",
              textOf(CmdlineArgVector{"gateway", "--help", "port=5060"}));
    EXPECT_EQ("gateway", textOf(CmdlineArgVector{"gateway"}));
    EXPECT_EQ("a  b", textOf(CmdlineArgVector{"a", "", "b"}));
}

TEST(CmdlineArgVector, WithoutArgumentsIsWrittenAsNothing)
{
    EXPECT_EQ("", textOf(CmdlineArgVector{}));
}
