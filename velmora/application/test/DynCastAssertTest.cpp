// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/DynCastAssert.h"

#include "velmora/application/AssertionSeam.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Velmora::AssertionSeam;
using Velmora::dynCastAssert;
using Velmora::DynCastAssertNoT;
using Velmora::Logger;
using Velmora::Test::CapturedLog;
using Velmora::Test::errorLine;
using Velmora::Test::GlobalLocale;

constexpr const char* s_szLogger = "keswardin.infra.DynCastAssert";

class Channel
{
  public:
    virtual ~Channel() = default;
};

class SipChannel : public Channel
{
};

class PstnChannel : public Channel
{
};

TEST(DynCastAssertNoT, HasALoggerOfItsOwn)
{
    EXPECT_EQ(DynCastAssertNoT::getLogger().getName(), s_szLogger);
    EXPECT_EQ(&DynCastAssertNoT::getLogger(), &DynCastAssertNoT::getLogger());
}

TEST(DynCastAssertNoT, WritesTheLineTheSameInEachLocale)
{
    const CapturedLog log;
    const GlobalLocale locale;

    DynCastAssertNoT::nullBaseError("pChannel", "Call.cpp", 1234, Logger("test.Call"));

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call", "pChannel == 0 file=Call.cpp line=1234")));
}

TEST(DynCastAssertNoT, TypeIdErrorLogsTypeAndPlace)
{
    const CapturedLog log;

    DynCastAssertNoT::typeIdError("11PstnChannel", "pChannel", "Call.cpp", 42, Logger("test.Call"));

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call",
                                      "pChannel is of type (PstnChannel) file=Call.cpp line=42")));
    EXPECT_EQ(log.lines()[0].strFile, "Call.cpp");
    EXPECT_EQ(log.lines()[0].iLine, 42);
}

TEST(DynCastAssertNoT, TypeIdErrorLeavesOutANullFile)
{
    const CapturedLog log;

    DynCastAssertNoT::typeIdError("11PstnChannel", "pChannel", nullptr, 42, Logger("test.Call"));

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call", "pChannel is of type (PstnChannel) line=42")));
}

TEST(DynCastAssertNoT, TypeIdErrorLeavesOutANegativeLine)
{
    const CapturedLog log;

    DynCastAssertNoT::typeIdError("11PstnChannel", "pChannel", "Call.cpp", -1, Logger("test.Call"));

    EXPECT_THAT(log.lines(), ElementsAre(errorLine(
                                 "test.Call", "pChannel is of type (PstnChannel) file=Call.cpp")));
}

TEST(DynCastAssertNoT, TypeIdErrorPrintsLineZero)
{
    const CapturedLog log;

    DynCastAssertNoT::typeIdError("11PstnChannel", "pChannel", nullptr, 0, Logger("test.Call"));

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call", "pChannel is of type (PstnChannel) line=0")));
}

TEST(DynCastAssertNoT, TypeIdErrorSkipsLeadingDigitsOnly)
{
    const CapturedLog log;

    DynCastAssertNoT::typeIdError("N3Sip8Channel2E", "a", nullptr, -1, Logger("test.Call"));
    DynCastAssertNoT::typeIdError("8Channel2", "b", nullptr, -1, Logger("test.Call"));
    DynCastAssertNoT::typeIdError("123", "c", nullptr, -1, Logger("test.Call"));
    DynCastAssertNoT::typeIdError("", "d", nullptr, -1, Logger("test.Call"));

    EXPECT_THAT(log.lines(), ElementsAre(errorLine("test.Call", "a is of type (N3Sip8Channel2E)"),
                                         errorLine("test.Call", "b is of type (Channel2)"),
                                         errorLine("test.Call", "c is of type ()"),
                                         errorLine("test.Call", "d is of type ()")));
}

TEST(DynCastAssertNoT, NullBaseErrorLogsThePlace)
{
    const CapturedLog log;

    DynCastAssertNoT::nullBaseError("pChannel", "Call.cpp", 42, Logger("test.Call"));

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call", "pChannel == 0 file=Call.cpp line=42")));
    EXPECT_EQ(log.lines()[0].strFile, "Call.cpp");
    EXPECT_EQ(log.lines()[0].iLine, 42);
}

TEST(DynCastAssertNoT, NullBaseErrorLeavesOutANullFile)
{
    const CapturedLog log;

    DynCastAssertNoT::nullBaseError("pChannel", nullptr, 42, Logger("test.Call"));

    EXPECT_THAT(log.lines(), ElementsAre(errorLine("test.Call", "pChannel == 0 line=42")));
}

TEST(DynCastAssertNoT, NullBaseErrorLeavesOutANegativeLine)
{
    const CapturedLog log;

    DynCastAssertNoT::nullBaseError("pChannel", "Call.cpp", -1, Logger("test.Call"));

    EXPECT_THAT(log.lines(), ElementsAre(errorLine("test.Call", "pChannel == 0 file=Call.cpp")));
}

TEST(DynCastAssertNoT, NullBaseErrorPrintsLineZero)
{
    const CapturedLog log;

    DynCastAssertNoT::nullBaseError("pChannel", nullptr, 0, Logger("test.Call"));

    EXPECT_THAT(log.lines(), ElementsAre(errorLine("test.Call", "pChannel == 0 line=0")));
}

