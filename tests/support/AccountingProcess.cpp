#include "tests/support/AccountingProcess.h"

#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace Velmora::Test
{

void inAccountingProcess(const std::function<void()>& in_body)
{
    if (DefaultStaticMemAllocator::isAccountingMemory())
        return in_body();
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    const HelperResult result =
        runHelper(std::filesystem::read_symlink("/proc/self/exe"),
                  {std::string("--gtest_filter=") + test.test_suite_name() + "." + test.name()},
                  {{"VELMORA_MEM_ACCOUNTING", "1"}});
    EXPECT_EQ(0, result.iExitCode) << result.strOutput;
    EXPECT_NE(std::string::npos, result.strOutput.find("[  PASSED  ] 1 test."));
}

int bytesHeldBy(const char* in_szAccountName)
{
    MemAccountInfo info;
    return StaticAccountMemAllocator::getMemAccountInfo(in_szAccountName, info) ? info.iBalance : 0;
}

} // namespace Velmora::Test
