// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/AceCleanupNoT.h"

#include <ace/Object_Manager.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace Velmora::Test
{

namespace
{

class Probe : public AceCleanupNoT
{
  public:
    explicit Probe(const char* in_szName) : m_szName(in_szName) {}
    ~Probe() override { std::fprintf(stderr, "%s deleted;", m_szName); }

  private:
    const char* m_szName;
};

/// Creates another object in its destructor.
class Late : public AceCleanupNoT
{
  public:
    ~Late() override
    {
        static const Probe* const s_pProbe = new Probe("late");
        static_cast<void>(s_pProbe);
        std::fprintf(stderr, "maker deleted;");
    }
};

} // namespace

TEST(AceCleanupNoT, IsOnTheExitListFromItsConstructor)
{
    auto* const pProbe = new Probe("probe");
    EXPECT_EQ(-1, ACE_Object_Manager::at_exit(pProbe)) << "registered already";
    EXPECT_EQ(1, ACE_Object_Manager::remove_at_exit(pProbe));
    delete pProbe;
}

TEST(AceCleanupNoT, ItsCleanUpDeletesIt)
{
    auto* const pProbe = new Probe("probe");
    ACE_Object_Manager::remove_at_exit(pProbe);
    testing::internal::CaptureStderr();
    pProbe->cleanup(nullptr);
    EXPECT_EQ("probe deleted;", testing::internal::GetCapturedStderr());
}

TEST(AceCleanupNoTDeathTest, TheExitListDeletesTheNewestFirst)
{
    EXPECT_EXIT(
        {
            new Probe("older");
            new Probe("newer");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^newer deleted;older deleted;$");
}

TEST(AceCleanupNoTDeathTest, OneThatIsMadeWhileTheListRunsStays)
{
    EXPECT_EXIT(
        {
            new Late;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^maker deleted;$");
}

} // namespace Velmora::Test
