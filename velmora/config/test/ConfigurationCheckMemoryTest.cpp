// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationCheck.h"

#include "tests/support/CountedAllocations.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

namespace Velmora::Test
{

TEST(ConfigurationCheckMemory, ACheckFindsEverythingOrThrows)
{
    const TemporaryDirectory directory;
    const std::string strLogging = directory.write(
        "log.cfg", "log4cplus.rootLogger=INFO, OUT\nlog4cplus.a=1\nlog4cplus.a=2\n");
    const std::string strPath = directory.write(
        "a.cfg", "keswardin.infra.Logger.PropertiesFile.production=" + strLogging +
                     "\nkeswardin.exitTimeoutSec=0500\nnonsense\n"
                     "keswardin.sip.userAgentName=${nobody.knows.this.name.of.a.tag}\n"
                     "keswardin.gw.recordCalls.directory=${keswardin.sip.userAgentName}\n"
                     "keswardin.traceShutdown=" +
                     std::string(2000, 'x') + "\nkeswardin.sip.transport=udp\n");
    const std::vector<ConfigurationProblem> expected = ConfigurationCheck({strPath}).problems();
    ASSERT_EQ(9U, expected.size());
    std::optional<std::vector<ConfigurationProblem>> found;
    const int iFailures = failAtEachAllocation(
        [&]
        {
            found.reset();
            try
            {
                const ConfigurationCheck check({strPath});
                AllocationFailure::end();
                found = check.problems();
            }
            catch (const std::bad_alloc&)
            {
                AllocationFailure::end();
            }
        },
        [&]
        {
            if (found)
            {
                EXPECT_EQ(expected, *found);
            }
        },
        {AllocationFailure::Lasts::ONCE});
    EXPECT_LT(100, iFailures);
}

} // namespace Velmora::Test
