// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Singleton.h"

#include "tests/support/Threads.h"
#include "velmora/memory/InAccount.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace Velmora::Test
{

namespace
{

class BuildNumber : public InAccount<"BuildNumber">
{
  public:
    static BuildNumber* getInstance()
    {
        static BuildNumber* const pSingleton =
            registerSingleton("BuildNumber::Singleton", new BuildNumber);
        return pSingleton;
    }

    BuildNumber() { ++s_iMade; }
    BuildNumber(const BuildNumber&) = delete;
    BuildNumber& operator=(const BuildNumber&) = delete;
    ~BuildNumber()
    {
        ++s_iDeleted;
        std::fprintf(stderr, "deleted;");
    }

    static inline int s_iMade = 0;
    static inline int s_iDeleted = 0;
};

} // namespace

TEST(Singleton, IsMadeOnceAndFoundInTheRegistry)
{
    BuildNumber* const pFirst = BuildNumber::getInstance();
    EXPECT_EQ(pFirst, BuildNumber::getInstance());
    EXPECT_EQ(1, BuildNumber::s_iMade);
    EXPECT_EQ(pFirst, SingletonRegistry::getInstance()->find("BuildNumber::Singleton"));
}

TEST(Singleton, ATwinIsDeletedAndTheFirstIsUsed)
{
    BuildNumber* const pFirst = BuildNumber::getInstance();
    const int iDeletedBefore = BuildNumber::s_iDeleted;
    EXPECT_EQ(pFirst, registerSingleton("BuildNumber::Singleton", new BuildNumber));
    EXPECT_EQ(iDeletedBefore + 1, BuildNumber::s_iDeleted);
}

TEST(Singleton, ThreadsGetOneObject)
{
    std::vector<BuildNumber*> found(8);
    onThreads(static_cast<int>(found.size()), [&found](std::size_t in_uiThread)
              { found[in_uiThread] = BuildNumber::getInstance(); });
    for (const BuildNumber* const pFound : found)
        EXPECT_EQ(BuildNumber::getInstance(), pFound);
}

TEST(SingletonDeathTest, TheExitListDeletesItOnce)
{
    EXPECT_EXIT(
        {
            BuildNumber::getInstance();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^deleted;$");
}

TEST(Singleton, TheCleanUpFunctionTakesNull)
{
    const int iDeletedBefore = BuildNumber::s_iDeleted;
    deleteCleanupFunc<BuildNumber>(nullptr, nullptr);
    EXPECT_EQ(iDeletedBefore, BuildNumber::s_iDeleted);
}

} // namespace Velmora::Test
