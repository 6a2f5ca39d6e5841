#include "tests/support/AccountingProcess.h"

#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace Velmora::Test
{

namespace
{

/// For the longest of these tests in a build with a sanitizer.
constexpr std::chrono::seconds s_limit(280);

MemAccountInfo infoOf(const char* in_szAccountName)
{
    MemAccountInfo info;
    return StaticAccountMemAllocator::getMemAccountInfo(in_szAccountName, info) ? info
                                                                                : MemAccountInfo();
}

} // namespace

void inAccountingProcess(const std::function<void()>& in_body)
{
    if (DefaultStaticMemAllocator::isAccountingMemory())
        return in_body();
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    const HelperResult result =
        runHelper(std::filesystem::read_symlink("/proc/self/exe"),
                  {std::string("--gtest_filter=") + test.test_suite_name() + "." + test.name()},
                  {{"VELMORA_MEM_ACCOUNTING", "1"}}, s_limit);
    EXPECT_EQ(result.iExitCode, 0) << result.strOutput << result.strErrors;
    EXPECT_NE(result.strOutput.find("[  PASSED  ] 1 test."), std::string::npos);
}

int bytesHeld(const char* in_szAccountName) { return infoOf(in_szAccountName).iBalance; }

int mostBytesHeld(const char* in_szAccountName) { return infoOf(in_szAccountName).iMaximum; }

} // namespace Velmora::Test