TEST(DynCastAssertNoT, ErrorsObeyTheLevelOfTheLogger)
{
    const CapturedLog log(Velmora::FATAL_LOG_LEVEL);

    DynCastAssertNoT::typeIdError("11PstnChannel", "pChannel", nullptr, -1, Logger("test.Call"));
    DynCastAssertNoT::nullBaseError("pChannel", nullptr, -1, Logger("test.Call"));

    EXPECT_THAT(log.lines(), IsEmpty());
}

/// Requests an abort at each failed assertion, and counts all calls of its operations.
class WatchedSeam : public AssertionSeam::UnitTestRecord, public AssertionSeam::BoolParameters
{
  public:
    WatchedSeam()
    {
        AssertionSeam::setUnitTestRecord(this);
        AssertionSeam::setBoolParameters(this);
    }
    ~WatchedSeam()
    {
        AssertionSeam::setUnitTestRecord(m_pRecordBefore);
        AssertionSeam::setBoolParameters(m_pParametersBefore);
    }
    WatchedSeam(const WatchedSeam&) = delete;
    WatchedSeam& operator=(const WatchedSeam&) = delete;

    bool isRunning() override
    {
        ++m_iCalls;
        return true;
    }
    void recordFailedCheck(const std::string&, const char*, int) override { ++m_iCalls; }
    bool getBoolParameter(const char*, bool& out_bValue) override
    {
        ++m_iCalls;
        out_bValue = true;
        return true;
    }
    bool setBoolParameter(const char*, bool) override
    {
        ++m_iCalls;
        return true;
    }

    int m_iCalls = 0;

  private:
    AssertionSeam::UnitTestRecord* m_pRecordBefore = AssertionSeam::getUnitTestRecord();
    AssertionSeam::BoolParameters* m_pParametersBefore = AssertionSeam::getBoolParameters();
};

TEST(DynCastAssertNoT, ErrorsNeitherAbortNorReadAParameterNorCountInAUnitTest)
{
    const CapturedLog log;
    const WatchedSeam seam;

    DynCastAssertNoT::typeIdError("11PstnChannel", "pChannel", nullptr, -1, Logger("test.Call"));
    DynCastAssertNoT::nullBaseError("pChannel", nullptr, -1, Logger("test.Call"));

    EXPECT_EQ(seam.m_iCalls, 0);
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST(DynCastAssert, GivesTheObjectAsItsClass)
{
    const CapturedLog log;
    SipChannel channel;
    Channel* const pChannel = &channel;

    EXPECT_EQ(VELMORA_DYN_CAST_ASSERT(SipChannel, pChannel), &channel);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DynCastAssert, GivesAConstantObjectAsItsClass)
{
    const SipChannel channel;
    const Channel* const pChannel = &channel;

    EXPECT_EQ(VELMORA_DYN_CAST_ASSERT(const SipChannel, pChannel), &channel);
}

TEST(DynCastAssert, ReportsAnObjectOfAnotherClassAndGivesNull)
{
    const CapturedLog log;
    PstnChannel channel;
    Channel* const pChannel = &channel;

    EXPECT_EQ(dynCastAssert<SipChannel>(pChannel, "pChannel", "Call.cpp", 42), nullptr);

    const std::string strType = typeid(PstnChannel).name();
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "pChannel is of type (" + strType +
                                                                   ") file=Call.cpp line=42")));
}

TEST(DynCastAssert, ReportsANullBaseAndGivesNull)
{
    const CapturedLog log;
    Channel* const pChannel = nullptr;

    EXPECT_EQ(dynCastAssert<SipChannel>(pChannel, "pChannel", "Call.cpp", 42), nullptr);

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "pChannel == 0 file=Call.cpp line=42")));
}

TEST(DynCastAssert, ReportsThroughTheGivenLogger)
{
    const CapturedLog log;
    Channel* const pChannel = nullptr;

    static_cast<void>(
        dynCastAssert<SipChannel>(pChannel, "pChannel", nullptr, -1, Logger("test.Call")));

    EXPECT_THAT(log.lines(), ElementsAre(errorLine("test.Call", "pChannel == 0")));
}

TEST(DynCastAssert, MacroLogsItsExpressionAndItsPlace)
{
    const CapturedLog log;
    Channel* const pChannel = nullptr;

    const int iLine = __LINE__ + 1;
    static_cast<void>(VELMORA_DYN_CAST_ASSERT(SipChannel, pChannel));

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger,
                                      "pChannel == 0 "
                                      "file=velmora/application/test/DynCastAssertTest.cpp line=" +
                                          std::to_string(iLine))));
}

TEST(DynCastAssert, MacroEvaluatesItsExpressionOnce)
{
    const CapturedLog log;
    int iEvaluations = 0;
    const auto channel = [&iEvaluations]() -> Channel*
    {
        ++iEvaluations;
        return nullptr;
    };

    static_cast<void>(VELMORA_DYN_CAST_ASSERT(SipChannel, channel()));

    EXPECT_EQ(iEvaluations, 1);
}

} // namespace
