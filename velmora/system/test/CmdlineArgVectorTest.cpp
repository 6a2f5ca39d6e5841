// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/CmdlineArgVector.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using namespace Velmora;

namespace
{

std::string written(const CmdlineArgVector& in_args)
{
    std::ostringstream stream;
    stream << in_args;
    return stream.str();
}

} // namespace

TEST(CmdlineArgVector, IsWrittenWithOneBlankBetweenArguments)
{
    EXPECT_EQ("gateway --help port=5060", written({"gateway", "--help", "port=5060"}));
    EXPECT_EQ("gateway", written({"gateway"}));
    EXPECT_EQ("a  b", written({"a", "", "b"}));
}

TEST(CmdlineArgVector, WithoutArgumentsIsWrittenAsNothing) { EXPECT_EQ("", written({})); }
