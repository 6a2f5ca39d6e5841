// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/RegistrationSingleton.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const char* const s_szLogger = "keswardin.infra.RegistrationSingleton";

class Engine : public virtual Object
{
  public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    ~Engine() override { std::fprintf(stderr, "engine deleted;"); }
};

/// Registers another object in its destructor.
class ComesBack : public virtual Object
{
  public:
    ComesBack() = default;
    ComesBack(const ComesBack&) = delete;
    ComesBack& operator=(const ComesBack&) = delete;
    ~ComesBack() override
    {
        RegistrationSingleton::registerInstance("heir", TSHandle<Object>(new Object));
    }
};

TSHandle<Object> registered(const char* in_szName)
{
    TSHandle<Object> hObject(new Object);
    RegistrationSingleton::registerInstance(in_szName, hObject);
    return hObject;
}

} // namespace

TEST(RegistrationSingleton, GivesWhatWasRegistered)
{
    const TSHandle<Object> hObject(new Object);
    EXPECT_TRUE(RegistrationSingleton::registerInstance("engine", hObject));
    EXPECT_THAT(RegistrationSingleton::getInstances("engine"), ElementsAre(hObject));
}

TEST(RegistrationSingleton, TwoOfOneNameAreBothGivenAndOneDeregisterRemovesBoth)
{
    const TSHandle<Object> hFirst = registered("engine");
    const TSHandle<Object> hSecond = registered("engine");
    const TSHandle<Object> hOther = registered("other");
    EXPECT_THAT(RegistrationSingleton::getInstances("engine"),
                UnorderedElementsAre(hFirst, hSecond));
    EXPECT_TRUE(RegistrationSingleton::deregister("engine"));
    EXPECT_THAT(RegistrationSingleton::getInstances("engine"), IsEmpty());
    EXPECT_THAT(RegistrationSingleton::getInstances("other"), ElementsAre(hOther));
}

TEST(RegistrationSingleton, OneObjectMayBeRegisteredTwice)
{
    const TSHandle<Object> hObject = registered("engine");
    RegistrationSingleton::registerInstance("engine", hObject);
    EXPECT_THAT(RegistrationSingleton::getInstances("engine"), ElementsAre(hObject, hObject));
}

TEST(RegistrationSingleton, ThePoolHoldsTheObjectUntilItIsDeregistered)
{
    testing::internal::CaptureStderr();
    RegistrationSingleton::registerInstance("engine", TSHandle<Object>(new Engine));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    testing::internal::CaptureStderr();
    RegistrationSingleton::deregister("engine");
    EXPECT_EQ("engine deleted;", testing::internal::GetCapturedStderr());
}

TEST(RegistrationSingleton, RegisteringIsLogged)
{
    const CapturedLog log;
    registered("engine");
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, "Registring object named engine")));
}

TEST(RegistrationSingleton, DeregisteringIsLoggedAlsoForAnUnknownName)
{
    const CapturedLog log;
    EXPECT_TRUE(RegistrationSingleton::deregister("nobody"));
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger, "Deregistring object named nobody")));
}

TEST(RegistrationSingleton, GettingIsLogged)
{
    registered("engine");
    const CapturedLog log;
    EXPECT_EQ(1U, RegistrationSingleton::getInstances("engine").size());
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, "Getting object named engine")));
}

TEST(RegistrationSingleton, AnUnknownNameGivesNothingAndTheSizeOfTheTableIsLogged)
{
    registered("engine");
    registered("engine");
    const CapturedLog log;
    EXPECT_THAT(RegistrationSingleton::getInstances("nobody"), IsEmpty());
    EXPECT_THAT(
        log.lines(),
        ElementsAre(debugLine(s_szLogger, "Getting object named nobody"),
                    debugLine(s_szLogger, "Can't find object with name nobody, table size =  2")));
}

TEST(RegistrationSingleton, EachOperationIsATraceScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    registered("engine");
    static_cast<void>(RegistrationSingleton::getInstances("engine"));
    RegistrationSingleton::deregister("engine");
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(traceLine(s_szLogger, "entering RegistrationSingleton::registerInstance"),
                    debugLine(s_szLogger, "Registring object named engine"),
                    traceLine(s_szLogger, "exiting RegistrationSingleton::registerInstance"),
                    traceLine(s_szLogger, "entering RegistrationSingleton::getInstances"),
                    debugLine(s_szLogger, "Getting object named engine"),
                    traceLine(s_szLogger, "exiting RegistrationSingleton::getInstances"),
                    traceLine(s_szLogger, "entering RegistrationSingleton::deregister"),
                    debugLine(s_szLogger, "Deregistring object named engine"),
                    traceLine(s_szLogger, "exiting RegistrationSingleton::deregister")));
}

TEST(RegistrationSingleton, ANullNameIsAnAssertion)
{
    const CapturedLog log;
    EXPECT_FALSE(RegistrationSingleton::registerInstance(nullptr, TSHandle<Object>(new Object)));
    EXPECT_FALSE(RegistrationSingleton::deregister(nullptr));
    EXPECT_THAT(RegistrationSingleton::getInstances(nullptr), IsEmpty());
    const FailedAssertion expected =
        failedAssertion("in_szName != 0", "RegistrationSingleton", s_szLogger);
    EXPECT_THAT(failedAssertions(log), ElementsAre(expected, expected, expected));
}

TEST(RegistrationSingleton, AnObjectMayComeBackToThePoolWhenItDies)
{
    RegistrationSingleton::registerInstance("testator", TSHandle<Object>(new ComesBack));
    EXPECT_TRUE(RegistrationSingleton::deregister("testator"));
    EXPECT_EQ(1U, RegistrationSingleton::getInstances("heir").size());
}

TEST(RegistrationSingleton, ThreadsRegisterFindAndDeregisterAtOnce)
{
    const CapturedLog silent(FATAL_LOG_LEVEL);
    onThreads(4,
              [](int in_iThread)
              {
                  const std::string strOwn = "engine" + std::to_string(in_iThread);
                  for (int i = 0; i < 500; ++i)
                  {
                      const TSHandle<Object> hOwn = registered(strOwn.c_str());
                      registered("shared");
                      ASSERT_THAT(RegistrationSingleton::getInstances(strOwn.c_str()),
                                  ElementsAre(hOwn));
                      RegistrationSingleton::deregister(strOwn.c_str());
                  }
              });
    EXPECT_EQ(2000U, RegistrationSingleton::getInstances("shared").size());
}

TEST(RegistrationSingletonDeathTest, TheExitListReleasesWhatIsStillRegistered)
{
    EXPECT_EXIT(
        {
            RegistrationSingleton::registerInstance("engine", TSHandle<Object>(new Engine));
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^engine deleted;$");
}

TEST(RegistrationSingletonDeathTest, AHandleThatOutlivesThePoolKeepsItsObject)
{
    EXPECT_EXIT(
        {
            static TSHandle<Object> s_hObject(new Engine);
            RegistrationSingleton::registerInstance("engine", s_hObject);
            RegistrationSingleton::deregister("engine");
            std::fprintf(stderr, "deregistered;");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^deregistered;engine deleted;$");
}

} // namespace Velmora::Test
