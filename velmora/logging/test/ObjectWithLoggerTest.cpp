// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ObjectWithLogger.h"

#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/LoggingIdLogger.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace
{

using testing::ElementsAre;
using Velmora::CachedLLLogger;
using Velmora::INFO_LOG_LEVEL;
using Velmora::Logger;
using Velmora::LoggingIdLogger;
using Velmora::ObjectWithLogger;
using Velmora::WARN_LOG_LEVEL;
using Velmora::Test::CapturedLog;
using Velmora::Test::infoLine;

template <class T>
class Call : public ObjectWithLogger<T>
{
  public:
    using ObjectWithLogger<T>::ObjectWithLogger;
};

template <class T>
class LoggerOfAnObject : public testing::Test
{
};

using LoggerClasses = testing::Types<Logger, CachedLLLogger, LoggingIdLogger>;
TYPED_TEST_SUITE(LoggerOfAnObject, LoggerClasses);

TYPED_TEST(LoggerOfAnObject, HasALoggerOfTheGivenName)
{
    const Call<TypeParam> call(std::string("test.Call"));

    EXPECT_EQ(call.getLogger().getName(), "test.Call");
}

TYPED_TEST(LoggerOfAnObject, HasALoggerForTheEntryOfTheGivenOne)
{
    const Call<TypeParam> call(Logger("test.Call"));

    EXPECT_EQ(call.getLogger().getName(), "test.Call");
}

TYPED_TEST(LoggerOfAnObject, HasALoggerOfTheGivenClass)
{
    Call<TypeParam> call(std::string("test.Call"));

    EXPECT_TRUE((std::is_same_v<decltype(call.getLogger()), TypeParam&>));
    EXPECT_TRUE((std::is_same_v<decltype(std::as_const(call).getLogger()), const TypeParam&>));
    EXPECT_EQ(&call.getLogger(), &std::as_const(call).getLogger());
}

TYPED_TEST(LoggerOfAnObject, LogsThroughItsLogger)
{
    const CapturedLog log;
    const Call<TypeParam> call(std::string("test.Call"));

    call.getLogger().log(static_cast<int>(INFO_LOG_LEVEL), "text", nullptr, -1);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.Call", "text")));
}

TYPED_TEST(LoggerOfAnObject, LevelOfItsLoggerCanBeSet)
{
    const CapturedLog log;
    Call<TypeParam> call(std::string("test.Call"));

    call.getLogger().setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(Logger("test.Call").getLogLevel(), WARN_LOG_LEVEL);
}

TYPED_TEST(LoggerOfAnObject, TwoObjectsHaveLoggersOfTheirOwn)
{
    const Call<TypeParam> first(std::string("test.Call"));
    const Call<TypeParam> second(first);

    EXPECT_NE(&first.getLogger(), &second.getLogger());
    EXPECT_EQ(second.getLogger().getName(), "test.Call");
}

TYPED_TEST(LoggerOfAnObject, AssignmentTakesTheLoggerOfTheOther)
{
    Call<TypeParam> first(std::string("test.first"));
    const Call<TypeParam> second(std::string("test.second"));

    first = second;

    EXPECT_EQ(first.getLogger().getName(), "test.second");
}

TYPED_TEST(LoggerOfAnObject, AddsNothingToAnObjectButItsLogger)
{
    EXPECT_FALSE(std::is_polymorphic_v<ObjectWithLogger<TypeParam>>);
    EXPECT_EQ(sizeof(ObjectWithLogger<TypeParam>), sizeof(TypeParam));
}

TEST(ObjectWithCachedLLLogger, CopyHasTheCachedLevel)
{
    const CapturedLog log;
    Call<CachedLLLogger> first(std::string("test.Call"));
    first.getLogger().setLogLevel(WARN_LOG_LEVEL);
    const Call<CachedLLLogger> second(first);

    Logger("test.Call").setLogLevel(INFO_LOG_LEVEL);

    EXPECT_EQ(second.getLogger().getLogLevel(), WARN_LOG_LEVEL);
}

} // namespace
