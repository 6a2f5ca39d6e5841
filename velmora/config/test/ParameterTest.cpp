// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Parameter.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/ParamDefs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const std::string s_strLogger = "keswardin.infra.Parameter";

std::string dumped(const Parameter& in_parameter)
{
    std::ostringstream stream;
    in_parameter.dump(stream);
    return stream.str();
}

/// Reads a line into a new parameter and keeps the result.
struct ReadLine
{
    explicit ReadLine(const char* in_szLine,
                      ParameterValue::Type in_target = ParameterValue::UNDEF_TYPE)
        : result(parameter.initFromText(in_szLine, in_target)), strDump(dumped(parameter))
    {
    }

    Parameter parameter;
    ParameterInitResult result;
    std::string strDump;
};

/// Returns a table of known parameters of several types.
const ParamDefs& someParameters()
{
    static const ParameterRow s_rows[] = {
        {"string", ParameterValue::STRING_TYPE, nullptr, false, false, nullptr},
        {"int", ParameterValue::INT_TYPE, nullptr, false, false, nullptr},
        {"bool", ParameterValue::BOOL_TYPE, nullptr, false, false, nullptr},
        {"float", ParameterValue::FLOAT_TYPE, nullptr, false, false, nullptr},
        {"path.int", ParameterValue::INT_TYPE, nullptr, false, false, nullptr}};
    static const ParamDefs s_defs(s_rows);
    return s_defs;
}

/// Reads a line with that table and keeps the result.
struct ReadKnownLine
{
    explicit ReadKnownLine(const char* in_szLine)
        : result(parameter.initFromText(in_szLine, someParameters())), strDump(dumped(parameter))
    {
    }

    Parameter parameter;
    ParameterInitResult result;
    std::string strDump;
};

/// Reads a value and keeps the result.
struct ReadValue
{
    ReadValue(const char* in_szText, ParameterValue::Type in_target)
        : result(parameter.initValueFromText(in_szText, in_target)), strDump(dumped(parameter))
    {
    }

    Parameter parameter;
    ParameterInitResult result;
    std::string strDump;
};

} // namespace

TEST(ParameterInitResult, HasFixedNumbers)
{
    EXPECT_EQ(static_cast<int>(INIT_UNDEFINED), 0);
    EXPECT_EQ(static_cast<int>(INIT_UNKNOWN_PARAMETER), 1);
    EXPECT_EQ(static_cast<int>(INIT_WRONG_TYPE), 2);
    EXPECT_EQ(static_cast<int>(INIT_OK), 3);
}

// Names

TEST(Parameter, HasNeitherNameNorValueAtFirst)
{
    const Parameter parameter;
    EXPECT_EQ(parameter.getName(), "");
    EXPECT_FALSE(parameter.getValue().defined());
}

TEST(Parameter, ReadsTheNameBeforeTheEqualsSign)
{
    Parameter parameter;
    const char* szText = "  the name \t= value";
    EXPECT_TRUE(parameter.initNameFromText(szText));
    EXPECT_EQ(parameter.getName(), "the name");
    EXPECT_STREQ(szText, " value");
}

TEST(Parameter, TakesAnEmptyName)
{
    Parameter parameter;
    const char* szText = "=value";
    EXPECT_TRUE(parameter.initNameFromText(szText));
    EXPECT_EQ(parameter.getName(), "");
    EXPECT_STREQ(szText, "value");

    szText = "   = value";
    EXPECT_TRUE(parameter.initNameFromText(szText));
    EXPECT_EQ(parameter.getName(), "");
    EXPECT_STREQ(szText, " value");
}

TEST(Parameter, KeepsItsNameForATextWithoutAnEqualsSign)
{
    Parameter parameter;
    const char* szText = "name=";
    ASSERT_TRUE(parameter.initNameFromText(szText));
    szText = " \t noequals ";
    EXPECT_FALSE(parameter.initNameFromText(szText));
    EXPECT_STREQ(szText, "noequals ");
    EXPECT_EQ(parameter.getName(), "name");
}

TEST(Parameter, ReadsNoNameFromNull)
{
    const CapturedLog log;
    Parameter parameter;
    const char* szText = nullptr;
    EXPECT_FALSE(parameter.initNameFromText(szText));
    EXPECT_EQ(szText, nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Values

TEST(Parameter, ReadsAValueOfTheRequiredType)
{
    const ReadValue read(" 7 ", ParameterValue::INT_TYPE);
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.strDump, "name= type=INT value=7");
}

TEST(Parameter, ReadsAValueOfAnyTypeWhenNoneIsRequired)
{
    const ReadValue read("2.5", ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.strDump, "name= type=FLOAT value=2.5");
}

TEST(Parameter, KeepsAValueOfTheWrongType)
{
    const CapturedLog log;
    const ReadValue read("text", ParameterValue::INT_TYPE);
    EXPECT_EQ(read.result, INIT_WRONG_TYPE);
    EXPECT_EQ(read.strDump, "name= type=STRING value=text");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Parameter, TakesADecimalForAString)
{
    const ReadValue read("123", ParameterValue::STRING_TYPE);
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.strDump, "name= type=STRING value=123");
}

