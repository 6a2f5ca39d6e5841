// SPDX-License-Identifier: BSD-2-Clause

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

TEST(Support, TheLoggerIsThatOfItsSourceFile)
{
    const Logger& logger = Support::getLogger();
    EXPECT_NE(nullptr, dynamic_cast<const AceCleanupLogger*>(&logger));
    EXPECT_EQ(&logger, &Support::getLogger());
}

} // namespace Velmora::Test
