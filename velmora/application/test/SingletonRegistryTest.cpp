// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/SingletonRegistryImpl.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::ExitedWithCode;

class Thing : public virtual Object
{
  public:
    ~Thing() override { ++s_iDeleted; }
    static inline int s_iDeleted = 0;
};

void say(void* in_pObject, void* in_pParam)
{
    std::fprintf(stderr, "clean-up of %s with %s;", static_cast<const char*>(in_pObject),
                 static_cast<const char*>(in_pParam));
}

class SaysItsEnd : public virtual Object
{
  public:
    ~SaysItsEnd() override { std::fprintf(stderr, "object deleted;"); }
};

char s_szFirst[] = "first";
char s_szSecond[] = "second";
char s_szParam[] = "param";
Thing s_kept;

} // namespace

TEST(SingletonRegistry, ThereIsOneOfTheProcess)
{
    ASSERT_NE(nullptr, SingletonRegistry::getInstance());
    EXPECT_EQ(SingletonRegistry::getInstance(), SingletonRegistry::getInstance());
    EXPECT_NE(nullptr, dynamic_cast<SingletonRegistryImpl*>(SingletonRegistry::getInstance()));
}

TEST(SingletonRegistry, AnUnknownNameGivesNull)
{
    const CapturedLog log;
    const SingletonRegistryImpl registry;
    EXPECT_EQ(nullptr, registry.find("nobody"));
    EXPECT_EQ(nullptr, registry.findObject("nobody"));
    EXPECT_TRUE(log.lines().empty());
}

TEST(SingletonRegistry, FindsWhatWasInserted)
{
    SingletonRegistryImpl registry;
    EXPECT_EQ(s_szFirst, registry.insert("name", s_szFirst, nullptr, nullptr));
    EXPECT_EQ(s_szFirst, registry.find("name"));
}

TEST(SingletonRegistry, ANullObjectIsNotInserted)
{
    SingletonRegistryImpl registry;
    EXPECT_EQ(nullptr, registry.insert("name", nullptr, &say, nullptr));
    EXPECT_EQ(nullptr, registry.insertObject("name", nullptr, true));
    EXPECT_EQ(s_szFirst, registry.insert("name", s_szFirst, nullptr, nullptr));
}

TEST(SingletonRegistry, ANullNameIsAnAssertionAndFindsNothing)
{
    const CapturedLog log;
    SingletonRegistryImpl registry;
    EXPECT_EQ(nullptr, registry.insert(nullptr, s_szFirst, nullptr, nullptr));
    EXPECT_EQ(nullptr, registry.find(nullptr));
    const FailedAssertion expected =
        failedAssertion("in_szName != 0", "SingletonRegistryImpl", "keswardin.infra.Assertion");
    EXPECT_THAT(failedAssertions(log), ElementsAre(expected, expected));
}

TEST(SingletonRegistry, TheSecondUnderANameGivesTheFirst)
{
    SingletonRegistryImpl registry;
    registry.insert("name", s_szFirst, nullptr, nullptr);
    EXPECT_EQ(s_szFirst, registry.insert("name", s_szSecond, nullptr, nullptr));
    EXPECT_EQ(s_szFirst, registry.find("name"));
}

TEST(SingletonRegistry, FindsAnObjectOfTheObjectModel)
{
    SingletonRegistryImpl registry;
    Thing thing;
    EXPECT_EQ(&thing, registry.insertObject("thing", &thing, false));
    EXPECT_EQ(&thing, registry.findObject("thing"));
}

TEST(SingletonRegistry, ItsCleanUpDeletesAnObject)
{
    Thing::s_iDeleted = 0;
    SingletonRegistryImpl::cleanupObject(static_cast<Object*>(new Thing), nullptr);
    EXPECT_EQ(1, Thing::s_iDeleted);
    SingletonRegistryImpl::cleanupObject(nullptr, nullptr);
}

TEST(SingletonRegistry, ThreadsThatInsertOneNameGetOneObject)
{
    SingletonRegistryImpl registry;
    std::array<char, 8> objects{};
    std::array<void*, 8> found{};
    onThreads(
        static_cast<int>(objects.size()), [&](std::size_t in_uiThread)
        { found[in_uiThread] = registry.insert("name", &objects[in_uiThread], nullptr, nullptr); });
    for (void* const pFound : found)
        EXPECT_EQ(registry.find("name"), pFound);
}

TEST(SingletonRegistryDeathTest, AtExitOnlyTheFirstUnderANameIsCleanedUp)
{
    EXPECT_EXIT(
        {
            SingletonRegistry::getInstance()->insert("name", s_szFirst, &say, s_szParam);
            SingletonRegistry::getInstance()->insert("name", s_szSecond, &say, s_szParam);
            std::exit(0);
        },
        ExitedWithCode(0), "^clean-up of first with param;$");
}

TEST(SingletonRegistryDeathTest, TheNewestIsCleanedUpFirst)
{
    EXPECT_EXIT(
        {
            SingletonRegistry::getInstance()->insert("name", s_szFirst, &say, s_szParam);
            SingletonRegistry::getInstance()->insert("other", s_szSecond, &say, s_szParam);
            std::exit(0);
        },
        ExitedWithCode(0), "^clean-up of second with param;clean-up of first with param;$");
}

TEST(SingletonRegistryDeathTest, AnObjectIsDeletedAtExitIfThatIsWanted)
{
    EXPECT_EXIT(
        {
            SingletonRegistry::getInstance()->insertObject("name", new SaysItsEnd, true);
            SingletonRegistry::getInstance()->insertObject("kept", &s_kept, false);
            std::exit(0);
        },
        ExitedWithCode(0), "^object deleted;$");
}

} // namespace Velmora::Test
