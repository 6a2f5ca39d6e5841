// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingIdEvent.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

namespace Velmora::Test
{

namespace
{

using log4cplus::spi::InternalLoggingEvent;

LoggingIdEvent eventWith(const std::vector<std::string>& in_ids,
                         const std::string& in_strMessage = "hello")
{
    return LoggingIdEvent("test.Leg", WARN_LOG_LEVEL, in_strMessage, "Leg.cpp", 42, in_ids.data(),
                          in_ids.data() + in_ids.size());
}

} // namespace

TEST(LoggingIdEvent, HasLoggerLevelFileAndLine)
{
    const LoggingIdEvent event = eventWith({"leg=1"});

    EXPECT_EQ(event.getLoggerName(), "test.Leg");
    EXPECT_EQ(event.getLogLevel(), static_cast<int>(WARN_LOG_LEVEL));
    EXPECT_EQ(event.getFile(), "Leg.cpp");
    EXPECT_EQ(event.getLine(), 42);
}

TEST(LoggingIdEvent, HasNoFileForANullOne)
{
    const LoggingIdEvent event("test.Leg", WARN_LOG_LEVEL, "hello", nullptr, -1, nullptr, nullptr);

    EXPECT_EQ(event.getFile(), "");
    EXPECT_EQ(event.getLine(), -1);
}

TEST(LoggingIdEvent, HasTheRawMessageWithoutIdentifiers)
{
    EXPECT_EQ(eventWith({}).getMessage(), "hello");
}

TEST(LoggingIdEvent, ComposesEachIdentifierABlankAndTheRawMessage)
{
    EXPECT_EQ(eventWith({"leg=1", "call-id=abc"}).getMessage(), "leg=1 call-id=abc hello");
}

TEST(LoggingIdEvent, ComposesAnEmptyIdentifierAsALoneBlank)
{
    EXPECT_EQ(eventWith({""}).getMessage(), " hello");
}

TEST(LoggingIdEvent, ComposesAnEmptyMessageBehindTheLastBlank)
{
    EXPECT_EQ(eventWith({"leg=1"}, "").getMessage(), "leg=1 ");
}

TEST(LoggingIdEvent, ComposesTheSameMessageAgain)
{
    LoggingIdEvent event = eventWith({"leg=1"});

    event.computeMessage();

    EXPECT_EQ(event.getMessage(), "leg=1 hello");
}

TEST(LoggingIdEvent, ComposesTheRawMessageAgainWithoutIdentifiers)
{
    LoggingIdEvent event = eventWith({});

    event.computeMessage();

    EXPECT_EQ(event.getMessage(), "hello");
}

TEST(LoggingIdEvent, HasCopiesOfTheIdentifiers)
{
    std::vector<std::string> ids{"leg=1", "leg=2"};
    LoggingIdEvent event = eventWith(ids);

    ids.assign(2, "other");
    event.computeMessage();

    EXPECT_EQ(event.getMessage(), "leg=1 leg=2 hello");
}

TEST(LoggingIdEvent, LosesTheCallIdAndKeepsTheOthersInOrder)
{
    LoggingIdEvent event = eventWith({"first", "call-id=abc", "second", "third"});

    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "first second third hello");
}

TEST(LoggingIdEvent, LosesTheFirstOfSeveralCallIds)
{
    LoggingIdEvent event = eventWith({"call-id=abc", "leg=1", "call-id=def"});

    event.removeCallId();
    EXPECT_EQ(event.getMessage(), "leg=1 call-id=def hello");
    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "leg=1 hello");
}

TEST(LoggingIdEvent, LosesACallIdThatIsAlone)
{
    LoggingIdEvent event = eventWith({"call-id=abc"});

    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "hello");
}

TEST(LoggingIdEvent, LosesAnEmptyCallId)
{
    LoggingIdEvent event = eventWith({"call-id="});

    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "hello");
}