TEST(Parameter, TakesOctalAndHexadecimalForTheWrongTypeWhereAStringIsRequired)
{
    const CapturedLog log;
    const ReadValue octal("0123", ParameterValue::STRING_TYPE);
    EXPECT_EQ(octal.result, INIT_WRONG_TYPE);
    EXPECT_EQ(octal.strDump, "name= type=INT value=83");
    const ReadValue zero("0", ParameterValue::STRING_TYPE);
    EXPECT_EQ(zero.result, INIT_WRONG_TYPE);
    EXPECT_EQ(zero.strDump, "name= type=INT value=0");
    const ReadValue hexadecimal("0x1F", ParameterValue::STRING_TYPE);
    EXPECT_EQ(hexadecimal.result, INIT_WRONG_TYPE);
    EXPECT_EQ(hexadecimal.strDump, "name= type=INT value=31");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Parameter, TakesZeroForTheWrongTypeWhereAFloatIsRequired)
{
    const ReadValue seven("7", ParameterValue::FLOAT_TYPE);
    EXPECT_EQ(seven.result, INIT_OK);
    EXPECT_EQ(seven.strDump, "name= type=FLOAT value=7");
    const ReadValue zero("0", ParameterValue::FLOAT_TYPE);
    EXPECT_EQ(zero.result, INIT_WRONG_TYPE);
    EXPECT_EQ(zero.strDump, "name= type=INT value=0");
    const ReadValue zeroFraction("0.0", ParameterValue::FLOAT_TYPE);
    EXPECT_EQ(zeroFraction.result, INIT_OK);
    EXPECT_EQ(zeroFraction.strDump, "name= type=FLOAT value=0");
}

TEST(Parameter, TakesAnyTextForTheWrongTypeWhereALongIsRequired)
{
    const ReadValue read("7", ParameterValue::LONG_TYPE);
    EXPECT_EQ(read.result, INIT_WRONG_TYPE);
    EXPECT_EQ(read.strDump, "name= type=INT value=7");
}

TEST(Parameter, TakesBlanksForAnEmptyString)
{
    const ReadValue free("   ", ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(free.result, INIT_OK);
    EXPECT_EQ(free.strDump, "name= type=STRING value=");
    const ReadValue string("", ParameterValue::STRING_TYPE);
    EXPECT_EQ(string.result, INIT_OK);
    EXPECT_EQ(string.strDump, "name= type=STRING value=");
    const ReadValue integer("   ", ParameterValue::INT_TYPE);
    EXPECT_EQ(integer.result, INIT_WRONG_TYPE);
    EXPECT_EQ(integer.strDump, "name= type=STRING value=");
}

TEST(Parameter, WarnsOfATextThatGivesNoValue)
{
    const CapturedLog log;
    const ReadValue read(nullptr, ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(read.result, INIT_UNDEFINED);
    EXPECT_EQ(read.strDump, "name= type=UNDEF");
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_szText != 0", "ParameterValue", s_strLogger)));
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[1],
              warnLine(s_strLogger,
                       "Initializing parameter from \"\" resulted in an undefined parameter "
                       "that will be ignored."));
}

TEST(Parameter, WarnsOfATextThatGivesNoValueAfterTryingTwiceWhereATypeIsRequired)
{
    const CapturedLog log;
    const ReadValue read(nullptr, ParameterValue::INT_TYPE);
    EXPECT_EQ(read.result, INIT_UNDEFINED);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_szText != 0", "ParameterValue", s_strLogger),
                            failedAssertion("in_szText != 0", "ParameterValue", s_strLogger)));
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[2],
              warnLine(s_strLogger,
                       "Initializing parameter from \"\" resulted in an undefined parameter "
                       "that will be ignored."));
}

// Lines

TEST(Parameter, ReadsALine)
{
    const ReadLine read(" keswardin.answer = 42 ");
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.parameter.getName(), "keswardin.answer");
    EXPECT_EQ(static_cast<int>(read.parameter.getValue()), 42);
}

TEST(Parameter, ReadsALineWithAnEmptyName)
{
    const ReadLine read("=value");
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.strDump, "name= type=STRING value=value");
}

TEST(Parameter, ReadsALineWithAnEmptyValue)
{
    const ReadLine read("name=");
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.strDump, "name=name type=STRING value=");
}

TEST(Parameter, EndsTheNameAtTheFirstEqualsSign)
{
    const ReadLine read("a = b = c");
    EXPECT_EQ(read.result, INIT_OK);
    EXPECT_EQ(read.strDump, "name=a type=STRING value=b = c");
}

TEST(Parameter, ReportsALineOfTheWrongType)
{
    const ReadLine read("name = text", ParameterValue::BOOL_TYPE);
    EXPECT_EQ(read.result, INIT_WRONG_TYPE);
    EXPECT_EQ(read.strDump, "name=name type=STRING value=text");
}

