// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/InvalidParamValueTypeException.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;

namespace
{

std::string written(const Exception& in_exception)
{
    std::ostringstream stream;
    stream << in_exception;
    return stream.str();
}

} // namespace

TEST(InvalidParamValueTypeException, WritesTheRequestedAndTheActualType)
{
    EXPECT_EQ(written(InvalidParamValueTypeException(ParameterValue::BOOL_TYPE,
                                                     ParameterValue::STRING_TYPE)),
              "InvalidParamValueTypeException : requested BOOL actual STRING");
}

TEST(InvalidParamValueTypeException, WritesNothingForATypeWithoutAName)
{
    const CapturedLog log;
    EXPECT_EQ(written(InvalidParamValueTypeException(ParameterValue::LONG_TYPE,
                                                     ParameterValue::UNDEF_TYPE)),
              "InvalidParamValueTypeException : requested  actual UNDEF");
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("0", "ParameterValue", "keswardin.infra.Parameter")));
}

TEST(InvalidParamValueTypeException, CopiesKeepBothTypes)
{
    const InvalidParamValueTypeException original(ParameterValue::INT_TYPE,
                                                  ParameterValue::FLOAT_TYPE);
    const auto pCopy = std::make_unique<InvalidParamValueTypeException>(original);
    InvalidParamValueTypeException assigned(ParameterValue::UNDEF_TYPE, ParameterValue::UNDEF_TYPE);
    assigned = original;
    EXPECT_EQ(written(*pCopy), "InvalidParamValueTypeException : requested INT actual FLOAT");
    EXPECT_EQ(written(assigned), "InvalidParamValueTypeException : requested INT actual FLOAT");
}
