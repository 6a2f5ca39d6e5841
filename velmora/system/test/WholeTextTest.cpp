// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/WholeText.h"

#include "tests/support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <stdexcept>
#include <string>

namespace Velmora::Test
{

TEST(WholeText, IsWhatIsWritten)
{
    EXPECT_EQ("a 1", wholeText([](std::ostream& out_stream) { out_stream << "a " << 1; }));
}

TEST(WholeText, IsWrittenInTheLocale)
{
    EXPECT_EQ("1000", wholeText(std::locale::classic(),
                                [](std::ostream& out_stream) { out_stream << 1000; }));
}

TEST(WholeText, ThrowsWhereMemoryRunsOut)
{
    const std::string strLong(5000, 'x');
    std::string strText;
    bool bThrown = false;
    EXPECT_LT(0, failAtEachAllocation(
                     [&]
                     {
                         bThrown = false;
                         try
                         {
                             strText = wholeText([&](std::ostream& out_stream)
                                                 { out_stream << strLong << '.'; });
                         }
                         catch (const std::bad_alloc&)
                         {
                             bThrown = true;
                         }
                     },
                     [&]
                     {
                         EXPECT_EQ(AllocationFailure::hasFailed(), bThrown);
                         if (!bThrown)
                         {
                             EXPECT_EQ(strLong + ".", strText);
                         }
                     }));
}

TEST(WholeText, IsCutShortByANullText)
{
    const char* const szNull = nullptr;
    EXPECT_EQ("a",
              wholeText([&](std::ostream& out_stream) { out_stream << "a" << szNull << "b"; }));
}

TEST(WholeText, LetsOtherExceptionsThrough)
{
    EXPECT_THROW(wholeText([](std::ostream&) { throw std::runtime_error("no text"); }),
                 std::runtime_error);
}

TEST(WholeText, LeavesTheStreamAsANewOneAfterwards)
{
    std::ostringstream stream;
    const char* const szNull = nullptr;
    writeWhole(stream, [&](std::ostream& out_stream) { out_stream << szNull; });
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(std::ios_base::goodbit, stream.exceptions());
}

} // namespace Velmora::Test
