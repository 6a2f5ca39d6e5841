#include "velmora/application/Support.h"

#include "velmora/logging/LogMacros.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

TEST(Support, LogsUnderItsOwnName)
{
    const CapturedLog log;
    VELMORA_LOG(Support::getLogger(), INFO_LOG_LEVEL, "version " << 2);
    EXPECT_THAT(log.lines(), testing::ElementsAre(infoLine("keswardin.support", "version 2")));
}

} // namespace Velmora::Test