TEST(LoggingIdEvent, KeepsWhatOnlyLooksLikeACallId)
{
    LoggingIdEvent event = eventWith({"call-id", " call-id=abc", "Call-id=abc", "x-call-id=abc"});

    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "call-id  call-id=abc Call-id=abc x-call-id=abc hello");
}

TEST(LoggingIdEvent, LosesNoCallIdThatIsInTheMessage)
{
    LoggingIdEvent event = eventWith({"leg=1"}, "call-id=abc");

    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "leg=1 call-id=abc");
}

TEST(LoggingIdEvent, LosesNothingWithoutIdentifiers)
{
    LoggingIdEvent event = eventWith({});

    event.removeCallId();

    EXPECT_EQ(event.getMessage(), "hello");
}

TEST(LoggingIdEvent, CopyLosesItsCallIdAndTheSourceKeepsIt)
{
    const LoggingIdEvent event = eventWith({"leg=1", "call-id=abc"});

    LoggingIdEvent copy(event);
    EXPECT_EQ(copy.getMessage(), "leg=1 call-id=abc hello");
    copy.removeCallId();

    EXPECT_EQ(copy.getMessage(), "leg=1 hello");
    EXPECT_EQ(event.getMessage(), "leg=1 call-id=abc hello");
    EXPECT_EQ(copy.getLoggerName(), "test.Leg");
    EXPECT_EQ(copy.getLogLevel(), static_cast<int>(WARN_LOG_LEVEL));
    EXPECT_EQ(copy.getFile(), "Leg.cpp");
    EXPECT_EQ(copy.getLine(), 42);
    EXPECT_EQ(copy.getTimestamp(), event.getTimestamp());
}

TEST(LoggingIdEvent, CopyOfOneThatLostItsCallIdIsWithoutIt)
{
    LoggingIdEvent event = eventWith({"call-id=abc", "leg=1"});
    event.removeCallId();

    LoggingIdEvent copy(event);
    copy.computeMessage();

    EXPECT_EQ(copy.getMessage(), "leg=1 hello");
}

TEST(LoggingIdEvent, AssignmentTakesTheWholeLine)
{
    const LoggingIdEvent source = eventWith({"leg=1", "call-id=abc"}, "hello");
    LoggingIdEvent target("test.Other", INFO_LOG_LEVEL, "other", nullptr, -1, nullptr, nullptr);

    const LoggingIdEvent& result = (target = source);

    EXPECT_EQ(&result, &target);
    EXPECT_EQ(target.getMessage(), "leg=1 call-id=abc hello");
    EXPECT_EQ(target.getLoggerName(), "test.Leg");
    target.removeCallId();
    EXPECT_EQ(target.getMessage(), "leg=1 hello");
    EXPECT_EQ(source.getMessage(), "leg=1 call-id=abc hello");
}

TEST(LoggingIdEvent, AssignmentForgetsTheIdentifiersThatWereThere)
{
    LoggingIdEvent target = eventWith({"one", "two", "three"});

    target = eventWith({"leg=1"});
    target.computeMessage();

    EXPECT_EQ(target.getMessage(), "leg=1 hello");
}

TEST(LoggingIdEvent, AssignmentToItselfChangesNothing)
{
    LoggingIdEvent event = eventWith({"leg=1"});
    const LoggingIdEvent& same = event;

    event = same;
    event.computeMessage();

    EXPECT_EQ(event.getMessage(), "leg=1 hello");
}

TEST(LoggingIdEvent, CloneIsAPlainEventWithTheComposedText)
{
    const LoggingIdEvent event = eventWith({"leg=1", "call-id=abc"});

    const std::unique_ptr<InternalLoggingEvent> pClone = event.clone();

    const InternalLoggingEvent& clone = *pClone;
    EXPECT_EQ(typeid(clone), typeid(InternalLoggingEvent));
    EXPECT_EQ(clone.getMessage(), "leg=1 call-id=abc hello");
    EXPECT_EQ(clone.getLoggerName(), "test.Leg");
}

} // namespace Velmora::Test
