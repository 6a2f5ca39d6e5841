// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValueVector.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ios>
#include <istream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

template <class T>
ParameterValueVector initializedFrom(T in_value)
{
    ParameterValue value;
    value = in_value;
    ParameterValueVector values(1, value);
    values.initFrom(value);
    return values;
}

std::vector<std::string> dumped(const ParameterValueVector& in_values)
{
    std::vector<std::string> result;
    for (const ParameterValue& value : in_values)
    {
        std::ostringstream stream;
        value.dump(stream);
        result.push_back(stream.str());
    }
    return result;
}

} // namespace

TEST(ParameterValueVector, TypesEachTokenOfAString)
{
    EXPECT_THAT(dumped(initializedFrom("1 2.5 true x")),
                ElementsAre("type=INT value=1", "type=FLOAT value=2.5", "type=BOOL value=true",
                            "type=STRING value=x"));
}

TEST(ParameterValueVector, TakesRunsOfBlanksForOne)
{
    EXPECT_THAT(dumped(initializedFrom("\t 1 \n\n 2 ")),
                ElementsAre("type=INT value=1", "type=INT value=2"));
}

TEST(ParameterValueVector, IsEmptyForAStringWithoutTokens)
{
    const CapturedLog log;
    EXPECT_THAT(initializedFrom(""), IsEmpty());
    EXPECT_THAT(initializedFrom("  "), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParameterValueVector, IsEmptyForAnUndefinedValue)
{
    EXPECT_THAT(initializedFrom(ParameterValue()), IsEmpty());
}

TEST(ParameterValueVector, HoldsACopyOfAValueOfAnyOtherType)
{
    EXPECT_THAT(dumped(initializedFrom(7)), ElementsAre("type=INT value=7"));
    EXPECT_THAT(dumped(initializedFrom(true)), ElementsAre("type=BOOL value=true"));
    EXPECT_THAT(dumped(initializedFrom(2.5F)), ElementsAre("type=FLOAT value=2.5"));

    const ParameterValueVector values = initializedFrom(12345678901L);
    ASSERT_EQ(values.size(), 1U);
    EXPECT_EQ(static_cast<long>(values[0]), 12345678901L);
}

TEST(ParameterValueVector, MayBeInitializedFromAnElementOfItsOwn)
{
    ParameterValueVector values = initializedFrom("1 2 3");
    values.initFrom(values[1]);
    EXPECT_THAT(dumped(values), ElementsAre("type=INT value=2"));

    values = ParameterValueVector(3);
    values[2] = "4 5";
    values.initFrom(values[2]);
    EXPECT_THAT(dumped(values), ElementsAre("type=INT value=4", "type=INT value=5"));
}

TEST(ParameterValueVector, TakesAStringApartWhateverTheLocaleOfTheProgram)
{
    class CommaIsBlank : public std::ctype<char>
    {
      public:
        CommaIsBlank() : std::ctype<char>(table()) {}

      private:
        static const mask* table()
        {
            static std::vector<mask> s_table(classic_table(), classic_table() + table_size);
            s_table[','] |= space;
            return s_table.data();
        }
    };
    const std::locale former =
        std::locale::global(std::locale(std::locale::classic(), new CommaIsBlank));
    const ParameterValueVector values = initializedFrom("a,b c");
    std::locale::global(former);

    EXPECT_THAT(dumped(values), ElementsAre("type=STRING value=a,b", "type=STRING value=c"));
}

TEST(ParameterValueVector, IsReadToTheEndOfAStreamAndLeavesItUsable)
{
    const CapturedLog log;
    std::istringstream stream("1 x");
    ParameterValueVector values = initializedFrom("former values");
    EXPECT_TRUE(stream >> values);
    EXPECT_THAT(dumped(values), ElementsAre("type=INT value=1", "type=STRING value=x"));
    EXPECT_TRUE(stream.good());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParameterValueVector, IsEmptyAfterAnEmptyStreamAndLeavesItUsable)
{
    const CapturedLog log;
    std::istringstream stream("");
    ParameterValueVector values = initializedFrom("former values");
    EXPECT_TRUE(stream >> values);
    EXPECT_THAT(values, IsEmpty());
    EXPECT_TRUE(stream.good());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParameterValueVector, FailsAnAssertionForAStreamThatFailsBeforeItsEnd)
{
    const CapturedLog log;
    std::istringstream stream("1 2");
    stream.setstate(std::ios_base::failbit);
    ParameterValueVector values = initializedFrom("former values");
    EXPECT_FALSE(stream >> values);
    EXPECT_THAT(values, IsEmpty());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("is != 0", "ParameterValueVector",
                                            "keswardin.infra.Parameter")));
}

TEST(ParameterValueVector, AStreamThatThrowsIsReadUpToItsEnd)
{
    std::istringstream stream("1 x");
    stream.exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
    ParameterValueVector values;
    EXPECT_NO_THROW(stream >> values);
    EXPECT_THAT(dumped(values), ElementsAre("type=INT value=1", "type=STRING value=x"));
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(std::ios::failbit | std::ios::badbit | std::ios::eofbit, stream.exceptions());
}

TEST(ParameterValueVector, AStreamThatThrowsAndHasFailedDoesSoBehindTheAssertion)
{
    const CapturedLog log;
    std::istream stream(nullptr);
    EXPECT_THROW(stream.exceptions(std::ios::badbit), std::ios_base::failure);
    ParameterValueVector values(1);
    EXPECT_THROW(stream >> values, std::ios_base::failure);
    EXPECT_THAT(values, IsEmpty());
    EXPECT_EQ(std::ios::badbit, stream.exceptions());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("is != 0", "ParameterValueVector",
                                            "keswardin.infra.Parameter")));
}
