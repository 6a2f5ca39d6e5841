// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/test/FileBufComparison.h"

#include "tests/support/PropertyTest.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

using namespace Velmora::Test;

namespace
{

class FileBufComparisonTest : public testing::TestWithParam<std::uint64_t>
{
};

TEST_P(FileBufComparisonTest, RandomOperationsGiveWhatTheyGiveWithAStandardBuffer)
{
    const TemporaryDirectory directory;
    std::mt19937_64 random(GetParam());
    constexpr int iNumRuns = s_iRandomOperations / 10000;
    for (int iRun = 0; iRun < iNumRuns; ++iRun)
    {
        std::string strBytes(300, '\0');
        for (char& byte : strBytes)
            byte = static_cast<char>(random());
        ASSERT_EQ(FileBufComparison(directory.path()).run(strBytes), "") << "in run " << iRun;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FileBufComparisonTest, testing::Range<std::uint64_t>(1, 9));

} // namespace