TEST(Parameter, ReadsNothingFromALineWithoutAnEqualsSign)
{
    const CapturedLog log;
    const ReadLine read("noequals");
    EXPECT_EQ(read.result, INIT_UNDEFINED);
    EXPECT_EQ(read.strDump, "name= type=UNDEF");
    EXPECT_EQ(ReadLine(nullptr).result, INIT_UNDEFINED);
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Lines with a table of known parameters

TEST(Parameter, ReadsALineByTheTypeOfTheKnownParameter)
{
    const CapturedLog log;
    for (const auto& [szLine, szDump] :
         {std::pair(" string = 123 ", "name=string type=STRING value=123"),
          std::pair("int=123", "name=int type=INT value=123"),
          std::pair("bool=TRUE", "name=bool type=BOOL value=true"),
          std::pair("float=7", "name=float type=FLOAT value=7"),
          std::pair("string=true", "name=string type=STRING value=true"),
          std::pair("string=", "name=string type=STRING value="),
          std::pair("path.int=0x1F", "name=path.int type=INT value=31"),
          std::pair("string = a = b", "name=string type=STRING value=a = b")})
    {
        const ReadKnownLine read(szLine);
        EXPECT_EQ(read.result, INIT_OK) << szLine;
        EXPECT_EQ(read.strDump, szDump);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Parameter, ReportsATextThatDoesNotFitTheKnownParameter)
{
    const CapturedLog log;
    for (const auto& [szLine, szDump] : {std::pair("int=12.5", "name=int type=FLOAT value=12.5"),
                                         std::pair("int=", "name=int type=STRING value="),
                                         std::pair("bool=1", "name=bool type=INT value=1"),
                                         std::pair("float=0", "name=float type=INT value=0"),
                                         std::pair("string=0x1F", "name=string type=INT value=31")})
    {
        const ReadKnownLine read(szLine);
        EXPECT_EQ(read.result, INIT_WRONG_TYPE) << szLine;
        EXPECT_EQ(read.strDump, szDump);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Parameter, ReadsAnUnknownNameAsTheValueLooks)
{
    const CapturedLog log;
    for (const auto& [szLine, szDump] :
         {std::pair("unknown=123", "name=unknown type=INT value=123"),
          std::pair("Int=text", "name=Int type=STRING value=text"),
          std::pair("path=true", "name=path type=BOOL value=true"),
          std::pair("=2.5", "name= type=FLOAT value=2.5")})
    {
        const ReadKnownLine read(szLine);
        EXPECT_EQ(read.result, INIT_UNKNOWN_PARAMETER) << szLine;
        EXPECT_EQ(read.strDump, szDump);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Parameter, ReadsNothingByATableFromALineWithoutAnEqualsSign)
{
    const CapturedLog log;
    const ReadKnownLine read("int 7");
    EXPECT_EQ(read.result, INIT_UNDEFINED);
    EXPECT_EQ(read.strDump, "name= type=UNDEF");
    EXPECT_EQ(ReadKnownLine(nullptr).result, INIT_UNDEFINED);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Parameter, ReadsALineByTheTableOfTheProcess)
{
    Parameter parameter;
    EXPECT_EQ(
        parameter.initFromText("keswardin.pstn.input.gain.dB = 3", ParameterInfoDB::getInstance()),
        INIT_OK);
    EXPECT_EQ(dumped(parameter), "name=keswardin.pstn.input.gain.dB type=FLOAT value=3");
}

// Output

TEST(Parameter, WritesNameAndBareValue)
{
    std::ostringstream stream;
    stream << ReadLine("name = some text").parameter;
    EXPECT_EQ(stream.str(), "name=some text");
}

TEST(Parameter, WritesAnUndefinedValue)
{
    std::ostringstream stream;
    stream << Parameter();
    EXPECT_EQ(stream.str(), "=UNDEF");
}

TEST(Parameter, LogsThatAParameterIsMissing)
{
    const CapturedLog log;
    Parameter::logUndefinedParameter("keswardin.answer", ParameterValue::INT_TYPE);
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_strLogger,
                                      "Velmora parameter keswardin.answer(INT) must be defined")));
}

TEST(Parameter, LogsThatALongIsMissingAfterFailingForTheNameOfTheType)
{
    const CapturedLog log;
    Parameter::logUndefinedParameter("keswardin.answer", ParameterValue::LONG_TYPE);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("0", "ParameterValue", s_strLogger)));
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[1],
              errorLine(s_strLogger, "Velmora parameter keswardin.answer() must be defined"));
}

TEST(Parameter, LogsTheUseOfAParameterAtTheGivenLevel)
{
    const CapturedLog log;
    ParameterValue value;
    value = 42;
    Parameter::logParameterUsage("keswardin.answer", value, INFO_LOG_LEVEL);
    value = "some text";
    Parameter::logParameterUsage("keswardin.question", value, DEBUG_LOG_LEVEL);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            infoLine(s_strLogger, "using keswardin parameter keswardin.answer with value 42"),
            debugLine(s_strLogger, "using keswardin parameter keswardin.question with "
                                   "value some text")));
}
