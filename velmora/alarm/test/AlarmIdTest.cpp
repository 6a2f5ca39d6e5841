// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmId.h"

#include "velmora/alarm/AlarmImpl.h"

#include "tests/support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <new>
#include <ostream>
#include <string>

namespace Velmora::Test
{

namespace
{

/// Longer than what a `LogText` holds without allocating.
const std::string s_strLong(5000, 'x');

class AlarmWithLongId : public AlarmImpl
{
  public:
    AlarmWithLongId() : AlarmImpl(ERROR_SEVERITY) {}
    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << s_strLong << ".alarm";
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override
    {
        return out_stream << "a description";
    }
};

} // namespace

TEST(AlarmId, IsWhatTheAlarmWrites)
{
    EXPECT_EQ(s_strLong + ".alarm", AlarmId(AlarmWithLongId()).text());
}

TEST(AlarmId, IsNeverAPartOfWhatTheAlarmWrites)
{
    const AlarmWithLongId alarm;
    std::string strId;
    EXPECT_LT(0, failAtEachAllocation(
                     [&]
                     {
                         strId.clear();
                         try
                         {
                             alarm.getAlarmId(strId);
                         }
                         catch (const std::bad_alloc&)
                         {
                             EXPECT_EQ("", strId);
                         }
                     },
                     [&]
                     {
                         EXPECT_TRUE(strId.empty() || strId == s_strLong + ".alarm");
                         std::string().swap(strId);
                     }));
}

} // namespace Velmora::Test
