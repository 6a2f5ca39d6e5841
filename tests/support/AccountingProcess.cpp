// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/AccountingProcess.h"

#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <list>
#include <string>
#include <utility>

namespace Velmora::Test
{

namespace
{

/// Sufficient for the longest of these tests in a build with a sanitizer.
constexpr std::chrono::seconds s_limit(280);

/// Raises the balance of an account to the maximum that the library itself has reached, for the
/// lifetime of the object. Any allocation of the test then raises the maximum.
class Ballast
{
  public:
    Ballast(std::string in_strAccountName, const MemAccountInfo& in_info)
        : m_strAccountName(std::move(in_strAccountName)),
          m_uiSize(static_cast<std::size_t>(in_info.iMaximum - in_info.iBalance)),
          m_pMemory(DefaultStaticMemAllocator::allocate(m_uiSize, m_strAccountName.c_str()))
    {
    }
    ~Ballast()
    {
        DefaultStaticMemAllocator::deallocate(m_pMemory, m_uiSize, m_strAccountName.c_str());
    }
    Ballast(const Ballast&) = delete;
    Ballast& operator=(const Ballast&) = delete;

  private:
    std::string m_strAccountName;
    std::size_t m_uiSize;
    void* m_pMemory;
};

/// The accounts at the start of the body of the test, with the ballast.
MemAccountInfoHash s_heldBefore;

void runBody(const std::function<void()>& in_body)
{
    StaticAccountMemAllocator::getMemAccountInfo(s_heldBefore);
    std::list<Ballast> ballast;
    for (auto& [strName, info] : s_heldBefore)
    {
        ballast.emplace_back(strName, info);
        info.iBalance = info.iMaximum;
    }
    in_body();
}

/// Returns the current figure of an account minus its value at the start of the body.
int sinceBody(const char* in_szAccountName, int MemAccountInfo::*in_pFigure)
{
    MemAccountInfo info;
    if (!StaticAccountMemAllocator::getMemAccountInfo(in_szAccountName, info))
        return 0;
    const auto before = s_heldBefore.find(in_szAccountName);
    return info.*in_pFigure - (before == s_heldBefore.end() ? 0 : before->second.iBalance);
}

} // namespace

void inAccountingProcess(const std::function<void()>& in_body)
{
    if (DefaultStaticMemAllocator::isAccountingMemory())
        return runBody(in_body);
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    const HelperResult result =
        runHelper(std::filesystem::read_symlink("/proc/self/exe"),
                  {std::string("--gtest_filter=") + test.test_suite_name() + "." + test.name()},
                  {{"VELMORA_MEM_ACCOUNTING", "1"}}, s_limit);
    EXPECT_EQ(result.iExitCode, 0) << result.strOutput << result.strErrors;
    EXPECT_NE(result.strOutput.find("[  PASSED  ] 1 test."), std::string::npos);
}

int bytesHeld(const char* in_szAccountName)
{
    return sinceBody(in_szAccountName, &MemAccountInfo::iBalance);
}

int mostBytesHeld(const char* in_szAccountName)
{
    return sinceBody(in_szAccountName, &MemAccountInfo::iMaximum);
}

} // namespace Velmora::Test
